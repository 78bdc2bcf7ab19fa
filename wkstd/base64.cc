#include "wkstd/base64.h"

#include <cstdint>

namespace wk {

void append_base64(std::string& out, std::string_view bytes) {
  static constexpr char ALPHABET[] =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  out.reserve(out.size() + (bytes.size() + 2) / 3 * 4);
  for (size_t i = 0; i < bytes.size(); i += 3) {
    const size_t left = bytes.size() - i;
    uint32_t group = static_cast<uint32_t>(static_cast<unsigned char>(bytes[i])) << 16;
    if (left > 1) group |= static_cast<uint32_t>(static_cast<unsigned char>(bytes[i + 1])) << 8;
    if (left > 2) group |= static_cast<unsigned char>(bytes[i + 2]);
    out.push_back(ALPHABET[group >> 18]);
    out.push_back(ALPHABET[(group >> 12) & 63]);
    out.push_back(left > 1 ? ALPHABET[(group >> 6) & 63] : '=');
    out.push_back(left > 2 ? ALPHABET[group & 63] : '=');
  }
}

}  // namespace wk
