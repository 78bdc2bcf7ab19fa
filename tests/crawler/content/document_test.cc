// What a document is taken for, what of a page is read, and which of them was seen before.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>

#include "crawler/content/content_class.h"
#include "crawler/content/digest_set.h"
#include "crawler/content/digest_table.h"
#include "crawler/content/page_text.h"
#include "wkstd/state_stream.h"

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

}  // namespace
}  // namespace wk
