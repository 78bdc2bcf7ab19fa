// The three orders in which lines can be sorted.
#pragma once

#include <cstdint>
#include <string_view>

namespace wk {

// Less than 0, 0 or greater than 0, as the first line goes before, with or behind the second.
using line_comparison = int (*)(std::string_view a, std::string_view b);

// order is a t_sort_order (wkdt/t_sort.h).
[[nodiscard]] line_comparison get_line_comparison(uint32_t order, bool reverse);

}  // namespace wk
