#include "app/signal_watch.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <initializer_list>

#include "wkstd/thread.h"

namespace wk {

struct signal_watch {
  int signals = -1;  // readable when one of those watched has come
  int end = -1;      // readable when the watch is over
  signal_actions actions = {};
  joined_thread thread;
};

namespace {

sigset_t build_signal_set(std::initializer_list<int> numbers) {
  sigset_t set;
  ::sigemptyset(&set);
  for (const int number : numbers) ::sigaddset(&set, number);
  return set;
}

// From here on the next SIGINT or SIGTERM does what it does to any program.
void let_next_signal_end_process() {
  ::signal(SIGINT, SIG_DFL);
  ::signal(SIGTERM, SIG_DFL);
  const sigset_t set = build_signal_set({SIGINT, SIGTERM});
  ::pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

// Once a stop has begun SIGHUP alone is watched.
void begin_stop(signal_watch& watch) {
  const sigset_t set = build_signal_set({SIGHUP});
  (void)::signalfd(watch.signals, &set, 0);  // an open one takes any set
  let_next_signal_end_process();
  watch.actions.stop(watch.actions.context);
}

void watch_signals(signal_watch& watch) {
  struct pollfd waits[] = {{watch.signals, POLLIN, 0}, {watch.end, POLLIN, 0}};
  for (;;) {
    if (::poll(waits, 2, -1) < 0 && errno != EINTR) return;
    if ((waits[1].revents & POLLIN) != 0) return;
    if ((waits[0].revents & POLLIN) == 0) continue;
    struct signalfd_siginfo facts {};
    if (::read(watch.signals, &facts, sizeof facts) != sizeof facts) continue;
    if (facts.ssi_signo == SIGHUP) {
      watch.actions.reopen(watch.actions.context);
    } else {
      begin_stop(watch);
    }
  }
}

}  // namespace

void prepare_signals() {
  ::signal(SIGPIPE, SIG_IGN);
  ::signal(SIGXFSZ, SIG_IGN);
  const sigset_t set = build_signal_set({SIGINT, SIGTERM, SIGHUP});
  ::pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

signal_watch_ptr create_signal_watch(const signal_actions& actions) {
  signal_watch_ptr watch(new signal_watch);
  const sigset_t set = build_signal_set({SIGINT, SIGTERM, SIGHUP});
  watch->signals = ::signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
  watch->end = ::eventfd(0, EFD_CLOEXEC);
  if (watch->signals < 0 || watch->end < 0) {
    // Without a watch SIGINT and SIGTERM keep their usual meaning, and SIGHUP waits for ever.
    let_next_signal_end_process();
    return watch;
  }
  watch->actions = actions;
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
