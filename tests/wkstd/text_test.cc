#include "wkstd/text.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "wkstd/base64.h"

namespace wk {
namespace {

TEST(parse_integer, reads_as_far_as_the_number_goes) {
  const std::tuple<const char*, int32_t> cases[] = {{" \t\n+7x", 7},
                                                    {"-12 3", -12},
                                                    {"", 0},
                                                    {"abc", 0},
                                                    {"-", 0},
                                                    {"2147483648", INT32_MAX},
                                                    {"-99999999999", INT32_MIN},
                                                    {"99999999999999999999999", INT32_MAX}};
  for (const auto& [text, number] : cases) EXPECT_EQ(parse_integer(text), number) << text;
}

TEST(text, is_bytes_of_any_length) {
  EXPECT_EQ(find_ignoring_case("aSCRIPTscript", "script"), 1u);
  EXPECT_EQ(find_ignoring_case("aSCRIPTscript", "script", 2), 7u);
  EXPECT_EQ(find_ignoring_case("aSCRIPT", "scripts"), std::string::npos);
  EXPECT_EQ(find_ignoring_case("a", "a", 5), std::string::npos);
  EXPECT_EQ(find_ignoring_case("K\xc3\x84", "\xc3\xa4"), std::string::npos) << "ASCII letters only";
  const std::string text(100'000, 'x');
  EXPECT_EQ(format_text("<%s>", text.c_str()), "<" + text + ">");
  EXPECT_EQ(trim_blanks(" \r\n\ta b\t "), "a b");
  EXPECT_EQ(trim_blanks(" \n "), "");
  std::string out;
  for (const char* bytes : {"", "f", "fo", "foo", "\xff\xfe\xfd"}) append_base64(out, bytes);
  EXPECT_EQ(out, "Zg==Zm8=Zm9v//79");
}

}  // namespace
}  // namespace wk
