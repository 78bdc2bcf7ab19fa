// SIGINT and SIGTERM stop the crawl, and a second one ends the process at once; SIGHUP has its
// files opened again.
//
// While a watch exists the three are blocked in every thread started after it, and a thread of the
// watch waits for them. SIGHUP is watched until the watch ends, behind a stop too. SIGPIPE and
// SIGXFSZ are ignored from then on: a peer that closes and a file that may not grow are answers of
// the call that met them.
#pragma once

#include <memory>

namespace wk {

// Called on the watch's own thread, one at a time.
struct signal_actions {
  void (*stop)(void* context);    // at the first SIGINT or SIGTERM, once
  void (*reopen)(void* context);  // at each SIGHUP; some that come together may count as one
  void* context;
};

struct signal_watch;
struct destroy_signal_watch {
  void operator()(signal_watch* watch) const;  // ends the thread; the signals stay blocked
};
using signal_watch_ptr = std::unique_ptr<signal_watch, destroy_signal_watch>;

[[nodiscard]] signal_watch_ptr create_signal_watch(const signal_actions& actions);
// Before any thread is started: ignores and blocks as said above.
void prepare_signals();

}  // namespace wk
