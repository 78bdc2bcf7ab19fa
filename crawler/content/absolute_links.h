// Absolute http and https URLs in any text: a page's markup, its scripts, its prose.
#pragma once

#include <cstddef>
#include <string_view>

namespace wk {

// The next place at or behind at where "http://" or "https://" (any case) begins, and all that
// follows it up to a quote, a "#" or a character that no URL holds. at moves behind the link. False
// at the end of the text.
[[nodiscard]] bool find_next_absolute_link(std::string_view text, size_t& at,
                                           std::string_view& link);

}  // namespace wk
