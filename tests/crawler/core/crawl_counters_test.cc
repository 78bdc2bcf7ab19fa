// What a crawl counts: its fetches, and the pages that a seed or a host may have.
#include "crawler/core/crawl_counters.h"

#include <gtest/gtest.h>

#include <numeric>
#include <string>
#include <tuple>

#include "crawler/config/crawler_config.h"
#include "crawler/core/page_allowance.h"
#include "crawler/url/url_parts.h"

namespace wk {
namespace {

TEST(crawl_counters, sort_a_fetch_by_its_status_and_its_time) {
  constexpr size_t LAST = NB_FETCH_TIME_CLASSES - 1;
  const std::tuple<uint32_t, uint64_t, size_t, size_t> cases[] = {
      {200, 0, 2, 0},
      {299, 5'000, 2, 0},
      {301, 5'001, 3, 1},
      {100, 1'000'000, 1, 7},
      {404, 60'000'000, 4, LAST - 1},
      {500, 60'000'001, 5, LAST},
      {0, UINT64_MAX, 0, LAST},
      {99, 1, 0, 0},
      {600, 1, 0, 0},
      {4'294'967'295, 1, 0, 0},
  };
  for (const auto& [status, time_us, fetch_class, time_class] : cases) {
    SCOPED_TRACE(status);
    crawl_counters counters;
    begin_crawl_counters(counters, 1);
    count_fetch_spider(get_slot_crawl_counters(counters, 1), status, time_us);
    const crawl_counts counts = sum_crawl_counters(counters);
    EXPECT_EQ(counts.fetches[fetch_class], 1u);
    EXPECT_EQ(counts.fetch_times[time_class], 1u);
    EXPECT_EQ(counts.fetch_time_us, time_us);
    EXPECT_EQ(std::accumulate(counts.fetches.begin(), counts.fetches.end(), uint64_t{0}), 1u);
  }
}

TEST(page_allowance, allows_one_page_more_than_the_stored_guest_limit) {
  page_allowance allowance;
  init_page_allowance(allowance, 2);
  add_seed_page_allowance(allowance, "http://a.test/start", 1);
  add_seed_page_allowance(allowance, "http://b.test/", NO_GUEST_PAGE_LIMIT);
  for (const guest_answer answer : {GUEST_STORE, GUEST_STORE_LAST, GUEST_REFUSE}) {
    const bool is_reached = answer == GUEST_REFUSE;
    EXPECT_EQ(is_guest_limit_reached_page_allowance(allowance, "http://a.test/1"), is_reached);
    EXPECT_EQ(count_guest_page_allowance(allowance, "http://a.test/1"), answer);
    EXPECT_EQ(count_guest_page_allowance(allowance, "http://b.test/x"), GUEST_STORE);
    EXPECT_EQ(count_guest_page_allowance(allowance, "http://a.test:81/x"), GUEST_STORE)
        << "another port is another site";
  }
}

TEST(page_allowance, counts_fetches_of_a_limited_host_and_gives_back_failed_ones) {
  page_allowance allowance;
  init_page_allowance(allowance, 1);
  for (const int32_t limit : {5, 2}) {
    set_site_limit_page_allowance(allowance, hash_url_host("a.test"), limit);
  }
  for (const auto& [url, allowed] : {std::pair{"http://a.test/1", true},
                                     {"https://a.test/2", true},
                                     {"http://a.test/3", false},
                                     {"http://b.test/", true}}) {
    EXPECT_EQ(begin_fetch_page_allowance(allowance, url), allowed) << url;
  }
  cancel_fetch_page_allowance(allowance, "http://a.test/2");
  EXPECT_TRUE(begin_fetch_page_allowance(allowance, "http://a.test/4"));
  EXPECT_FALSE(begin_fetch_page_allowance(allowance, "http://a.test/5"));
}

}  // namespace
}  // namespace wk
