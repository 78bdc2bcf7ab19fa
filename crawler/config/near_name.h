// The name that was meant: the nearest of some names to one that is none of them.
#pragma once

#include <span>
#include <string_view>

namespace wk {

// The first of names with the fewest changes (a byte put in, left out or replaced) to name, or
// empty when each takes more than two, or as many as name has bytes.
[[nodiscard]] std::string_view find_near_name(std::string_view name,
                                              std::span<const std::string_view> names);

}  // namespace wk
