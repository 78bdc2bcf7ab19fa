// What a spider keeps in its hands while it asks about a page.

#include <gtest/gtest.h>

#include "crawler/core/build_crawler.h"
#include "crawler/run/control_loop.h"
#include "tests/support/scripted_server.h"
#include "tests/support/temp_directory.h"

namespace wk {
namespace {

// An operator has robots files obeyed while the page is on its way: the file is asked for when the
// page is there.
TEST(spider, holds_its_page_while_a_robots_file_is_fetched) {
  scripted_server server = start_scripted_server();
  crawler_ptr crawler;
  serve_default_scripted_server(server, [&crawler](const recorded_request& asked) {
    if (asked.path != "/feed") return build_response_text(404, "", "");
    crawler->robots->honor = 1;
    return build_response_text(200, "Content-Type: text/xml\r\n",
                               "<rss><item><link>/story</link></item></rss>");
  });
  serve_page_scripted_server(server, "/robots.txt", "User-agent: *\nDisallow: /private\n");
  const temp_directory directory;
  CrawlerConfig config;
  config.admin_port = -1;
  config.admin_thread_sleep_time_ms = 100;
  config.sleep_interval_seconds = 0;
  config.is_rss = true;
  config.honor_robots = false;
  config.portal_list_url = get_url_scripted_server(server, "/feed");  // read for links, then items
  config.temp_data_path = make_directory(directory, "temp");
  crawler = build_crawler(config);
  run_main_loop(*crawler);
  EXPECT_EQ(count_requests_scripted_server(server, "/robots.txt"), 1u);
  EXPECT_EQ(count_requests_scripted_server(server, "/story"), 1u);
}

}  // namespace
}  // namespace wk
