// The kind of a link, by its scheme (RFC 3986, as far as a crawler of http and https needs it).
#pragma once

#include <cstdint>
#include <string_view>

namespace wk {

enum url_kind : uint32_t {
  URL_RELATIVE = 0,  // no scheme
  URL_HTTP = 1,      // begins with "http:"
  URL_HTTPS = 2,     // begins with "https:" and more
  URL_OTHER = 3,     // some other scheme, or a leading ":"; never crawled
};

[[nodiscard]] url_kind classify_url(std::string_view text);

}  // namespace wk
