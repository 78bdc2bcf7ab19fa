// Plug-ins: those that are built in, and programs beside the crawler.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "crawler/content/builtin_plugins.h"
#include "crawler/content/external_plugin.h"
#include "tests/support/crawl_run.h"
#include "wkstd/text.h"

namespace wk {
namespace {

using namespace std::string_literals;

using arguments = std::vector<std::string>;
constexpr uint64_t LONG_MS = 600'000;
const std::string UP = "printf '\\1\\0\\0\\0'; ";

// The plug-in's side of an exchange: takes so many bytes and answers.
std::string build_turn(size_t nb_bytes, const std::string& answer,
                       const std::string& record = "/dev/null") {
  std::string text = format_text("head -c %zu >>%s; printf '", nb_bytes, record.c_str());
  for (const char c : answer) {
    append_formatted_text(text, "\\%03o", unsigned{static_cast<unsigned char>(c)});
  }
  return text + "'; ";
}

uint32_t ask_mime(const crawler_content_plugin& set, const std::string& type = "a/b") {
  return recognize_mime_crawler_content_plugin(set, 0, type);
}

TEST(builtin_plugins, know_a_document_by_mime_type_and_by_its_marks) {
  crawler_content_plugin set;
  add_html_plugin(set);
  add_raw_plugin(set, 8);
  for (const char* type : {"text/html", "x;text/html; charset=a", "application/xhtml+xml"}) {
    EXPECT_EQ(ask_mime(set, type), 255u) << type;
  }
  for (const char* type : {"TEXT/HTML", "text/plain", "application/xml", ""}) {
    EXPECT_EQ(ask_mime(set, type), 0u) << type;
  }
  const std::string blanks(251, ' ');
  const std::pair<uint8_t, std::vector<std::string>> contents[] = {
      {255, {"<!DOCTYPE HTML>", "\xff <HtMl>", "<title><html", blanks + "<html   "}},
      {170, {"<title>x<head>"}},
      {128, {"<TITLE>"}},
      {0, {"<body>", "<ht\0ml>"s, "", blanks + " <html   ", blanks + "<htm"}},
  };
  for (const auto& [certainty, pages] : contents) {
    for (const std::string& page : pages) {
      EXPECT_EQ(recognize_content_crawler_content_plugin(set, 0, page), certainty) << page;
      EXPECT_EQ(recognize_content_crawler_content_plugin(set, 1, page), 8);
    }
  }
  EXPECT_EQ(recognize_url_crawler_content_plugin(set, 0, "http://a/b.html"), 0);
  EXPECT_EQ(recognize_url_crawler_content_plugin(set, 2, "http://a/b.html"), 0) << "none there";
  for (const uint32_t number : {0u, 1u}) {
    conversion result{"old", 77};
    EXPECT_NE(convert_crawler_content_plugin(set, number, {blanks}, result), 0u);
    EXPECT_EQ(result.text, blanks);
    EXPECT_EQ(result.type, 4 * number);
  }
}

TEST(external_plugin, keeps_to_the_protocol_to_the_byte) {
  const temp_directory directory;
  const std::string record = directory.path + "/record";
  const std::string script = UP + build_turn(11, "\xff", record) + build_turn(8, "\0"s, record) +
                             build_turn(10, "\x80", record) + build_turn(20, "\0\0\0\0"s, record) +
                             build_turn(17, "\7\0\0\0\4\0\0\0\0new\3\1\0\0"s, record) + "cat >>";
  crawler_content_plugin set;
  ASSERT_TRUE(load_external_plugin(set, arguments{"sh", "-c", script + record}, nullptr));
  EXPECT_EQ(ask_mime(set), 255u);
  EXPECT_EQ(recognize_url_crawler_content_plugin(set, 0, ""), 0);
  EXPECT_EQ(recognize_content_crawler_content_plugin(set, 0, "\0\n"s), 128);
  conversion result{"old", 9};
  EXPECT_EQ(convert_crawler_content_plugin(set, 0, {"c", "one", ""}, result), 0u);
  EXPECT_EQ(result.text, "old") << "a refused conversion leaves it alone";
  EXPECT_EQ(convert_crawler_content_plugin(set, 0, {"", "", "t"}, result), 7u);
  EXPECT_EQ(result.text, "\0new"s);
  EXPECT_EQ(result.type, 259u);
  close_crawler_content_plugin(set);
  EXPECT_EQ(read_test_file(record),
            "\2\0\0\0\3\0\0\0a/b\3\0\0\0\0\0\0\0\4\0\0\0\2\0\0\0\0\n"s
            "\5\0\0\0\3\0\0\0one\0\0\0\0\1\0\0\0c\5\0\0\0\0\0\0\0\1\0\0\0t\0\0\0\0\1\0\0\0"s);
}

TEST(external_plugin, that_does_not_come_up_is_refused) {
  for (const arguments& plugin :
       {arguments{""}, {"/"}, {"printf", "123"}, {"sh", "-c", "trap '' TERM; sleep 9"}}) {
    crawler_content_plugin set;
    EXPECT_FALSE(load_external_plugin(set, plugin, nullptr, {.start_ms = 30})) << plugin[0];
    EXPECT_EQ(count_crawler_content_plugin(set), 0u);
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a process was left behind";
  }
}

TEST(external_plugin, that_goes_wrong_costs_its_own_answers_and_is_said_once) {
  const std::string taken = build_turn(17, ""), late = build_turn(11, "x") + build_turn(11, "\0"s);
  const std::pair<const char*, std::string> cases[] = {
      {"it has ended", taken},
      {"it has ended", taken + "printf '\\1\\0\\0\\0\\144\\0\\0\\0half'"},
      {"it has ended", "sleep 1000 & exit"},
      {"no answer came within 30 ms", build_turn(17, "\1") + "sleep 1000"},
      {"it announced 4294967295 bytes", build_turn(17, "\1\0\0\0\xff\xff\xff\xff"s)},
      {"it announced 1870078063 bytes", build_turn(17, "hello world")},
      {"it wrote what nobody had asked for", "exec cat /dev/zero"},
      {"it did not end within 30 ms", build_turn(17, "\0\0\0\0"s) + late + "sleep 1000"},
  };
  for (const auto& [reason, script] : cases) {
    SCOPED_TRACE(script);
    const uint64_t exchange_ms = std::string_view(reason).starts_with("no answer") ? 30 : LONG_MS;
    testing::internal::CaptureStderr();
    {
      crawler_content_plugin set;
      ASSERT_TRUE(load_external_plugin(set, arguments{"sh", "-c", UP + script}, nullptr,
                                       {.exchange_ms = exchange_ms, .end_ms = 30}));
      add_raw_plugin(set, 8);
      conversion result{"old", 9};
      EXPECT_EQ(convert_crawler_content_plugin(set, 0, {"x"}, result), 0u);
      EXPECT_EQ(result.text, "old");
      (void)ask_mime(set);  // one that is at an end already answers as well
      EXPECT_EQ(ask_mime(set), 0u);
      EXPECT_EQ(recognize_mime_crawler_content_plugin(set, 1, "a/b"), 8u) << "another plug-in";
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              std::string("The content plug-in 'sh' is not asked any more: ") + reason + "\n");
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a process was left behind";
  }
}

TEST(example_plugins, know_their_documents) {
  const std::string build = get_zcrawler_path().substr(0, get_zcrawler_path().rfind('/'));
  const std::tuple<std::string, const char*, const char*, const char*, const char*> cases[] = {
      {WK_SOURCE_DIRECTORY "/examples/plugins/markdown_plugin.py", "text/markdown",
       "http://a/b.md?c", "# One\n**two** [three](http://x/)\n", "One\ntwo three\n"},
      {build + "/examples/plugins/plain_text_plugin", "text/plain; charset=x", "http://a/b.txt",
       "one\r\ntwo\rthree\n", "one\ntwo\nthree\n"},
  };
  for (const auto& [path, mime_type, url, content, text] : cases) {
    SCOPED_TRACE(path);
    crawler_content_plugin set;
    conversion result;
    ASSERT_TRUE(load_external_plugin(set, arguments{path}, nullptr, {.exchange_ms = LONG_MS}));
    EXPECT_EQ(ask_mime(set, mime_type), 255u);
    EXPECT_EQ(ask_mime(set, "image/png"), 0u);
    EXPECT_EQ(recognize_url_crawler_content_plugin(set, 0, url), 200);
    EXPECT_GE(recognize_content_crawler_content_plugin(set, 0, content), 64);
    EXPECT_EQ(convert_crawler_content_plugin(set, 0, {content, "a", "b"}, result), 1u);
    EXPECT_EQ(result.text, text);
    EXPECT_EQ(result.type, 3u);
  }
}

}  // namespace
}  // namespace wk
