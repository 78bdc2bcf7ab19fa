// Base64 with the standard alphabet and padding (RFC 4648, section 4).
#pragma once

#include <string>
#include <string_view>

namespace wk {

void append_base64(std::string& out, std::string_view bytes);

}  // namespace wk
