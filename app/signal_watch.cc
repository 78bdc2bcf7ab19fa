#include "app/signal_watch.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>

#include "wkstd/thread.h"

namespace wk {

struct signal_watch {
  int signals = -1;  // readable when one of the two has come
  int end = -1;      // readable when the watch is over
  signal_callback on_signal = nullptr;
  void* context = nullptr;
  joined_thread thread;
};

namespace {

sigset_t get_watched_signals() {
  sigset_t set;
  ::sigemptyset(&set);
  ::sigaddset(&set, SIGINT);
  ::sigaddset(&set, SIGTERM);
  return set;
}

// From here on the next of the two signals does what it does to any program.
void let_next_signal_end_process() {
  ::signal(SIGINT, SIG_DFL);
  ::signal(SIGTERM, SIG_DFL);
  const sigset_t set = get_watched_signals();
  ::pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

void watch_signals(signal_watch& watch) {
  struct pollfd waits[] = {{watch.signals, POLLIN, 0}, {watch.end, POLLIN, 0}};
  bool called = false;
  for (;;) {
    // After the first signal only the end is waited for.
    const nfds_t first = called ? 1 : 0;
    if (::poll(waits + first, 2 - first, -1) < 0 && errno != EINTR) return;
    if ((waits[1].revents & POLLIN) != 0) return;
    if (called || (waits[0].revents & POLLIN) == 0) continue;
    struct signalfd_siginfo facts {};
    if (::read(watch.signals, &facts, sizeof facts) != sizeof facts) continue;
    called = true;
    let_next_signal_end_process();
    watch.on_signal(watch.context);
  }
}

}  // namespace

void prepare_signals() {
  ::signal(SIGPIPE, SIG_IGN);
  ::signal(SIGXFSZ, SIG_IGN);
  const sigset_t set = get_watched_signals();
  ::pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

signal_watch_ptr create_signal_watch(signal_callback on_signal, void* context) {
  signal_watch_ptr watch(new signal_watch);
  const sigset_t set = get_watched_signals();
  watch->signals = ::signalfd(-1, &set, SFD_CLOEXEC);
  watch->end = ::eventfd(0, EFD_CLOEXEC);
  if (watch->signals < 0 || watch->end < 0) {
    // Without a watch the signals keep their usual meaning.
    let_next_signal_end_process();
    return watch;
  }
  watch->on_signal = on_signal;
  watch->context = context;
  if (!start_thread(watch->thread, [&self = *watch] { watch_signals(self); })) {
    let_next_signal_end_process();
  }
  return watch;
}

void destroy_signal_watch::operator()(signal_watch* watch) const {
  if (watch == nullptr) return;
  if (watch->thread.is_running) {
    const uint64_t one = 1;
    while (::write(watch->end, &one, sizeof one) < 0 && errno == EINTR) {
    }
    join_thread(watch->thread);
  }
  if (watch->signals >= 0) ::close(watch->signals);
  if (watch->end >= 0) ::close(watch->end);
  delete watch;
}

}  // namespace wk
