#include "crawler/content/page_text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <utility>

#include "crawler/content/digest_table.h"
#include "wkstd/text.h"

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

// The rules one after another, a byte at a time.
std::string build_plain_page_text(const std::string& page) {
  const auto behind = [&page](std::string_view end, size_t from) {
    const size_t at = find_ignoring_case(page, end, from);
    return at == std::string::npos ? page.size() : at + end.size();
  };
  std::string text;
  for (size_t at = 0; at < page.size();) {
    const std::string_view rest = std::string_view(page).substr(at);
    if (starts_with_ignoring_case(rest, "&nbsp;"))
      at += 6;
    else if (starts_with_ignoring_case(rest, "&nbsp"))
      at += 5;
    else if (rest.starts_with("<!--"))
      at = behind("-->", at + 2);
    else if (starts_with_ignoring_case(rest, "<script"))
      at = behind("</script>", at + 7);
    else if (starts_with_ignoring_case(rest, "<style"))
      at = behind("</style>", at + 6);
    else if (rest[0] == '<')
      at = behind(">", at);
    else
      text += page[at++];
  }
  return text;
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
      {"plain", "plain"},
      {"a<b>c</b>d", "acd"},
      {"a<b title='>'>c", "a'>c"},
      {"a&nbsp;b&NBSP;c&nbspd&nbsp", "abcd"},
      {"a&amp;b &nbs &", "a&amp;b &nbs &"},
      {"a<!-- <p> -- > -->b", "ab"},
      {"a<!-->b-->c", "ab-->c"},
      {"a<!--->b", "ab"},
      {"a<!DOCTYPE html>b", "ab"},
      {"a<SCRIPT x>b<p></Script >c</ScripT>d", "ad"},
      {"a<style>b</style>c<stylex>d</styleX></style>e", "ace"},
      {"a< script>b</script>c", "abc"},
      {"a<p", "a"},
      {"a<!-- b>c", "a"},
      {"a<script>b</p>c", "a"},
      {"a<style>b</p>c", "a"},
      {"", ""},
      {"<", ""},
  };
  for (const auto& [page, text] : cases) EXPECT_EQ(get_page_text(page), text) << page;
}

TEST(build_page_text, agrees_with_the_plain_rules_on_any_bytes) {
  std::mt19937 random(1);
  for (int i = 0; i < 20'000; ++i) {
    const std::string page = build_random_page(random);
    ASSERT_EQ(get_page_text(page), build_plain_page_text(page)) << page;
  }
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

TEST(page_digest, ends_at_a_nul_of_the_text_and_not_of_a_tag) {
  EXPECT_EQ(compute_page_digest("ab<i \0>cd\0ef"s), compute_text_digest("abcd"));
  EXPECT_EQ(compute_page_digest("<p>one</p>"), compute_page_digest("o<!-- c -->n&nbsp;e"));
  EXPECT_NE(compute_page_digest("one"), compute_page_digest("eno"));
}

}  // namespace
}  // namespace wk
