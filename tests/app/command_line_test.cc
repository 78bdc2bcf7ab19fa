#include "app/command_line.h"

#include <gtest/gtest.h>

namespace wk {
namespace {

using words = std::vector<std::string>;

start_request parse(words arguments) {
  arguments.insert(arguments.begin(), "_zcrawler");
  start_request request;
  EXPECT_EQ(parse_command_line(arguments, request), COMMAND_LINE_OK);
  return request;
}

TEST(parse_command_line, lets_the_last_mode_option_win) {
  const std::tuple<words, uint32_t> cases[] = {
      {{"-conf", "c"}, MODE_CRAWL},
      {{"-conf", "c", "-save"}, MODE_SAVE},
      {{"-save", "-conf", "c"}, MODE_CRAWL},
      {{"-conf", "c", "-restore"}, MODE_RESTORE},
      {{"-load", "c"}, MODE_RESTORE},
      {{"-load", "c", "-create-parse-repository"}, MODE_CREATE_PARSE_REPOSITORY},
  };
  for (const auto& [arguments, mode] : cases) EXPECT_EQ(parse(arguments).mode, mode);
}

TEST(parse_command_line, reads_numbers_as_far_as_they_go) {
  const start_request request = parse({"-save", "-spiders", "7x", "-admin-port", "-1",
                                       "-admin-thread-sleep-time", "none", "-force-raw"});
  EXPECT_EQ(request.nb_spiders, 7);
  EXPECT_EQ(request.admin_port, -1);
  EXPECT_EQ(request.admin_thread_sleep_time_ms, 0);
  EXPECT_EQ(request.raw_mode, 255);
  EXPECT_TRUE(request.use_libxml);
  const start_request nothing_given = parse({"-save", "-no-libxml"});
  EXPECT_EQ(nothing_given.nb_spiders, -1);
  EXPECT_EQ(nothing_given.admin_port, -2);
  EXPECT_FALSE(nothing_given.use_libxml);
}

TEST(parse_command_line, gathers_plugin_arguments_up_to_a_semicolon) {
  const std::tuple<words, std::vector<words>, std::string> cases[] = {
      {{"-save", "-content-plugin", "a", "b", ";", "-conf", "c"}, {{"a", "b"}}, "c"},
      {{"-save", "-content-plugin", "a", ";x", "-conf", "c"}, {{"a"}}, "c"},
      {{"-save", "-content-plugin", "a", "-conf", "c"}, {{"a", "-conf", "c"}}, ""},
      {{"-save", "-content-plugin", ";", "-content-plugin", "b"}, {{}, {"b"}}, ""},
  };
  for (const auto& [arguments, plugins, path] : cases) {
    const start_request request = parse(arguments);
    EXPECT_EQ(request.content_plugins, plugins);
    EXPECT_EQ(request.config_path, path);
  }
}

}  // namespace
}  // namespace wk
