#include "crawler/core/crawl_counters.h"

#include <gtest/gtest.h>

#include <numeric>
#include <tuple>

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

}  // namespace
}  // namespace wk
