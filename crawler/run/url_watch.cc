#include "crawler/run/url_watch.h"

#include <chrono>

namespace wk {
namespace {

// Short, because a host's next turn begins when its last one was noticed; forty looks a second cost
// nothing.
constexpr std::chrono::milliseconds LOOK_AGAIN{25};

void sleep_until_next_look(stop_gate& gate) {
  std::unique_lock<std::mutex> hold(gate.lock);
  gate.changed.wait_for(hold, LOOK_AGAIN, [&gate] { return is_stopped(gate); });
}

}  // namespace

void wait_url_watch(url_watch& watch, stop_gate& gate) {
  std::unique_lock<std::mutex> hold(watch.lock);
  if (watch.has_watcher) {
    ++watch.nb_sleeping;
    watch.changed.wait(hold, [&] { return !watch.has_watcher || is_stopped(gate); });
    --watch.nb_sleeping;
    return;
  }
  watch.has_watcher = true;
  hold.unlock();
  sleep_until_next_look(gate);
  hold.lock();
  watch.has_watcher = false;
}

void wake_next_url_watch(url_watch& watch) {
  if (watch.nb_sleeping.load(std::memory_order_relaxed) == 0) return;
  const std::lock_guard<std::mutex> hold(watch.lock);
  if (!watch.has_watcher) watch.changed.notify_one();
}

void wake_all_url_watch(url_watch& watch) {
  const std::lock_guard<std::mutex> hold(watch.lock);
  watch.changed.notify_all();
}

}  // namespace wk
