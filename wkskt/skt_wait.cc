#include <poll.h>

#include <algorithm>
#include <cerrno>

#include "wkskt/skt.h"
#include "wkstd/clock.h"

namespace wk {
namespace {

constexpr uint64_t STOP_LOOK_US = 250'000;  // a stop is seen within this time

bool is_stop_set(const skt_terms& terms) {
  return terms.stop != nullptr && terms.stop->load(std::memory_order_relaxed) != 0;
}

// Answers as poll does, once; a handle that is not open is an error.
int poll_handle(int handle, short events, uint64_t wait_us) {
  struct pollfd wanted = {handle, events, 0};
  const auto wait_ms = static_cast<int>((wait_us + 999) / 1'000);
  const int ready = ::poll(&wanted, 1, wait_ms);
  if (ready <= 0 || (wanted.revents & POLLNVAL) == 0) return ready;
  errno = EBADF;
  return -1;
}

uint64_t add_saturated(uint64_t a, uint64_t b) { return a > UINT64_MAX - b ? UINT64_MAX : a + b; }

int wait_for(int handle, short events, const skt_terms& terms) {
  if (handle < 0) return 0;
  // What is ready is taken without a look at the clock; most waits end here.
  int ready = poll_handle(handle, events, 0);
  const uint64_t start_us = get_steady_time_us();
  uint64_t end_us = add_saturated(start_us, terms.limit_us);
  if (terms.deadline_us != 0) end_us = std::min(end_us, terms.deadline_us);
  uint64_t now_us = start_us;
  if (terms.deadline_us != 0 && now_us >= terms.deadline_us) return 0;
  while (ready == 0 || (ready < 0 && errno == EINTR)) {
    if (now_us >= end_us || is_stop_set(terms)) return 0;
    uint64_t wait_us = std::min<uint64_t>(end_us - now_us, 60'000'000);
    if (terms.stop != nullptr) wait_us = std::min(wait_us, STOP_LOOK_US);
    ready = poll_handle(handle, events, wait_us);
    now_us = get_steady_time_us();
  }
  return ready > 0 && !is_stop_set(terms) ? 1 : 0;
}

}  // namespace

int skt_wait_readable(int handle, const skt_terms& terms) {
  return wait_for(handle, POLLIN, terms);
}

int skt_wait_writable(int handle, const skt_terms& terms) {
  return wait_for(handle, POLLOUT, terms);
}

}  // namespace wk
