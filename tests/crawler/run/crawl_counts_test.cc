// What is counted while a whole crawl runs, against what its server says.

#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "crawler/core/build_crawler.h"
#include "crawler/core/crawl_facts.h"
#include "crawler/run/control_loop.h"
#include "crawler/url/url_parts.h"
#include "tests/support/crawl_run.h"
#include "tests/support/scripted_server.h"
#include "tests/support/temp_directory.h"

namespace wk {
namespace {

struct small_site {
  scripted_server server = start_scripted_server();
  scripted_server limited = start_scripted_server("127.0.0.2");  // one page of it may be had
  temp_directory directory;
  std::string index;

  void link(const std::string& path) { index += "<a href=\"" + path + "\">x</a>\n"; }
};

void serve_site(small_site& site) {
  const std::tuple<const char*, scripted_answer> pages[] = {
      {"/a", build_page_answer("one page")},
      {"/again", build_page_answer("one page")},
      {"/other", build_page_answer("quite another page")},
      {"/missing", build_status_answer(404)},
      {"/gone", build_status_answer(410)},
      {"/broken", build_status_answer(502)},
      {"/unchanged", build_status_answer(304)},
      {"/hung-up", {}},
      {"/moved", {.bytes = "HTTP/1.0 302 Found\r\nLocation: /target\r\n\r\n"}},
      {"/target", build_page_answer("the page behind the redirect")},
  };
  for (const auto& [path, answer] : pages) {
    serve_answers_scripted_server(site.server, path, {answer});
    if (std::string_view(path) != "/target") site.link(path);
  }
  for (const char* path : {"/private/1", "/private/2", "/picture.gif"}) site.link(path);
  serve_page_scripted_server(site.server, "/", site.index);
  for (const char* path : {"/1", "/2"}) {
    serve_page_scripted_server(site.limited, path, "a page of another host");
  }
  serve_bytes_scripted_server(site.server, "/robots.txt",
                              build_response_text(200, "", "User-agent: *\nDisallow: /private\n"));
}

crawler_ptr build_site_crawler(const small_site& site) {
  CrawlerConfig config;
  config.name = "a small site";
  config.nb_spiders = 3;
  config.admin_port = -1;
  config.admin_thread_sleep_time_ms = 100;
  config.sleep_interval_seconds = 0;
  config.seed_urls = {get_url_scripted_server(site.server, "/"),
                      get_url_scripted_server(site.server, "/picture.gif"),
                      get_url_scripted_server(site.server, "/song.gif"),
                      get_url_scripted_server(site.limited, "/1"),
                      get_url_scripted_server(site.limited, "/2")};
  config.site_page_limits[hash_url_host(find_url_host(config.seed_urls.back()))] = 1;
  config.excluded_extensions = {"gif"};
  config.store_name = make_directory(site.directory, "store");
  config.temp_data_path = make_directory(site.directory, "temp");
  config.log_name = site.directory.path + "/log";
  config.quota_files = 1'000;
  return build_crawler(config);
}

TEST(crawl_counts, agree_with_the_crawl) {
  small_site site;
  serve_site(site);
  const crawler_ptr crawler = build_site_crawler(site);
  EXPECT_EQ(gather_crawl_facts(*crawler).state, CRAWL_STARTING);
  run_main_loop(*crawler);
  const crawl_facts facts = gather_crawl_facts(*crawler);
  const crawl_counts& counts = facts.counts;

  EXPECT_EQ(facts.profile_name, "a small site");
  EXPECT_EQ(facts.state, CRAWL_STOPPING);
  // /, /a, /again, /other, /moved, /1; /unchanged; /missing, /gone, /hung-up; /broken
  EXPECT_EQ(counts.fetches, (std::array<uint64_t, NB_STATUS_CLASSES>{0, 0, 6, 1, 3, 1}));
  EXPECT_EQ(facts.nb_fetches, 11u);
  EXPECT_EQ(counts.nb_duplicates, 1u);
  EXPECT_EQ(counts.nb_stored, 5u);
  EXPECT_EQ(counts.nb_refused_by_filter, 2u) << "the seeds; links are filtered before they enter";
  EXPECT_EQ(counts.nb_refused_by_robots, 2u);
  EXPECT_EQ(counts.nb_refused_by_quota, 1u);
  EXPECT_EQ(counts.spiders[SPIDER_ENDED], 3u);
  EXPECT_GT(counts.fetch_time_us, 0u);
  EXPECT_GT(counts.nb_body_bytes, site.index.size() + 2 * std::string_view("one page").size());
  EXPECT_EQ(facts.robots.nb_files, 1u);
  EXPECT_EQ(facts.nb_queued + facts.nb_doubtful, 0u);
  EXPECT_EQ(facts.nb_active, 2u) << "those that the filter refused stay counted";
  EXPECT_EQ(facts.nb_known, 16u);
  EXPECT_EQ(facts.quota.pages, 5u);

  EXPECT_EQ(facts.nb_log_records,
            count_text(read_test_file(site.directory.path + "/log"), "#Fields:"));
}

}  // namespace
}  // namespace wk
