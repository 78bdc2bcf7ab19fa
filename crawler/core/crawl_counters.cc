#include "crawler/core/crawl_counters.h"

#include <algorithm>

#include "wkstd/clock.h"
#include "wkstd/error.h"

namespace wk {
namespace {

template <size_t N>
void add_all(std::array<uint64_t, N>& sums, const std::array<std::atomic<uint64_t>, N>& counters) {
  for (size_t i = 0; i < N; ++i) sums[i] += counters[i].load(std::memory_order_relaxed);
}

void add(uint64_t& sum, const std::atomic<uint64_t>& counter) {
  sum += counter.load(std::memory_order_relaxed);
}

void add_slot(crawl_counts& counts, const spider_counters& slot) {
  add_all(counts.fetches, slot.fetches);
  add_all(counts.fetch_times, slot.fetch_times);
  add(counts.fetch_time_us, slot.fetch_time_us);
  add(counts.nb_body_bytes, slot.nb_body_bytes);
  add(counts.nb_refused_by_filter, slot.nb_refused_by_filter);
  add(counts.nb_refused_by_robots, slot.nb_refused_by_robots);
  add(counts.nb_refused_by_quota, slot.nb_refused_by_quota);
  add(counts.nb_duplicates, slot.nb_duplicates);
  add(counts.nb_stored, slot.nb_stored);
  add(counts.nb_queue_waits, slot.nb_queue_waits);
  add(counts.queue_wait_us, slot.queue_wait_us);
  ++counts.spiders[slot.state.load(std::memory_order_relaxed)];
}

}  // namespace

void begin_crawl_counters(crawl_counters& counters, uint32_t nb_spiders) {
  if (WK_FAILED(counters.slots == nullptr)) return;
  counters.slots = std::make_unique<spider_counters[]>(nb_spiders);
  counters.start_wall_us = get_wall_time_us();
  counters.start_steady_us = get_steady_time_us();
  counters.nb_slots.store(nb_spiders, std::memory_order_release);
}

spider_counters& get_slot_crawl_counters(crawl_counters& counters, uint32_t number) {
  return counters.slots[number - 1];
}

crawl_counts sum_crawl_counters(const crawl_counters& counters) {
  crawl_counts counts;
  const uint32_t nb_slots = counters.nb_slots.load(std::memory_order_acquire);
  for (uint32_t i = 0; i < nb_slots; ++i) add_slot(counts, counters.slots[i]);
  return counts;
}

void count_fetch_spider(spider_counters& slot, uint32_t status, uint64_t time_us) {
  const size_t hundreds = status / 100;
  count_spider(slot.fetches[hundreds < NB_STATUS_CLASSES ? hundreds : NO_STATUS_CLASS]);
  const auto limit =
      std::lower_bound(FETCH_TIME_LIMITS_US.begin(), FETCH_TIME_LIMITS_US.end(), time_us);
  count_spider(slot.fetch_times[static_cast<size_t>(limit - FETCH_TIME_LIMITS_US.begin())]);
  count_spider(slot.fetch_time_us, time_us);
}

}  // namespace wk
