// Where spiders wait while the horizon has nothing to hand out.
//
// One of them, the watcher, looks again every 25 ms; the others sleep until it has found something
// or goes away, so that a thousand idle spiders cost what one does. Whoever gets a URL wakes the
// next sleeper, so that as many work as there are URLs. The watch is shared by the spiders of one
// crawl and has a lock of its own, under which no other is taken.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "wkstd/stop_gate.h"

namespace wk {

struct url_watch {
  std::mutex lock;
  std::condition_variable changed;
  bool has_watcher = false;
  std::atomic<uint32_t> nb_sleeping{0};  // written under the lock
};

// Returns when it is time to ask the horizon again, or at a stop.
void wait_url_watch(url_watch& watch, stop_gate& gate);
// For a spider that got a URL.
void wake_next_url_watch(url_watch& watch);
// For a spider that ends.
void wake_all_url_watch(url_watch& watch);

}  // namespace wk
