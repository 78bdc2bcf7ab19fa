#include "crawler/config/config_text.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "tests/crawler/config/full_profile.h"

namespace wk {
namespace {

std::string write(const config_values& config) {
  std::string text = "what stood here before";
  write_config_text(config, text);
  return text;
}

TEST(config_text, holds_every_field) {
  const config_values full = build_full_profile("/base");
  const std::string text = write(full);
  config_values read;
  ASSERT_TRUE(read_config_text(text, read)) << text;
  EXPECT_TRUE(read == full) << text << "\nwas read as\n" << write(read);

  // The profile is full: none of its lines is that of a default.
  std::string defaults = write({});
  for (size_t end = defaults.find('\n'); end != std::string::npos; end = defaults.find('\n')) {
    const std::string line = "\n" + defaults.substr(0, end + 1);
    EXPECT_EQ(("\n" + text).find(line), std::string::npos) << line;
    defaults.erase(0, end + 1);
  }
}

TEST(config_text, keeps_every_byte_of_a_text) {
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all.push_back(static_cast<char>(byte));
  for (const std::string& text : {std::string(), all, std::string("\\"), std::string("\\\\n\\\t"),
                                  std::string(" leading and trailing "), std::string("\n\n")}) {
    config_values config;
    config.user_agent = text;
    config.seed_urls = {text, "", text};
    config.cookies = {{text, text, "", text}};
    config_values read;
    ASSERT_TRUE(read_config_text(write(config), read));
    EXPECT_TRUE(read == config) << write(config);
  }
}

TEST(config_text, gives_absent_fields_their_defaults) {
  config_values read = build_full_profile("/base");
  ASSERT_TRUE(read_config_text("nb-spiders 9\n", read));
  config_values expected;
  expected.nb_spiders = 9;
  EXPECT_TRUE(read == expected) << write(read);
}

TEST(config_text, refuses_what_it_does_not_write) {
  const std::tuple<const char*, std::string> cases[] = {
      {"no line feed", "nb-spiders 9"},
      {"no blank", "nb-spiders\n"},
      {"an empty line", "\n"},
      {"an unknown name", "nb-spider 9\n"},
      {"no name", " 9\n"},
      {"no number", "nb-spiders \n"},
      {"a number and more", "nb-spiders 9x\n"},
      {"a number beyond 32 bits", "nb-spiders 2147483648\n"},
      {"a switch that is neither", "stop-when-empty 2\n"},
      {"an empty switch", "stop-when-empty \n"},
      {"an unknown escape", "user-agent a\\rb\n"},
      {"half an escape", "user-agent a\\\n"},
      {"a column too many", "seed-url a\tb\n"},
      {"a column too few", "credential a\tb\n"},
      {"five columns of a cookie", "cookie a\tb\tc\td\te\n"},
      {"one column of a substitution", "substitution a\n"},
      {"a negative key", "site-page-limit -1\t1\n"},
      {"a limit that is no number", "site-page-limit 1\tx\n"},
      {"a bad line behind a good one", "nb-spiders 9\nx y\n"},
  };
  for (const auto& [name, text] : cases) {
    SCOPED_TRACE(name);
    config_values config = build_full_profile("/base");
    EXPECT_FALSE(read_config_text(text, config));
    EXPECT_TRUE(config == build_full_profile("/base"));
  }
}

}  // namespace
}  // namespace wk
