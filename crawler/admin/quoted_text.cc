#include "crawler/admin/quoted_text.h"

#include <cstddef>
#include <cstdint>

#include "wkstd/text.h"
#include "wkstd/utf8.h"

namespace wk {
namespace {

// Appends bytes as UTF-8; replace appends its own text for an ASCII byte and says so, or leaves it.
void append_with(std::string& out, std::string_view bytes,
                 bool (*replace)(std::string& out, char c)) {
  while (!bytes.empty()) {
    uint32_t code = 0;
    const size_t length = decode_utf8(bytes, code);
    if (length == 0) {
      append_utf8(out, static_cast<uint8_t>(bytes[0]));  // 0x80 and above
    } else if (length > 1 || !replace(out, bytes[0])) {
      out.append(bytes.substr(0, length));
    }
    bytes.remove_prefix(length == 0 ? 1 : length);
  }
}

bool replace_in_json(std::string& out, char c) {
  if (c == '"' || c == '\\') {
    out.push_back('\\');
    out.push_back(c);
    return true;
  }
  const auto byte = static_cast<uint8_t>(c);
  if (byte >= 0x20 && byte != 0x7F) return false;
  append_formatted_text(out, "\\u%04x", byte);
  return true;
}

bool replace_in_label(std::string& out, char c) {
  if (c == '\n') {
    out.append("\\n");
  } else if (c == '"' || c == '\\') {
    out.push_back('\\');
    out.push_back(c);
  } else {
    return false;
  }
  return true;
}

}  // namespace

void append_json_string(std::string& out, std::string_view bytes) {
  out.push_back('"');
  append_with(out, bytes, replace_in_json);
  out.push_back('"');
}

void append_label_value(std::string& out, std::string_view bytes) {
  out.push_back('"');
  append_with(out, bytes, replace_in_label);
  out.push_back('"');
}

}  // namespace wk
