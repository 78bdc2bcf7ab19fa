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

using strings = std::vector<std::string>;

constexpr uint64_t SECOND = 1'000'000;
constexpr uint64_t START = 1'000'000 * SECOND;

inline std::atomic<uint64_t> test_time_us{START};

// The settings that tests choose; see horizon_settings.
struct horizon_shape {
  uint32_t nb_queues = 100;
  uint32_t buffer_size = 1'000;
  uint32_t filter_bits = 100'000'000;
  uint32_t interval_seconds = 0;
  uint32_t memory_bytes = 64U << 20;
};

struct test_horizon {
  temp_directory directory;
  frontier_ptr ops;

  explicit test_horizon(const horizon_shape& shape = {}) {
    test_time_us = START;
    ops = create_frontier({.directory = directory.path,
                           .nb_queues = shape.nb_queues,
                           .queue_buffer_size = shape.buffer_size,
                           .disk_cache_size = shape.filter_bits,
                           .url_memory_bytes = shape.memory_bytes,
                           .interval_seconds = shape.interval_seconds,
                           .get_time_us = [] { return test_time_us.load(); }});
  }
};

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
inline strings drain(test_horizon& h) {
  strings urls;
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

inline strings add_urls(test_horizon& h, uint32_t nb_urls) {
  strings urls;
  for (uint32_t n = 0; n < nb_urls; ++n) urls.push_back(build_url(n));
  h.ops->add_urls(*h.ops, urls);
  return urls;
}

}  // namespace wk
