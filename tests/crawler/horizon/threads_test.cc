#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "tests/crawler/horizon/test_horizon.h"

namespace wk {
namespace {

constexpr uint32_t NB_URLS = 12'000;

// Adds every URL, beginning somewhere; the adders overlap everywhere.
void add_all(test_horizon& h, uint32_t first) {
  std::vector<std::string> batch;
  for (uint32_t n = 0; n < NB_URLS; ++n) {
    batch.push_back(build_url((first + n) % NB_URLS));
    if (n % 3 == 0) add(h, batch.back());
    if (batch.size() < 20) continue;
    h.ops->add_urls(*h.ops, batch);
    batch.clear();
  }
  h.ops->add_urls(*h.ops, batch);
}

void take_all(test_horizon& h, const std::atomic<int>& nb_adders, std::vector<std::string>& taken) {
  std::string url;
  uint32_t time = 0;
  for (;;) {
    const bool adders_done = nb_adders == 0;
    if (h.ops->get_url(*h.ops, url, time) == FRONTIER_URL) {
      taken.push_back(url);
      if (taken.size() % 7 == 0) {
        h.ops->refuse_url(*h.ops, url);
      } else {
        h.ops->end_url(*h.ops, url);
      }
    } else if (adders_done && h.ops->is_exhausted(*h.ops)) {
      return;
    }
    (void)h.ops->count_urls(*h.ops);
    (void)h.ops->active_urls(*h.ops);
  }
}

TEST(horizon, hands_out_each_url_once_to_many_threads) {
  test_horizon h;
  h.settings.queue_buffer_size = 20;
  h.settings.nb_queues = 5;
  h.settings.disk_cache_size = 100'000;
  create_test_horizon(h);
  std::vector<std::string> taken[2];
  std::atomic<int> nb_adders{2};
  {
    std::vector<std::jthread> threads;
    for (const uint32_t first : {0u, NB_URLS / 3}) {
      threads.emplace_back([&h, &nb_adders, first] {
        add_all(h, first);
        --nb_adders;
      });
    }
    for (auto& urls : taken) {
      threads.emplace_back([&h, &nb_adders, &urls] { take_all(h, nb_adders, urls); });
    }
    for (uint32_t i = 0; i < 20; ++i) EXPECT_EQ(save(h), HORIZON_OK);
  }
  std::set<std::string> distinct(taken[0].begin(), taken[0].end());
  distinct.insert(taken[1].begin(), taken[1].end());
  EXPECT_EQ(taken[0].size() + taken[1].size(), NB_URLS);
  EXPECT_EQ(distinct.size(), NB_URLS);
}

}  // namespace
}  // namespace wk
