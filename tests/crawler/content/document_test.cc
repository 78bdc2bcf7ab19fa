// What a document is taken for, by the crawler and by plug-ins; what of a page is read, and which
// of them was seen before.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "crawler/content/builtin_plugins.h"
#include "crawler/content/content_class.h"
#include "crawler/content/digest_set.h"
#include "crawler/content/digest_table.h"
#include "crawler/content/external_plugin.h"
#include "crawler/content/page_text.h"
#include "tests/support/crawl_run.h"
#include "wkstd/state_stream.h"
#include "wkstd/text.h"

namespace wk {
namespace {

using namespace std::string_literals;

TEST(get_content_class, takes_the_word_that_comes_first) {
  const std::pair<const char*, content_class> cases[] = {
      {"text/html", CONTENT_HTML},
      {"TEXT/plain; charset=x", CONTENT_HTML},
      {"application/xml", CONTENT_XML},
      {"application/RSS+Xml; a=text", CONTENT_XML},
      {"application/x-htm", CONTENT_RAW},
      {"image/png", CONTENT_RAW},
      {"xm", CONTENT_RAW},
      {"", CONTENT_RAW},
  };
  for (const auto& [type, expected] : cases) EXPECT_EQ(get_content_class(type), expected) << type;
  std::string names;
  for (uint32_t code = 0; code < 7; ++code) names.append(get_content_type_name(code)) += ' ';
  EXPECT_EQ(names, "html sgml xml txt raw   ");
}

TEST(find_character_set, asks_the_header_and_then_the_page) {
  const std::tuple<std::string, std::string, const char*> cases[] = {
      {"text/html; charset=UTF-8", "<meta charset=x>", "UTF-8"},
      {"text/html;Charset = \"iso-8859-1\" ; a=b", "", "iso-8859-1"},
      {"text/html; charset=\"gbk", "<meta charset=x>", "x"},
      {"text/html; charset=a;b=c", "", "a"},
      {"text/html; charset-x=a; charset=b", "", "b"},
      {"", "<html><META name=a content='charset=b'><meta CharSet = 'gb2312' >", "gb2312"},
      {"", "<meta/charset=utf-8/>", "utf-8/"},
      {"", "<meta http-equiv=Content-Type content=\"text/html; charset=koi8-r\">", "koi8-r"},
      {"", "<meta content='text/html;charset=koi8-r' http-equiv='content-type'/>", "koi8-r"},
      {"", "<meta content='text/html;charset=koi8-r'>", ""},
      {"", "<!-- <meta charset=a> --><meta charset=b>", "b"},
      {"", "<metadata charset=a><meta charset='a", ""},
      {"", "<meta charset=", ""},
      {"", std::string(990, ' ') + "<meta charset=a>", "a"},
      {"", std::string(1024, ' ') + "<meta charset=a>", ""},
  };
  for (const auto& [type, body, expected] : cases) {
    EXPECT_EQ(find_character_set(type, body), expected) << type << body;
  }
}

std::string get_page_text(std::string_view page) {
  std::string text = "of the page before";
  build_page_text(text, page);
  return text;
}

content_digest sum_by_place(const std::string& text) {
  content_digest digest{};
  for (size_t i = 0; i < text.size(); ++i) {
    digest[i % 16] = static_cast<uint8_t>(digest[i % 16] + static_cast<uint8_t>(text[i]));
  }
  return digest;
}

TEST(build_page_text, drops_what_is_not_seen) {
  const std::pair<std::string, const char*> cases[] = {
      {"a<b title='>'>c", "a'>c"},
      {"a&nbsp;b&NBSP;c&nbspd&nbsp", "abcd"},
      {"a<!-- <p> -- > -->b", "ab"},
      {"a<!-->b-->c", "ab-->c"},
      {"a<SCRIPT x>b<p></Script >c</ScripT>d", "ad"},
      {"a<style>b</style>c<stylex>d</styleX></style>e", "ace"},
      {"a<!-- b>c", "a"},
      {"a<script>b</p>c", "a"},
      {std::string(33, '.') + "<!--" + std::string(33, '-') + "->b<" + std::string(33, '!') + ">c",
       ".................................bc"},
      {"<", ""},
  };
  for (const auto& [page, text] : cases) {
    // The place of a byte within the blocks that are read at once changes nothing.
    for (size_t shift = 0; shift <= 33; ++shift) {
      const std::string moved(shift, '.');
      EXPECT_EQ(get_page_text(moved + page), moved + text) << page;
      EXPECT_EQ(compute_page_digest(moved + page), compute_text_digest(moved + text)) << page;
    }
  }
}

TEST(text_digest, sums_bytes_by_place_up_to_the_first_nul) {
  for (size_t length = 0; length < 600; ++length) {
    std::string text;
    for (size_t i = 0; i < length; ++i) text += static_cast<char>(i * 77 % 255 + 1);
    ASSERT_EQ(compute_text_digest(text), sum_by_place(text)) << length;
    ASSERT_EQ(compute_text_digest(text + "\0more"s), sum_by_place(text)) << length;
    content_digest without_zeros = sum_by_place(text += "\0more"s);
    for (unsigned char& byte : without_zeros) byte = byte == 0 ? 1 : byte;
    ASSERT_EQ(compute_body_digest(text), without_zeros) << length;
  }
}

// The n-th of a row of digests without zero bytes.
content_digest build_digest(uint32_t n) {
  content_digest digest;
  digest.fill(1);
  for (size_t i = 0; n > 0; ++i, n /= 255) digest[i] = static_cast<unsigned char>(n % 255 + 1);
  return digest;
}

TEST(digest_table, takes_a_digest_up_to_its_first_zero_byte) {
  const digest_table_ptr table = create_digest_table();
  const std::pair<content_digest, bool> cases[] = {
      {{}, false},
      {{0, 1, 2}, true},
      {{1, 2, 0, 3}, false},
      {{1, 2, 0, 4}, true},
      {{1, 2, 3}, false},
      {{1, 2, 3, 4, 5, 6, 7, 8, 0, 1}, false},
      {{1, 2, 3, 4, 5, 6, 7, 8, 0, 2}, true},
      {{1, 2, 3, 4, 5, 6, 7, 8, 1}, false},
  };
  for (const auto& [digest, known] : cases) {
    EXPECT_EQ(test_and_enter_digest_table(*table, digest), known);
  }
  EXPECT_EQ(count_digest_table(*table), 5u);
}

TEST(digest_set, holds_digests_below_forty_bytes_each) {
  digest_set set;
  for (uint32_t n = 1; n <= 200'000; ++n) {
    ASSERT_TRUE(add_digest_set(set, build_digest_key(build_digest(n))));
    ASSERT_FALSE(add_digest_set(set, build_digest_key(build_digest(n / 2 + 1))));
    ASSERT_TRUE(n < 1'000 || set.slots.capacity() * sizeof(digest_key) < size_t{40} * n);
  }
}

TEST(digest_table, comes_back_from_its_image_and_keeps_what_it_holds_when_it_is_damaged) {
  const digest_table_ptr table = create_digest_table(), loaded = create_digest_table();
  for (uint32_t n = 0; n < 1'000; ++n) test_and_enter_digest_table(*table, build_digest(n));
  test_and_enter_digest_table(*table, {});
  std::string image, huge;
  save_digest_table(*table, image);
  append_u64(huge, 0x1000'0000'0000'0001);
  test_and_enter_digest_table(*loaded, build_digest(2'000));
  for (const std::string& bytes : {image.substr(0, 7), image.substr(0, image.size() - 1),
                                   huge + std::string(64, 'x'), image + "next"}) {
    std::string_view stream = bytes;
    const bool is_whole = bytes.size() > image.size();
    EXPECT_EQ(load_digest_table(stream, *loaded), is_whole);
    EXPECT_EQ(stream, is_whole ? "next" : bytes);
    EXPECT_EQ(count_digest_table(*loaded), is_whole ? 1'001u : 1u);
  }
  for (uint32_t n = 0; n < 1'000; ++n) {
    ASSERT_TRUE(test_and_enter_digest_table(*loaded, build_digest(n)));
  }
  EXPECT_FALSE(test_and_enter_digest_table(*loaded, build_digest(2'000)));
}

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
