#include "wkskt/skt_resolve.h"

#include <netdb.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>

#include "wkskt/skt_address_memory.h"
#include "wkstd/clock.h"
#include "wkstd/text.h"
#include "wkstd/thread.h"

namespace wk {
namespace {

constexpr uint64_t LONGEST_SLICE_US = 250'000;  // a stop is seen within this time

std::atomic<int> nb_look_ups{0};

// What asker and thread share; whichever goes last frees it.
struct look_up {
  const std::string host;

  std::mutex lock;  // guards all below
  std::condition_variable changed;
  bool done = false;
  skt_look_up_answer answer = SKT_LOOK_UP_FAILED;
  int error = 0;  // the system's, of a shortage
  struct in_addr address {};
};
using shared_look_up = std::shared_ptr<look_up>;

skt_look_up_answer ask_resolver(const char* host, int flags, struct in_addr& address) {
  struct addrinfo wanted {};
  wanted.ai_family = AF_INET;
  wanted.ai_socktype = SOCK_STREAM;
  wanted.ai_flags = flags;
  struct addrinfo* found = nullptr;
  errno = 0;
  const int status = ::getaddrinfo(host, nullptr, &wanted, &found);
  if (status == 0 && found != nullptr) {
    address = reinterpret_cast<const struct sockaddr_in*>(found->ai_addr)->sin_addr;
    ::freeaddrinfo(found);
    return SKT_LOOK_UP_FOUND;
  }
  // Some shortages hide behind "try again" or "no such name"; errno still tells of them.
  const bool is_short = status == EAI_MEMORY || errno == EMFILE || errno == ENFILE ||
                        errno == ENOBUFS || errno == ENOMEM;
  return is_short ? SKT_LOOK_UP_SHORT : SKT_LOOK_UP_FAILED;
}

void run_look_up(look_up& shared) {
  struct in_addr address {};
  const skt_look_up_answer answer = ask_resolver(shared.host.c_str(), 0, address);
  const int error = errno;
  if (answer == SKT_LOOK_UP_FOUND) {
    keep_skt_address(shared.host.c_str(), get_steady_time_us(), address);
  }
  nb_look_ups.fetch_sub(1);
  const std::lock_guard<std::mutex> hold(shared.lock);
  shared.answer = answer;
  shared.error = error;
  shared.address = address;
  shared.done = true;
  shared.changed.notify_all();
}

bool start_look_up(const shared_look_up& shared) {
  errno = EAGAIN;
  if (nb_look_ups.fetch_add(1) < SKT_MAX_LOOK_UPS &&
      start_detached_thread([shared] { run_look_up(*shared); })) {
    return true;
  }
  nb_look_ups.fetch_sub(1);
  return false;
}

uint64_t choose_end_us(const skt_terms& terms) {
  uint64_t end_us = terms.deadline_us != 0 ? terms.deadline_us : UINT64_MAX;
  const uint64_t now_us = get_steady_time_us();
  if (terms.limit_us != 0 && terms.limit_us < end_us - std::min(now_us, end_us)) {
    end_us = now_us + terms.limit_us;
  }
  return end_us;
}

}  // namespace

bool read_skt_address(const char* host, struct in_addr& address) {
  if (equals_ignoring_case(host, "localhost")) {
    address.s_addr = htonl(INADDR_LOOPBACK);
    return true;
  }
  return ask_resolver(host, AI_NUMERICHOST, address) == SKT_LOOK_UP_FOUND;
}

skt_look_up_answer look_up_skt_address(const char* host, const skt_terms& terms,
                                       struct in_addr& address) {
  const uint64_t end_us = choose_end_us(terms);
  const shared_look_up shared(new look_up{.host = host, .lock = {}, .changed = {}});
  if (!start_look_up(shared)) return SKT_LOOK_UP_SHORT;
  std::unique_lock<std::mutex> hold(shared->lock);
  while (!shared->done) {
    const uint64_t now_us = get_steady_time_us();
    const bool stopped = terms.stop != nullptr && terms.stop->load(std::memory_order_relaxed) != 0;
    if (stopped) return SKT_LOOK_UP_STOPPED;
    if (now_us >= end_us) return SKT_LOOK_UP_FAILED;
    const uint64_t slice_us = std::min(end_us - now_us, LONGEST_SLICE_US);
    shared->changed.wait_for(hold, std::chrono::microseconds(slice_us));
  }
  address = shared->address;
  errno = shared->error;
  return shared->answer;
}

}  // namespace wk
