#include "crawler/fetch/cookie_date.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <tuple>

namespace wk {
namespace {

TEST(cookie_date_parse, reads_four_forms_as_a_whole_and_nothing_else) {
  const std::tuple<std::string_view, uint32_t> cases[] = {
      {"Sun, 06-Nov-94 08:49:37 GMT", 784111777},
      {"Sun Nov 06 08:49:37 1994 GMT", 784111777},
      {"Sun, 06-Nov-1994 08:49:37 GMT", 784111777},
      {"Sun, 06 Nov 1994 08:49:37 GMT", 784111777},
      {"Sun, 6-November-94 08:49:37 GMT", 784111777},
      {"Mon, 06-Nov-94 08:49:37 GMT", 784111777},  // the day's name is not held against the date
      {"Thu, 01-Jan-1970 00:00:01 GMT", 1},
      {"Thu, 01-Jan-1970 00:00:00 GMT", 0},
      {"Wed, 31-Dec-1969 23:59:59 GMT", 1},
      {"Sun, 31-Dec-68 23:59:59 GMT", 3124223999},  // two digits below 69 are of the 2000s
      {"Sun, 07-Feb-2106 06:28:14 GMT", 4294967294},
      {"Fri, 31-Dec-9999 23:59:59 GMT", 4294967295},
      {"Sunday, 06-Nov-94 08:49:37 GMT", 0},  // a name of more than five letters
      {"Tues, 06-Nov-94 08:49:37 GMT", 0},    // the form fits, no day has that name
      {"Sun, 06-Foo-94 08:49:37 GMT", 0},
      {"Sun, 32-Jan-94 08:49:37 GMT", 0},
      {"Sun, 06-Nov-94 24:49:37 GMT", 0},
      {"Sun, 06-Nov-94 08:49:37 GMT\n", 0},
      {" Sun, 06-Nov-94 08:49:37 GMT", 0},
      {"Sun, 06-Nov-94 08:49:37 UTC", 0},
      {"Sun, 06 Nov 94 08:49:37 GMT", 0},
      {std::string_view("Sun, 06-Nov-94 08:49:37 GMT\0", 28), 0},
      {"", 0},
  };
  for (const auto& [text, expiry] : cases) EXPECT_EQ(cookie_date_parse(text), expiry) << text;
  EXPECT_EQ(cookie_date_parse("Sun, " + std::string(8'000, '0') + "6-Nov-94 08:49:37 GMT"), 0u);
}

}  // namespace
}  // namespace wk
