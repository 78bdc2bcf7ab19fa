// The store, the horizon and the transport of docs/extending.md, at work.
#include "examples/extending/extending.h"

#include <gtest/gtest.h>

#include "crawler/core/build_crawler.h"
#include "crawler/run/control_loop.h"
#include "tests/support/scripted_server.h"
#include "tests/support/temp_directory.h"
#include "wkstd/clock.h"

namespace wk {
namespace {

crawler_ptr build_test_crawler(const temp_directory& place, const std::string& seed) {
  const std::string profile = place.path + "/crawl.xml";
  write_test_file(profile,
                  "<crawlers><crawler nb-spiders=\"3\" admin-port=\"-1\" "
                  "admin-thread-sleep-time=\"50\" stop-when-empty=\"true\"><seed-urls>"
                  "<url name=\"" +
                      seed + "\"/></seed-urls><store temp_data_path=\"" +
                      make_directory(place, "temp") + "\"/></crawler></crawlers>");
  return load_crawler(profile, "", true);
}

TEST(extending, crawls_with_a_horizon_and_a_store_of_another_make) {
  const temp_directory place;
  scripted_server server = start_scripted_server();
  const auto url = [&server](const char* path) { return get_url_scripted_server(server, path); };
  serve_page_scripted_server(server, "/", R"(<a href="/a"></a><a href="/b"></a><a href="/a">)");
  serve_page_scripted_server(server, "/a", R"(<a href="/">first</a><a href="/c"></a>)");
  serve_page_scripted_server(server, "/b", "second");
  const crawler_ptr crawler = build_test_crawler(place, url("/"));
  crawler->store = create_list_url_hold(place.path + "/list", *crawler->log);
  crawler->horizon = create_memory_frontier(0);
  EXPECT_EQ(crawler->horizon->add_url(*crawler->horizon, url("/")), 1U);
  run_main_loop(*crawler);
  for (const char* path : {"/", "/a", "/b", "/c"}) {
    EXPECT_EQ(count_requests_scripted_server(server, path), 1U) << path;
    const bool is_listed =
        read_test_file(place.path + "/list").find("html\t" + url(path) + "\n") != std::string::npos;
    EXPECT_EQ(is_listed, path != std::string("/c")) << path;  // which is not there
  }
  EXPECT_EQ(get_nb_stored_url_hold(*crawler->store), 3U);
}

TEST(extending, a_list_is_gone_on_with_and_tells_of_a_refusal) {
  const temp_directory place;
  const std::string log_path = place.path + "/log";
  const log_ptr log = open_file_log(log_path, false);
  quota unlimited;
  stored_document page;
  page.url = "http://h/";
  page.type_name = "html";
  page.content = "page";
  write_test_file(place.path + "/list", "before\n");
  const url_hold_ptr store = create_list_url_hold(place.path + "/list", *log);
  resume_url_hold(*store);
  EXPECT_EQ(store_document_url_hold(*store, page, unlimited), 1);
  EXPECT_EQ(read_test_file(place.path + "/list"), "before\n4\thtml\thttp://h/\n");
  const url_hold_ptr nowhere = create_list_url_hold(place.path + "/none/list", *log);
  EXPECT_EQ(store_document_url_hold(*nowhere, page, unlimited), 0);
  flush_log(*log);
  EXPECT_NE(read_test_file(log_path).find("/none/list: No such file"), std::string::npos);
}

TEST(extending, a_horizon_in_memory_lets_a_host_rest) {
  const frontier_ptr horizon = create_memory_frontier(1'000'000);
  std::string url;
  uint32_t allowed_time = 0;
  const std::vector<std::string> urls = {"http://a/1", "http://a/2", "http://a/1", "http://b/", ""};
  horizon->add_urls(*horizon, urls);
  EXPECT_EQ(horizon->count_urls(*horizon), 3U);
  for (const char* expected : {"http://a/1", "http://b/"}) {
    EXPECT_EQ(horizon->get_url(*horizon, url, allowed_time), FRONTIER_URL);
    EXPECT_EQ(url, expected);
    EXPECT_FALSE(horizon->is_exhausted(*horizon));
    horizon->end_url(*horizon, url);
  }
  EXPECT_EQ(horizon->get_url(*horizon, url, allowed_time), FRONTIER_WAIT);
  EXPECT_GT(allowed_time, get_wall_time_seconds());
  horizon->exhaust_host(*horizon, "a");
  horizon->add_urls(*horizon, std::vector<std::string>{"http://a/3"});
  EXPECT_EQ(horizon->get_url(*horizon, url, allowed_time), FRONTIER_EMPTY);
  EXPECT_TRUE(horizon->is_exhausted(*horizon));
}

TEST(extending, a_mirror_answers_from_inside_its_directory_only) {
  const temp_directory place;
  std::string directory = make_directory(place, "mirror");
  make_directory(place, "mirror/h");
  write_test_file(directory + "/h/index.html", "<p>start</p>");
  write_test_file(directory + "/h/a", "bytes");
  write_test_file(place.path + "/secret", "secret");
  const http_transport transport = build_mirror_transport(directory);
  const fetch_settings settings;
  const http_fetcher_ptr fetcher = create_http_fetcher(settings);
  fetcher->transport = &transport;
  const std::tuple<const char*, uint32_t, const char*> cases[] = {
      {"http://h/", 200, "<p>start</p>"},   {"http://h", 200, "<p>start</p>"},
      {"http://h/a?b=/../c", 200, "bytes"}, {"http://h/b", 404, ""},
      {"http://h/../../secret", 400, ""},   {"http://../secret", 400, ""},
  };
  for (const auto& [url, status, body] : cases) {
    uint32_t seconds = 0;
    EXPECT_EQ(fetch_url(*fetcher, url, {}, seconds), status == 200 ? 1 : 0) << url;
    EXPECT_EQ(fetcher->response.status, status) << url;
    EXPECT_EQ(fetcher->response.body, body) << url;
  }
}

}  // namespace
}  // namespace wk
