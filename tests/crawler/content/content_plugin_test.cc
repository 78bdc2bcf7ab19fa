#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <fstream>
#include <thread>
#include <tuple>
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
  const std::tuple<uint8_t, std::vector<std::string>> mime_types[] = {
      {255, {"text/html", "x;text/html; charset=a", "application/xhtml+xml"}},
      {0, {"TEXT/HTML", "text/htm", "text/plain", "application/xml", "application/XHTML+xml", ""}},
  };
  for (const auto& [certainty, types] : mime_types) {
    for (const std::string& type : types) EXPECT_EQ(ask_mime(set, type), certainty) << type;
  }
  const std::string blanks(251, ' ');
  const std::tuple<uint8_t, std::vector<std::string>> contents[] = {
      {255, {"<!DOCTYPE HTML>", "\xff <HtMl>", "<title><html", blanks + "<html   "}},
      {170, {"<title>x<head>"}},
      {128, {"<TITLE>"}},
      {0, {"<body>", "<h1>", "<!-- -->", "<ht\0ml>"s, "", blanks + " <html   ", blanks + "<htm"}},
  };
  for (const auto& [certainty, pages] : contents) {
    for (const std::string& page : pages) {
      EXPECT_EQ(recognize_content_crawler_content_plugin(set, 0, page), certainty) << page;
      EXPECT_EQ(recognize_content_crawler_content_plugin(set, 1, page), 8);
    }
  }
  EXPECT_EQ(recognize_url_crawler_content_plugin(set, 0, "http://a/b.html"), 0);
  EXPECT_EQ(recognize_url_crawler_content_plugin(set, 2, "http://a/b.html"), 0) << "none there";
  for (const auto& [number, type] : {std::pair{0u, 0u}, {1u, 4u}}) {
    conversion result{"old", 77};
    EXPECT_NE(convert_crawler_content_plugin(set, number, {blanks}, result), 0u);
    EXPECT_EQ(result.text, blanks);
    EXPECT_EQ(result.type, type);
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

TEST(load_external_plugin, refuses_what_does_not_come_up) {
  const arguments cases[] = {
      {}, {""}, {"/no/such", "x"}, {"/"}, {"printf", "123"}, {"sh", "-c", "trap '' TERM; sleep 9"},
  };
  for (const arguments& plugin : cases) {
    SCOPED_TRACE(testing::PrintToString(plugin));
    crawler_content_plugin set;
    EXPECT_FALSE(load_external_plugin(set, plugin, nullptr, {.start_ms = 30}));
    EXPECT_EQ(count_crawler_content_plugin(set), 0u);
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a process was left behind";
  }
}

TEST(external_plugin, that_goes_wrong_costs_its_own_answers_and_is_said_once) {
  const std::tuple<const char*, std::string, uint64_t> cases[] = {
      {"it has ended", build_turn(17, ""), LONG_MS},
      {"it has ended", build_turn(17, "\1\0\0\0\x64\0\0\0half"s), LONG_MS},
      {"it has ended", build_turn(17, "\1\0\0\0\1\0\0\0xtyp"s), LONG_MS},
      {"it has ended", "sleep 1000 & exit", LONG_MS},
      {"no answer came within 30 ms", "exec sleep 1000", 30},
      {"no answer came within 30 ms", build_turn(17, "\1") + "sleep 1000", 30},
      {"it announced 4294967295 bytes", build_turn(17, "\1\0\0\0\xff\xff\xff\xff"s), LONG_MS},
      {"it announced 1870078063 bytes", build_turn(17, "hello world"), LONG_MS},
      {"it wrote what nobody had asked for", "exec cat /dev/zero", LONG_MS},
      {"it did not end within 30 ms",
       build_turn(17, "\0\0\0\0"s) + build_turn(11, "x") + build_turn(11, "\0"s) + "sleep 1000",
       LONG_MS},
  };
  for (const auto& [reason, script, exchange_ms] : cases) {
    SCOPED_TRACE(script);
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

TEST(external_plugin, is_waited_for_no_longer_when_the_crawl_stops) {
  const temp_directory directory;
  const std::string asked = directory.path + "/asked";
  ASSERT_EQ(::mkfifo(asked.c_str(), 0600), 0);
  std::atomic<uint32_t> stop{0};
  crawler_content_plugin set;
  const arguments plugin = {"sh", "-c", UP + build_turn(11, "") + "echo >" + asked + "; sleep 999"};
  ASSERT_TRUE(load_external_plugin(set, plugin, &stop, {.exchange_ms = LONG_MS}));
  std::jthread stopper([&asked, &stop] {
    std::ifstream(asked).get();  // comes when the plug-in has been asked
    stop = 1;
  });
  testing::internal::CaptureStderr();
  EXPECT_EQ(recognize_url_crawler_content_plugin(set, 0, std::string(1 << 20, 'x')), 0);
  EXPECT_EQ(ask_mime(set), 0u);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << "it is not the plug-in's fault";
  EXPECT_FALSE(load_external_plugin(set, arguments{"sleep", "999"}, &stop, {.start_ms = LONG_MS}));
}

TEST(example_plugins, know_their_documents_and_serve_threads_one_after_another) {
  const std::string build = get_zcrawler_path().substr(0, get_zcrawler_path().rfind('/'));
  const std::tuple<std::string, std::string, std::string, std::string, std::string> cases[] = {
      {WK_SOURCE_DIRECTORY "/examples/plugins/markdown_plugin.py", "text/markdown",
       "http://a/b.md?c", "# One\n**two** [three](http://x/)\n", "One\ntwo three\n"},
      {build + "/examples/plugins/plain_text_plugin", "text/plain; charset=x", "http://a/b.txt",
       "one\r\ntwo\rthree\n", "one\ntwo\nthree\n"},
  };
  for (const auto& c : cases) {
    const auto& [path, mime_type, url, content, text] = c;
    SCOPED_TRACE(path);
    crawler_content_plugin set;
    ASSERT_TRUE(load_external_plugin(set, arguments{path}, nullptr, {.exchange_ms = LONG_MS}));
    const auto ask_often = [&set, &c] {
      for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(ask_mime(set, std::get<1>(c)), 255u);
        EXPECT_EQ(recognize_url_crawler_content_plugin(set, 0, std::get<2>(c)), 200);
        EXPECT_GE(recognize_content_crawler_content_plugin(set, 0, std::get<3>(c)), 64);
        EXPECT_EQ(ask_mime(set, "image/png"), 0u);
      }
    };
    { const std::jthread threads[] = {std::jthread(ask_often), std::jthread(ask_often)}; }
    conversion result;
    EXPECT_EQ(convert_crawler_content_plugin(set, 0, {content, "a", "b"}, result), 1u);
    EXPECT_EQ(result.text, text);
    EXPECT_EQ(result.type, 3u);
  }
}

}  // namespace
}  // namespace wk
