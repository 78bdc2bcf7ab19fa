#include "crawler/content/page_text.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "crawler/content/digest_table.h"

namespace wk {
namespace {

using namespace std::string_literals;

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

}  // namespace
}  // namespace wk
