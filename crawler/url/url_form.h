// Which URLs may be crawled at all, and the one spelling of those that name one page.
#pragma once

#include <string>
#include <string_view>

namespace wk {

constexpr size_t MAX_URL_BYTES = 8'192;

// False for a URL that is empty, longer than MAX_URL_BYTES, or holds a control byte (below 0x21
// other than a blank, or 0x7F). The horizon asks this of everything that wants to enter it.
[[nodiscard]] bool is_acceptable_url(std::string_view url);

// Rewrites an absolute URL in place: no fragment, no ":80" (":443" for https), "/" for an empty
// path, "%20" for a blank.
void canonicalize_url(std::string& url);

// The characters that a URL found in a script may hold: letters, digits, -._~:/?#[]@!$&'()*+,;=%
[[nodiscard]] bool is_url_character(unsigned char c);

}  // namespace wk
