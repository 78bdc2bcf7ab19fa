// SIGINT and SIGTERM stop the crawl; a second one ends the process at once.
//
// While a watch exists both signals are blocked in every thread started after it, and a thread of
// the watch waits for them. SIGPIPE and SIGXFSZ are ignored from then on: a peer that closes and a
// file that may not grow are answers of the call that met them.
#pragma once

#include <memory>

namespace wk {

using signal_callback = void (*)(void* context);  // called once, on the watch's own thread

struct signal_watch;
struct destroy_signal_watch {
  void operator()(signal_watch* watch) const;  // ends the thread; the signals stay blocked
};
using signal_watch_ptr = std::unique_ptr<signal_watch, destroy_signal_watch>;

[[nodiscard]] signal_watch_ptr create_signal_watch(signal_callback on_signal, void* context);
// Before any thread is started: ignores and blocks as said above.
void prepare_signals();

}  // namespace wk
