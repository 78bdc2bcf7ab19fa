#include "crawler/core/crawl_counters.h"

#include <gtest/gtest.h>

#include <atomic>
#include <numeric>
#include <thread>
#include <tuple>
#include <vector>

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

// A reader that comes before the crawl, and goes on reading while spiders count.
TEST(crawl_counters, lose_nothing_and_never_fall_while_they_are_read) {
  constexpr uint32_t NB_SPIDERS = 4;
  constexpr uint64_t NB_ROUNDS = 20'000;
  crawl_counters counters;
  std::atomic<uint32_t> nb_ready{0};
  std::atomic<bool> done{false};
  std::thread reader([&] {
    crawl_counts before;
    while (!done) {
      const crawl_counts now = sum_crawl_counters(counters);
      EXPECT_GE(now.nb_stored, before.nb_stored);
      EXPECT_GE(now.fetches[2], before.fetches[2]);
      EXPECT_GE(now.fetch_time_us, before.fetch_time_us);
      const uint64_t nb_spiders =
          std::accumulate(now.spiders.begin(), now.spiders.end(), uint64_t{0});
      EXPECT_TRUE(nb_spiders == NB_SPIDERS || nb_spiders == 0) << nb_spiders;
      before = now;
      nb_ready = 1;
    }
  });
  while (nb_ready == 0) std::this_thread::yield();
  begin_crawl_counters(counters, NB_SPIDERS);
  std::vector<std::thread> spiders;
  for (uint32_t number = 1; number <= NB_SPIDERS; ++number) {
    spiders.emplace_back([&slot = get_slot_crawl_counters(counters, number)] {
      for (uint64_t i = 0; i < NB_ROUNDS; ++i) {
        set_state_spider(slot, i % 2 == 0 ? SPIDER_FETCHING : SPIDER_WORKING);
        count_fetch_spider(slot, 200, 3);
        count_spider(slot.nb_stored);
      }
    });
  }
  for (std::thread& spider : spiders) spider.join();
  done = true;
  reader.join();
  const crawl_counts counts = sum_crawl_counters(counters);
  EXPECT_EQ(counts.nb_stored, NB_SPIDERS * NB_ROUNDS);
  EXPECT_EQ(counts.fetches[2], NB_SPIDERS * NB_ROUNDS);
  EXPECT_EQ(counts.fetch_time_us, 3 * NB_ROUNDS * NB_SPIDERS);
  EXPECT_EQ(counts.spiders[SPIDER_WORKING], NB_SPIDERS);
}

}  // namespace
}  // namespace wk
