#include "wkstd/clock.h"

#include <chrono>
#include <ctime>

namespace wk {

uint64_t get_wall_time_us() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(now).count());
}

uint32_t get_wall_time_seconds() { return static_cast<uint32_t>(get_wall_time_us() / 1'000'000); }

uint64_t get_steady_time_us() {
  struct timespec now {};
  (void)::clock_gettime(CLOCK_BOOTTIME, &now);  // every Linux has it
  return static_cast<uint64_t>(now.tv_sec) * 1'000'000 + static_cast<uint64_t>(now.tv_nsec) / 1'000;
}

}  // namespace wk
