// Content plug-ins of the real program: when they are started and ended, and what is said of them.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/crawl_run.h"
#include "tests/support/scripted_server.h"

namespace wk {
namespace {

using namespace std::string_literals;

struct plugin_case {
  std::vector<std::string> options;  // the working directory is the crawl's
  std::string record;                // what the plug-in wrote into the file "r"
  std::string errors = {};
  size_t nb_documents = 1;
};

TEST(content_plugin, lives_as_long_as_the_crawl_and_fails_alone) {
  const std::string recorder = "printf '\\1\\0\\0\\0'; exec cat >r";
  const std::string deaf = "exec <&-; printf '\\1\\0\\0\\0'; exec sleep 1000";
  const std::string closed = "The content plug-in 'sh' is not asked any more: ";
  const std::string build = get_zcrawler_path().substr(0, get_zcrawler_path().rfind('/'));
  const std::string examples = WK_SOURCE_DIRECTORY "/examples/plugins/";
  const std::string option = "-content-plugin";
  const plugin_case cases[] = {
      {{option, "sh", "-c", recorder, ";", "-enable-raw"}, "\1\0\0\0"s},
      {{"-save", option, "sh", "-c", recorder}, "\1\0\0\0"s, "", 0},
      {{"-force-raw", option, "sh", "-c", recorder}, ""},
      {{option, "/no/such", "x"}, "", "Couldn't load content plugin '/no/such'\n"},
      {{option, ";"}, "", "Couldn't load content plugin ''\n"},
      {{option, "sh", "-c", "exit 3", ";", option, "sh", "-c", recorder},
       "\1\0\0\0"s,
       "Couldn't load content plugin 'sh'\n"},
      {{option, "sh", "-c", deaf}, "", closed + "it has ended\n"},
      {{option, "cat", "/dev/zero"},
       "",
       "The content plug-in 'cat' is not asked any more: it wrote what nobody had asked for\n"},
      {{option, examples + "markdown_plugin.py", "r"}, "up\nclosed\n"},
      {{option, build + "/examples/plugins/plain_text_plugin", "r"}, "up\nclosed\n"},
  };
  for (const plugin_case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.options));
    const crawl_place place;
    scripted_server server = start_scripted_server();
    serve_page_scripted_server(server, "/", "a page");
    crawl_setup setup;
    setup.profile.seeds = {get_url_scripted_server(server, "/")};
    setup.options = c.options;
    const crawl_result crawl = run_crawl(place, setup);
    EXPECT_EQ(crawl.program.exit_status, 0);
    EXPECT_EQ(crawl.program.errors, c.errors);
    EXPECT_EQ(read_test_file(place.directory.path + "/r"), c.record);
    EXPECT_EQ(crawl.documents.size(), c.nb_documents);
  }
}

}  // namespace
}  // namespace wk
