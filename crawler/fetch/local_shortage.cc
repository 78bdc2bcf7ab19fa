#include "crawler/fetch/local_shortage.h"

#include "wkstd/clock.h"
#include "wkstd/error.h"

namespace wk {
namespace {

constexpr uint64_t WAIT_MS = 500;
constexpr uint64_t PASSED_AFTER_US = 10'000'000;

}  // namespace

bool wait_local_shortage(local_shortage& shortage, int error, stop_gate* gate) {
  shortage.latest_us.store(get_steady_time_us());
  if (!shortage.is_told.exchange(true) && shortage.tell != nullptr) {
    shortage.tell("This machine is short of what a connection needs (" +
                      get_system_error_text(error) + "); fetches wait until there is enough\n",
                  shortage.context);
  }
  ++shortage.nb_waiting;
  const bool stopped = gate != nullptr && sleep_stop_gate(*gate, WAIT_MS);
  --shortage.nb_waiting;
  return stopped;
}

bool has_passed_local_shortage(local_shortage& shortage, uint64_t now_us) {
  const bool is_over = shortage.is_told && shortage.nb_waiting == 0 &&
                       now_us >= shortage.latest_us + PASSED_AFTER_US;
  return is_over && shortage.is_told.exchange(false);
}

}  // namespace wk
