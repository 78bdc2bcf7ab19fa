// What is counted while a whole crawl runs, against what its server says.

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "crawler/core/build_crawler.h"
#include "crawler/core/crawl_facts.h"
#include "crawler/run/control_loop.h"
#include "crawler/url/url_parts.h"
#include "tests/support/crawl_run.h"
#include "tests/support/scripted_server.h"
#include "tests/support/temp_directory.h"

namespace wk {
namespace {

// Ten pages, three that may not be had, and one page of two on another host. The links to them are
// the index.
std::string serve_site(scripted_server& server, scripted_server& limited) {
  const std::pair<const char*, scripted_answer> pages[] = {
      {"/a", build_page_answer("one page")},
      {"/again", build_page_answer("one page")},
      {"/other", build_page_answer("quite another page")},
      {"/missing", build_status_answer(404)},
      {"/gone", build_status_answer(410)},
      {"/broken", build_status_answer(502)},
      {"/unchanged", build_status_answer(304)},
      {"/hung-up", {}},
      {"/moved", {.bytes = "HTTP/1.0 302 Found\r\nLocation: /target\r\n\r\n"}},
  };
  std::string index = "<a href=/private/1><a href=/private/2><a href=/picture.gif>\n";
  for (const auto& [path, answer] : pages) {
    serve_answers_scripted_server(server, path, {answer});
    index.append("<a href=").append(path).append(">x</a>\n");
  }
  serve_page_scripted_server(server, "/target", "the page behind the redirect");
  serve_page_scripted_server(server, "/", index);
  serve_page_scripted_server(server, "/robots.txt", "User-agent: *\nDisallow: /private\n");
  for (const char* path : {"/1", "/2"}) serve_page_scripted_server(limited, path, "another host");
  return index;
}

TEST(crawl_counts, agree_with_the_crawl) {
  scripted_server server = start_scripted_server();
  scripted_server limited = start_scripted_server("127.0.0.2");
  const std::string index = serve_site(server, limited);
  const temp_directory directory;
  CrawlerConfig config;
  config.name = "a small site";
  config.nb_spiders = 3;
  config.admin_port = -1;
  config.admin_thread_sleep_time_ms = 100;
  config.sleep_interval_seconds = 0;
  for (const char* path : {"/", "/picture.gif", "/song.gif"}) {
    config.seed_urls.push_back(get_url_scripted_server(server, path));
  }
  for (const char* path : {"/1", "/2"}) {
    config.seed_urls.push_back(get_url_scripted_server(limited, path));
  }
  config.site_page_limits[hash_url_host(get_authority_scripted_server(limited))] = 1;
  config.excluded_extensions = {"gif"};
  config.store_name = make_directory(directory, "store");
  make_directory(directory, "store/flatsite-1");  // so that the first document is lost
  config.temp_data_path = make_directory(directory, "temp");
  config.log_name = directory.path + "/log";
  config.quota_files = 1'000;
  const crawler_ptr crawler = build_crawler(config);
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
  EXPECT_EQ(counts.nb_stored, 4u);
  EXPECT_EQ(facts.nb_lost, 1u);
  EXPECT_EQ(counts.nb_refused_by_filter, 2u) << "the seeds; links are filtered before they enter";
  EXPECT_EQ(counts.nb_refused_by_robots, 2u);
  EXPECT_EQ(counts.nb_refused_by_quota, 1u);
  EXPECT_EQ(counts.spiders[SPIDER_ENDED], 3u);
  EXPECT_GT(counts.fetch_time_us, 0u);
  EXPECT_GT(counts.nb_body_bytes, index.size() + 2 * std::string_view("one page").size());
  EXPECT_EQ(facts.robots.nb_files, 1u);
  EXPECT_EQ(facts.nb_queued + facts.nb_doubtful, 0u);
  EXPECT_EQ(facts.nb_active, 2u) << "those that the filter refused stay counted";
  EXPECT_EQ(facts.nb_known, 16u);
  EXPECT_EQ(facts.quota.pages, 4u);

  EXPECT_EQ(facts.nb_log_records, count_text(read_test_file(directory.path + "/log"), "#Fields:"));
}

}  // namespace
}  // namespace wk
