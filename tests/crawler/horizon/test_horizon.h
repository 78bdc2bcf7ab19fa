// A horizon in a directory of its own, with a clock that stands until a test moves it.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "crawler/horizon/frontier.h"
#include "crawler/horizon/horizon.h"
#include "tests/support/full_disk.h"
#include "tests/support/temp_directory.h"

namespace wk {

constexpr uint64_t SECOND = 1'000'000;
constexpr uint64_t START = 1'000'000 * SECOND;

inline std::atomic<uint64_t> test_time_us{START};

struct test_horizon {
  temp_directory directory;
  horizon_settings settings;
  frontier_ptr ops;
};

inline void create_test_horizon(test_horizon& h) {
  test_time_us = START;
  h.settings.directory = h.directory.path;
  h.settings.get_time_us = [] { return test_time_us.load(); };
  h.ops = create_frontier(h.settings);
}

inline uint32_t add(test_horizon& h, std::string_view url) { return h.ops->add_url(*h.ops, url); }

struct taken_url {
  frontier_answer answer = FRONTIER_EMPTY;
  std::string url;
  uint32_t time = 0;
};
inline taken_url take(test_horizon& h) {
  taken_url taken;
  taken.answer = h.ops->get_url(*h.ops, taken.url, taken.time);
  return taken;
}

// Takes and ends everything that is due now, in order.
inline std::vector<std::string> drain(test_horizon& h) {
  std::vector<std::string> urls;
  for (taken_url taken = take(h); taken.answer == FRONTIER_URL; taken = take(h)) {
    h.ops->end_url(*h.ops, taken.url);
    urls.push_back(taken.url);
  }
  return urls;
}

inline horizon_status save(test_horizon& h) {
  const std::unique_lock<std::mutex> hold = lock_horizon(*h.ops->self);
  return save_horizon(*h.ops->self);
}

inline horizon_status restore(test_horizon& h) {
  h.ops->clear(*h.ops);
  const std::unique_lock<std::mutex> hold = lock_horizon(*h.ops->self);
  return restore_horizon(*h.ops->self);
}

inline std::string build_url(uint32_t n) {
  return "http://h" + std::to_string(n % 7) + ".example/page/" + std::to_string(n);
}

}  // namespace wk
