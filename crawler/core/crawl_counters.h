// What the spiders have done so far, counted while they work.
//
// Each spider has a slot of its own, on cache lines of its own, and is its only writer: counting is
// a plain load and store, and no two spiders ever wait for each other over it. A reader adds the
// slots up. Every number a reader sees was true at some moment of the reading and never falls;
// numbers of different kinds may be a step of a spider apart.
//
// Owner: the crawler. Threads: slots are made before the first spider starts; after that each is
// written by its spider and read by anybody, no lock.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace wk {

enum spider_state : uint32_t {
  SPIDER_ENDED = 0,  // or not started
  SPIDER_IDLE,       // the horizon had nothing to hand out
  SPIDER_WAITING,    // for the time from which a host may be asked
  SPIDER_PAUSED,
  SPIDER_ASKING_ROBOTS,
  SPIDER_FETCHING,
  SPIDER_WORKING,  // with what was fetched: digest, store, links
  NB_SPIDER_STATES,
};

// How a fetch ended: the hundreds of its status, 1 to 5, or none of them.
constexpr size_t NO_STATUS_CLASS = 0;
constexpr size_t NB_STATUS_CLASSES = 6;

// Upper ends of the classes that fetch times are sorted into, in µs; a time that equals one belongs
// to it. What is longer than the last goes to one more class.
constexpr std::array<uint64_t, 13> FETCH_TIME_LIMITS_US = {
    5'000,     10'000,    25'000,    50'000,     100'000,    250'000,   500'000,
    1'000'000, 2'500'000, 5'000'000, 10'000'000, 30'000'000, 60'000'000};
constexpr size_t NB_FETCH_TIME_CLASSES = FETCH_TIME_LIMITS_US.size() + 1;

struct crawl_counts {
  // Fetches of pages, however many attempts and redirects each took. A failure of the connection
  // has the status that the fetcher gives it (400, 408, 500).
  std::array<uint64_t, NB_STATUS_CLASSES> fetches{};
  std::array<uint64_t, NB_FETCH_TIME_CLASSES> fetch_times{};  // not cumulative
  uint64_t fetch_time_us = 0;                                 // of all of them
  uint64_t nb_body_bytes = 0;  // that came, robots files and failed attempts included
  uint64_t nb_refused_by_filter = 0;
  uint64_t nb_refused_by_robots = 0;
  uint64_t nb_refused_by_quota = 0;  // guest pages, or pages of a site
  uint64_t nb_duplicates = 0;        // fetched, and dropped as seen before
  uint64_t nb_stored = 0;
  uint64_t nb_queue_waits = 0;                       // looks that found every queue waiting
  uint64_t queue_wait_us = 0;                        // spent on them
  std::array<uint64_t, NB_SPIDER_STATES> spiders{};  // by state
};

// Written by one spider. Two cache lines lie between the slots, as processors fetch them in pairs.
struct alignas(128) spider_counters {
  std::array<std::atomic<uint64_t>, NB_STATUS_CLASSES> fetches{};
  std::array<std::atomic<uint64_t>, NB_FETCH_TIME_CLASSES> fetch_times{};
  std::atomic<uint64_t> fetch_time_us{0};
  std::atomic<uint64_t> nb_body_bytes{0};
  std::atomic<uint64_t> nb_refused_by_filter{0};
  std::atomic<uint64_t> nb_refused_by_robots{0};
  std::atomic<uint64_t> nb_refused_by_quota{0};
  std::atomic<uint64_t> nb_duplicates{0};
  std::atomic<uint64_t> nb_stored{0};
  std::atomic<uint64_t> nb_queue_waits{0};
  std::atomic<uint64_t> queue_wait_us{0};
  std::atomic<uint32_t> state{SPIDER_ENDED};
};

struct crawl_counters {
  // Written once, before nb_slots.
  std::unique_ptr<spider_counters[]> slots;
  uint64_t start_wall_us = 0;    // µs since 1970
  uint64_t start_steady_us = 0;  // of wkstd/clock.h

  std::atomic<uint32_t> nb_slots{0};  // 0: the crawl has not begun
};

// Before the first spider starts, once: the crawl begins now.
void begin_crawl_counters(crawl_counters& counters, uint32_t nb_spiders);
// The slot of a spider, numbered from 1.
[[nodiscard]] spider_counters& get_slot_crawl_counters(crawl_counters& counters, uint32_t number);
[[nodiscard]] crawl_counts sum_crawl_counters(const crawl_counters& counters);

// By the slot's spider only.
inline void count_spider(std::atomic<uint64_t>& counter, uint64_t number = 1) {
  counter.store(counter.load(std::memory_order_relaxed) + number, std::memory_order_relaxed);
}
inline void set_state_spider(spider_counters& slot, spider_state state) {
  slot.state.store(state, std::memory_order_relaxed);
}
// A fetch has ended with that status after that time.
void count_fetch_spider(spider_counters& slot, uint32_t status, uint64_t time_us);

}  // namespace wk
