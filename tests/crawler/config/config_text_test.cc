#include "crawler/config/config_text.h"

#include <gtest/gtest.h>

#include "tests/crawler/config/profile_file.h"

namespace wk {
namespace {

TEST(config_text, holds_every_field_and_gives_absent_ones_their_defaults) {
  const config_values full = build_full_profile("{}");
  EXPECT_EQ(describe(full), FULL_FIELDS) << "what is missing has its default";
  config_values read;
  ASSERT_TRUE(read_config_text(write_fields(full), read));
  expect_same_config(read, full);
  config_values expected;
  expected.nb_spiders = 9;
  ASSERT_TRUE(read_config_text("nb-spiders 9\n", read));
  expect_same_config(read, expected);
}

TEST(config_text, refuses_what_it_does_not_write) {
  for (const char* text :
       {"nb-spiders 9", "nb-spiders\n", "\n", "nb-spider 9\n", " 9\n", "nb-spiders \n",
        "nb-spiders 9x\n", "nb-spiders 2147483648\n", "stop-when-empty 2\n", "stop-when-empty \n",
        "user-agent a\\rb\n", "user-agent a\\\n", "seed-url a\tb\n", "credential a\tb\n",
        "cookie a\tb\tc\td\te\n", "substitution a\n", "site-page-limit -1\t1\n",
        "site-page-limit 1\tx\n", "nb-spiders 9\nx y\n"}) {
    config_values config = build_full_profile("/base");
    EXPECT_FALSE(read_config_text(text, config)) << text;
    EXPECT_TRUE(config == build_full_profile("/base")) << text;
  }
}

}  // namespace
}  // namespace wk
