#include "app/command_line.h"

#include <gtest/gtest.h>

#include <tuple>
#include <utility>

namespace wk {
namespace {

using words = std::vector<std::string>;

start_request parse(words arguments) {
  arguments.insert(arguments.begin(), "_zcrawler");
  start_request request;
  EXPECT_EQ(parse_command_line(arguments, request), COMMAND_LINE_OK);
  return request;
}

TEST(parse_command_line, lets_the_last_mode_win_and_reads_numbers_as_far_as_they_go) {
  const std::pair<words, uint32_t> cases[] = {
      {{"-conf", "c"}, MODE_CRAWL},
      {{"-conf", "c", "-save"}, MODE_SAVE},
      {{"-save", "-conf", "c"}, MODE_CRAWL},
      {{"-conf", "c", "-restore"}, MODE_RESTORE},
      {{"-load", "c"}, MODE_RESTORE},
      {{"-load", "c", "-create-parse-repository"}, MODE_CREATE_PARSE_REPOSITORY},
  };
  for (const auto& [arguments, mode] : cases) EXPECT_EQ(parse(arguments).mode, mode);
  const start_request none = parse({"-save", "-no-libxml"});
  const start_request given = parse({"-save", "-spiders", "7x", "-admin-port", "-1",
                                     "-admin-thread-sleep-time", "none", "-force-raw"});
  EXPECT_EQ(std::tuple(none.nb_spiders, none.admin_port, none.use_libxml), std::tuple(-1, -2, 0));
  EXPECT_EQ(std::tuple(given.nb_spiders, given.admin_port, given.use_libxml), std::tuple(7, -1, 1));
  EXPECT_EQ(given.admin_thread_sleep_time_ms, 0);
  EXPECT_EQ(given.raw_mode, 255);
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
