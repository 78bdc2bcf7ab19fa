#include "wkstd/utf8.h"

namespace wk {

size_t decode_utf8(std::string_view bytes, uint32_t& code) {
  if (bytes.empty()) return 0;
  const auto first = static_cast<uint8_t>(bytes[0]);
  if (first < 0x80) {
    code = first;
    return 1;
  }
  const size_t length = first < 0xC2   ? 0
                        : first < 0xE0 ? 2
                        : first < 0xF0 ? 3
                        : first < 0xF5 ? 4
                                       : 0;
  if (length == 0 || bytes.size() < length) return 0;
  uint32_t read = first & (0x7FU >> length);
  for (const char next : bytes.substr(1, length - 1)) {
    const auto byte = static_cast<uint8_t>(next);
    if ((byte & 0xC0) != 0x80) return 0;
    read = read << 6 | (byte & 0x3F);
  }
  const bool is_overlong = (length == 3 && read < 0x800) || (length == 4 && read < 0x10000);
  if (is_overlong || (read >= 0xD800 && read <= 0xDFFF) || read > 0x10FFFF) return 0;
  code = read;
  return length;
}

void append_utf8(std::string& out, uint32_t code) {
  const auto push = [&out](uint32_t byte) { out.push_back(static_cast<char>(byte)); };
  if (code < 0x80) return push(code);
  if (code < 0x800) {
    push(0xC0 | code >> 6);
  } else if (code < 0x10000) {
    push(0xE0 | code >> 12);
    push(0x80 | (code >> 6 & 0x3F));
  } else {
    push(0xF0 | code >> 18);
    push(0x80 | (code >> 12 & 0x3F));
    push(0x80 | (code >> 6 & 0x3F));
  }
  push(0x80 | (code & 0x3F));
}

}  // namespace wk
