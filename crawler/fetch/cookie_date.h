// The dates that servers write into Set-Cookie headers.
#pragma once

#include <cstdint>
#include <string_view>

namespace wk {

// Seconds since 1970, or 0 for a text that is no date in one of the four known forms. What lies
// before 1970 gives 1, what passes 32 bits 4294967295. Midnight of 1 January 1970
// itself is 0, like no date at all. Threads: any.
[[nodiscard]] uint32_t cookie_date_parse(std::string_view text);

// The expiry that stands for an instant: as cookie_date_parse limits it.
[[nodiscard]] uint32_t limit_cookie_expiry(int64_t seconds_since_1970);

}  // namespace wk
