#include <poll.h>

#include <algorithm>
#include <cerrno>

#include "wkskt/skt.h"
#include "wkstd/clock.h"

namespace wk {
namespace {

constexpr uint64_t STOP_LOOK_US = 250'000;  // a stop is seen within this time
constexpr uint64_t LONGEST_POLL_US = 60'000'000;

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
  uint64_t now_us = get_steady_time_us();
  if (terms.deadline_us != 0 && now_us >= terms.deadline_us) return 0;
  uint64_t end_us = add_saturated(now_us, terms.limit_us);
  if (terms.deadline_us != 0) end_us = std::min(end_us, terms.deadline_us);
  for (;;) {
    if (is_stop_set(terms)) return 0;
    // Past the end what is ready is taken still.
    uint64_t wait_us = std::min<uint64_t>(end_us - std::min(now_us, end_us), LONGEST_POLL_US);
    if (terms.stop != nullptr) wait_us = std::min(wait_us, STOP_LOOK_US);
    const int ready = poll_handle(handle, events, wait_us);
    if (ready > 0) return is_stop_set(terms) ? 0 : 1;
    if (ready < 0 && errno != EINTR) return 0;
    now_us = get_steady_time_us();
    if (now_us >= end_us) return 0;
  }
}

}  // namespace

bool is_over_skt_terms(const skt_terms& terms) {
  return is_stop_set(terms) ||
         (terms.deadline_us != 0 && get_steady_time_us() >= terms.deadline_us);
}

int skt_wait_readable(int handle, const skt_terms& terms) {
  return wait_for(handle, POLLIN, terms);
}

int skt_wait_writable(int handle, const skt_terms& terms) {
  return wait_for(handle, POLLOUT, terms);
}

}  // namespace wk
