#include "wkstd/text.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

namespace wk {
namespace {

TEST(parse_integer, reads_as_far_as_the_number_goes) {
  const std::tuple<const char*, int32_t> cases[] = {
      {"0", 0},
      {"42", 42},
      {" \t\n+7x", 7},
      {"-12 3", -12},
      {"", 0},
      {"abc", 0},
      {"-", 0},
      {"2147483648", 2147483647},
      {"-99999999999", -2147483647 - 1},
      {"99999999999999999999999", 2147483647},
  };
  for (const auto& [text, number] : cases) EXPECT_EQ(parse_integer(text), number) << text;
}

TEST(find_ignoring_case, finds_from_a_place_on) {
  EXPECT_EQ(find_ignoring_case("aSCRIPTscript", "script"), 1u);
  EXPECT_EQ(find_ignoring_case("aSCRIPTscript", "script", 2), 7u);
  EXPECT_EQ(find_ignoring_case("aSCRIPT", "scripts"), std::string::npos);
  EXPECT_EQ(find_ignoring_case("a", "a", 5), std::string::npos);
  EXPECT_EQ(find_ignoring_case("K\xc3\x84", "\xc3\xa4"), std::string::npos) << "ASCII letters only";
}

TEST(format_text, holds_texts_of_any_length) {
  const std::string text(100'000, 'x');
  EXPECT_EQ(format_text("<%s>", text.c_str()), "<" + text + ">");
  std::string out = "a";
  append_formatted_text(out, "%u%s", 7u, "b");
  EXPECT_EQ(out, "a7b");
}

TEST(trim_blanks, takes_blanks_at_both_ends_only) {
  EXPECT_EQ(trim_blanks(" \r\n\ta b\t "), "a b");
  EXPECT_EQ(trim_blanks(" \n "), "");
}

}  // namespace
}  // namespace wk
