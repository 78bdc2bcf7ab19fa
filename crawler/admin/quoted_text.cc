#include "crawler/admin/quoted_text.h"

#include <cstddef>
#include <cstdint>

#include "wkstd/text.h"

namespace wk {
namespace {

// How many bytes the well-formed character at the front takes; 0 when there is none.
size_t measure_character(std::string_view bytes) {
  const auto at = [&bytes](size_t i) { return static_cast<uint8_t>(bytes[i]); };
  const uint8_t first = at(0);
  if (first < 0x80) return 1;
  const size_t length = first < 0xC2   ? 0
                        : first < 0xE0 ? 2
                        : first < 0xF0 ? 3
                        : first < 0xF5 ? 4
                                       : 0;
  if (length == 0 || bytes.size() < length) return 0;
  for (size_t i = 1; i < length; ++i) {
    if ((at(i) & 0xC0) != 0x80) return 0;
  }
  // Overlong forms, surrogates, and what lies beyond U+10FFFF.
  if ((first == 0xE0 && at(1) < 0xA0) || (first == 0xED && at(1) > 0x9F) ||
      (first == 0xF0 && at(1) < 0x90) || (first == 0xF4 && at(1) > 0x8F)) {
    return 0;
  }
  return length;
}

// Appends bytes as UTF-8; replace appends its own text for an ASCII byte and says so, or leaves it.
void append_with(std::string& out, std::string_view bytes,
                 bool (*replace)(std::string& out, char c)) {
  while (!bytes.empty()) {
    const size_t length = measure_character(bytes);
    if (length == 0) {
      const auto byte = static_cast<uint8_t>(bytes[0]);  // 0x80 and above
      out.push_back(static_cast<char>(0xC0 | (byte >> 6)));
      out.push_back(static_cast<char>(0x80 | (byte & 0x3F)));
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
