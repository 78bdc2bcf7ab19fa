#include "crawler/run/control_loop.h"

#include <gtest/gtest.h>

#include <string>

#include "crawler/core/build_crawler.h"
#include "tests/support/temp_directory.h"

namespace wk {
namespace {

// A crawl that is over before its first round, which nothing but a stop would begin for a day.
TEST(control_loop, makes_its_last_round_behind_a_stop_and_says_once_why_the_crawl_ended) {
  const struct {
    bool has_quota;
    const char* record;
    const char* output;
  } cases[] = {
      {false, "Stopping crawl - URL horizon empty",
       "stop the crawler because horizon empty and no active threads!\n"},
      {true, "Stopping crawl - Crawler's quota exceeded", "stop the crawler because quota full!\n"},
  };
  for (const auto& c : cases) {
    const temp_directory directory;
    CrawlerConfig config;
    config.nb_spiders = 1;
    config.admin_port = -1;
    config.stop_when_empty = true;
    config.admin_thread_sleep_time_ms = 86'400'000;
    config.temp_data_path = make_directory(directory, "temp");
    config.log_name = directory.path + "/log";
    const crawler_ptr crawler = build_crawler(config);
    set_page_limit_quota(crawler->crawl_quota, c.has_quota ? 0 : 1);
    set_stop_stop_gate(crawler->gate);
    testing::internal::CaptureStdout();
    run_main_loop(*crawler);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), c.output);
    const std::string log = read_test_file(config.log_name);
    EXPECT_NE(log.find(c.record), std::string::npos);
    EXPECT_EQ(log.find(c.record), log.rfind(c.record));
  }
}

}  // namespace
}  // namespace wk
