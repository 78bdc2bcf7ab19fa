#include "crawler/config/config_text.h"

#include <gtest/gtest.h>

#include <string>

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

TEST(config_text, keeps_every_byte_of_a_text) {
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all.push_back(static_cast<char>(byte));
  for (const std::string& text : {std::string(), all, std::string("\\"), std::string("\\\\n\\\t"),
                                  std::string(" leading and trailing "), std::string("\n\n")}) {
    config_values config, read;
    config.user_agent = text;
    config.seed_urls = {text, "", text};
    config.cookies = {{text, text, "", text}};
    ASSERT_TRUE(read_config_text(write_fields(config), read));
    expect_same_config(read, config);
  }
}

TEST(config_text, refuses_what_it_does_not_write) {
  const char* const cases[] = {"nb-spiders 9",
                               "nb-spiders\n",
                               "\n",
                               "nb-spider 9\n",
                               " 9\n",
                               "nb-spiders \n",
                               "nb-spiders 9x\n",
                               "nb-spiders 2147483648\n",
                               "stop-when-empty 2\n",
                               "stop-when-empty \n",
                               "user-agent a\\rb\n",
                               "user-agent a\\\n",
                               "seed-url a\tb\n",
                               "credential a\tb\n",
                               "cookie a\tb\tc\td\te\n",
                               "substitution a\n",
                               "site-page-limit -1\t1\n",
                               "site-page-limit 1\tx\n",
                               "nb-spiders 9\nx y\n"};
  for (const char* text : cases) {
    config_values config = build_full_profile("/base");
    EXPECT_FALSE(read_config_text(text, config)) << text;
    EXPECT_TRUE(config == build_full_profile("/base")) << text;
  }
}

}  // namespace
}  // namespace wk
