// Status codes of HTTP/1.1 with their reason phrases and descriptions (RFC 2616, section 10).
#pragma once

#include <cstdint>
#include <string_view>

namespace wk {

[[nodiscard]] std::string_view http_status_text(uint32_t code);  // "200 OK"
[[nodiscard]] std::string_view http_status_description(uint32_t code);

}  // namespace wk
