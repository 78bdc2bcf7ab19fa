// Making an absolute URL of a link found in a page.
//
// All of these work on bytes, keep no state and may be called from any thread. The caller's string
// is reused, so that a spider resolves millions of links without allocating.
#pragma once

#include <string>
#include <string_view>

namespace wk {

// Resolves link against base, the absolute URL of the page it stands in. 1 with out set; 0 when the
// link is to be dropped, and out is left alone. out must share no bytes with link or base.
[[nodiscard]] int build_absolute_url(std::string& out, std::string_view link,
                                     std::string_view base);

// Takes the dot segments and doubled slashes out of a path (query and fragment behind it included)
// in place. 0 when the path climbs above its root or holds a "%" without two hexadecimal digits.
[[nodiscard]] int normalize_url_path(std::string& path);

}  // namespace wk
