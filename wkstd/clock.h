// The time of day and a steady clock. Whole seconds since 1970 are truncated to 32 bits, as the
// horizon, the cookies and the file formats keep them.
#pragma once

#include <cstdint>

namespace wk {

[[nodiscard]] uint64_t get_wall_time_us();       // µs since 1970
[[nodiscard]] uint32_t get_wall_time_seconds();  // s since 1970
[[nodiscard]] uint64_t get_steady_time_us();     // µs since the machine's start; never goes back

}  // namespace wk
