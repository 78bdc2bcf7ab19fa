#include "crawler/content/page_text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
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

// Pages made of the pieces that mean something and of bytes that do not.
std::string build_random_page(std::mt19937& random) {
  static const std::string pieces[] = {
      "<",       ">",         "<!--",    "-->",      "<!-->",           "--",    "-",
      "<script", "</script>", "<STYLE>", "</style",  "</sTyLe>",        "&nbsp", "&NBSP;",
      "&nbs",    "&",         ";",       "<a href=", "text and ",       "\0"s,   "\xff\x80",
      "/",       "s",         "!",       "<p>",      "0123456789abcdef"};
  std::string page;
  for (size_t n = random() % 40; n > 0; --n) {
    page += pieces[random() % std::size(pieces)];
    if (random() % 4 == 0) page += static_cast<char>(random());
  }
  return page;
}

content_digest sum_by_place(const std::string& text) {
  content_digest digest{};
  for (size_t i = 0; i < text.size(); ++i) {
    digest[i % 16] =
        static_cast<unsigned char>(digest[i % 16] + static_cast<unsigned char>(text[i]));
  }
  return digest;
}

TEST(build_page_text, drops_what_is_not_seen) {
  const std::pair<std::string, const char*> cases[] = {
      {"a<b>c</b>d", "acd"},
      {"a<b title='>'>c", "a'>c"},
      {"a&nbsp;b&NBSP;c&nbspd&nbsp", "abcd"},
      {"a&amp;b &nbs &", "a&amp;b &nbs &"},
      {"a<!-- <p> -- > -->b", "ab"},
      {"a<!-->b-->c", "ab-->c"},
      {"a<!--->b", "ab"},
      {"a<SCRIPT x>b<p></Script >c</ScripT>d", "ad"},
      {"a<style>b</style>c<stylex>d</styleX></style>e", "ace"},
      {"a< script>b</script>c", "abc"},
      {"a<p", "a"},
      {"a<!-- b>c", "a"},
      {"a<script>b</p>c", "a"},
      {"a<style>b</p>c", "a"},
      {"a<!-- b -- ><!-- -->c&NBSPd<script></scripT>e<b", "acde"},
      {std::string(33, '.') + "<!--" + std::string(33, '-') + "->b<" + std::string(33, '!') + ">c",
       ".................................bc"},
      {"<", ""},
  };
  for (const auto& [page, text] : cases) EXPECT_EQ(get_page_text(page), text) << page;
}

TEST(page_digest, is_the_digest_of_the_page_text) {
  std::mt19937 random(2);
  for (int i = 0; i < 20'000; ++i) {
    const std::string page = build_random_page(random);
    ASSERT_EQ(compute_page_digest(page), compute_text_digest(get_page_text(page))) << page;
  }
}

TEST(text_digest, sums_bytes_by_place_up_to_the_first_nul) {
  std::mt19937 random(3);
  for (size_t length = 0; length < 600; ++length) {
    std::string text(length, '\0');
    std::generate(text.begin(), text.end(), [&] { return static_cast<char>(random() % 255 + 1); });
    ASSERT_EQ(compute_text_digest(text), sum_by_place(text)) << length;
    ASSERT_EQ(compute_text_digest(text + "\0more"s), sum_by_place(text)) << length;
    text += "\0more"s;
    content_digest without_zeros = sum_by_place(text);
    for (unsigned char& byte : without_zeros) byte = byte == 0 ? 1 : byte;
    ASSERT_EQ(compute_body_digest(text), without_zeros) << length;
  }
}

}  // namespace
}  // namespace wk
