// The place where the threads of a crawl sleep, and the flags that wake them.
//
// A crawl owns one gate. Its mutex is the crawl's own lock: it guards the owner's fields too, and
// it is taken before any other lock. Both flags are written under the lock and announced on the
// condition; they may be read without it, where a stale answer only costs one more round.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace wk {

struct stop_gate {
  std::mutex lock;
  std::condition_variable changed;  // broadcast at every change of a flag
  std::atomic<uint32_t> stop{0};    // set once, never cleared
  std::atomic<uint32_t> pause{0};
};

// Sleeps until stop is set, at most that long; a sleep below 100 ms only yields the processor.
// True when stop is set. The caller holds no lock.
bool sleep_stop_gate(stop_gate& gate, uint64_t milliseconds);

// Sleeps while pause is 1, until stop is set at the latest.
void wait_while_paused_stop_gate(stop_gate& gate);

[[nodiscard]] inline bool is_stopped(const stop_gate& gate) {
  return gate.stop.load(std::memory_order_relaxed) != 0;
}

// Each takes the lock.
void set_stop_stop_gate(stop_gate& gate);
void set_pause_stop_gate(stop_gate& gate, uint32_t pause);

}  // namespace wk
