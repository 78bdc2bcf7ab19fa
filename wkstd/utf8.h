// UTF-8 (RFC 3629), one character at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace wk {

// The character that bytes begin with, and how many bytes it takes: 0, with code left alone, for
// none at all and for bytes that are not well-formed.
[[nodiscard]] size_t decode_utf8(std::string_view bytes, uint32_t& code);
// code is at most 0x10FFFF and no surrogate.
void append_utf8(std::string& out, uint32_t code);

}  // namespace wk
