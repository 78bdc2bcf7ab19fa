#include "wkstd/clock.h"

#include <chrono>

namespace wk {

uint64_t get_wall_time_us() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(now).count());
}

uint32_t get_wall_time_seconds() { return static_cast<uint32_t>(get_wall_time_us() / 1'000'000); }

uint64_t get_steady_time_us() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(now).count());
}

}  // namespace wk
