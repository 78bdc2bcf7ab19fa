#include "wkstd/stop_gate.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace wk {
namespace {

constexpr uint64_t SHORTEST_SLEEP_MS = 100;
// A wait until a time point overflows with an absurd length; ten years are as good as for ever.
constexpr uint64_t LONGEST_SLEEP_MS = 10ULL * 365 * 24 * 3600 * 1000;

}  // namespace

bool sleep_stop_gate(stop_gate& gate, uint64_t milliseconds) {
  if (milliseconds < SHORTEST_SLEEP_MS) {
    std::this_thread::yield();
    return is_stopped(gate);
  }
  const auto until = std::chrono::steady_clock::now() +
                     std::chrono::milliseconds(std::min(milliseconds, LONGEST_SLEEP_MS));
  std::unique_lock<std::mutex> hold(gate.lock);
  return gate.changed.wait_until(hold, until, [&gate] { return is_stopped(gate); });
}

void wait_while_paused_stop_gate(stop_gate& gate) {
  std::unique_lock<std::mutex> hold(gate.lock);
  gate.changed.wait(hold, [&gate] { return gate.pause.load() != 1 || is_stopped(gate); });
}

void set_stop_stop_gate(stop_gate& gate) {
  const std::lock_guard<std::mutex> hold(gate.lock);
  gate.stop.store(1);
  gate.changed.notify_all();
}

void set_pause_stop_gate(stop_gate& gate, uint32_t pause) {
  const std::lock_guard<std::mutex> hold(gate.lock);
  gate.pause.store(pause);
  gate.changed.notify_all();
}

}  // namespace wk
