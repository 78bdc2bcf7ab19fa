// Content plug-ins of the real program: when they are started and ended, and what is said of them.

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "tests/support/crawl_run.h"
#include "tests/support/scripted_server.h"

namespace wk {
namespace {

using namespace std::string_literals;

// A crawl of one page with one plug-in. "{}" in its arguments stands for the file "record".
struct plugin_run {
  crawl_place place;
  crawl_result crawl;
  std::string record;

  plugin_run(const std::vector<std::string>& options, std::vector<std::string> plugin) {
    const std::string record_path = place.directory.path + "/record";
    scripted_server server = start_scripted_server();
    serve_page_scripted_server(server, "/", "a page");
    crawl_setup setup;
    setup.profile.seeds = {get_url_scripted_server(server, "/")};
    setup.options = options;
    setup.options.emplace_back("-content-plugin");
    for (std::string& argument : plugin) {
      const size_t at = argument.find("{}");
      if (at != std::string::npos) argument.replace(at, 2, record_path);
      setup.options.push_back(argument);
    }
    crawl = run_crawl(place, setup);
    record = read_test_file(record_path);
  }
};

TEST(content_plugin, is_started_and_told_to_end_unless_all_is_raw) {
  const std::tuple<std::vector<std::string>, std::string, size_t> cases[] = {
      {{}, "\1\0\0\0"s, 1},
      {{"-enable-raw"}, "\1\0\0\0"s, 1},
      {{"-save"}, "\1\0\0\0"s, 0},
      {{"-force-raw"}, "", 1},
  };
  for (const auto& [options, record, nb_documents] : cases) {
    SCOPED_TRACE(testing::PrintToString(options));
    const plugin_run run(options, {"sh", "-c", "printf '\\1\\0\\0\\0'; exec cat >{}", ";"});
    EXPECT_EQ(run.crawl.program.exit_status, 0);
    EXPECT_EQ(run.crawl.program.errors, "");
    EXPECT_EQ(run.record, record);
    EXPECT_EQ(run.crawl.documents.size(), nb_documents);
  }
}

TEST(content_plugin, that_fails_is_said_and_the_crawl_goes_on) {
  const std::pair<std::vector<std::string>, std::string> cases[] = {
      {{"/no/such/plugin", "argument"}, "Couldn't load content plugin '/no/such/plugin'\n"},
      {{";"}, "Couldn't load content plugin ''\n"},
      {{"sh", "-c", "exit 3"}, "Couldn't load content plugin 'sh'\n"},
      {{"sh", "-c", "exec <&-; printf '\\1\\0\\0\\0'; exec sleep 1000"},
       "The content plug-in 'sh' is not asked any more: it has ended\n"},
      {{"sh", "-c", "exec cat /dev/zero"},
       "The content plug-in 'sh' is not asked any more: it wrote what nobody had asked for\n"},
  };
  for (const auto& [plugin, errors] : cases) {
    SCOPED_TRACE(testing::PrintToString(plugin));
    const plugin_run run({}, plugin);
    EXPECT_EQ(run.crawl.program.exit_status, 0);
    EXPECT_EQ(run.crawl.program.errors, errors);
    ASSERT_EQ(run.crawl.documents.size(), 1u);
    EXPECT_EQ(run.crawl.documents[0].content, "a page");
  }
}

TEST(example_plugins, live_as_long_as_the_crawl) {
  const std::string build = get_zcrawler_path().substr(0, get_zcrawler_path().rfind('/'));
  for (const std::string& path : {WK_SOURCE_DIRECTORY "/examples/plugins/markdown_plugin.py"s,
                                  build + "/examples/plugins/plain_text_plugin"}) {
    const plugin_run run({}, {path, "{}"});
    EXPECT_EQ(run.crawl.program.exit_status, 0) << path;
    EXPECT_EQ(run.crawl.program.errors, "");
    EXPECT_EQ(run.record, "up\nclosed\n");
  }
}

}  // namespace
}  // namespace wk
