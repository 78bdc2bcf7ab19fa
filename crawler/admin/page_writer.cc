#include "crawler/admin/page_writer.h"

namespace wk {
namespace {

// A control byte has no place in HTML, and an escape byte could make a browser guess a character
// set in which the quotes and brackets around the value are something else.
std::string_view find_escape(char byte) {
  switch (byte) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '"':
      return "&quot;";
    case '\'':
      return "&#39;";
    case '\t':
    case '\n':
    case '\r':
      return {};
    default:
      break;
  }
  const auto c = static_cast<unsigned char>(byte);
  return c < 0x20 || c == 0x7F ? "&#65533;" : std::string_view();
}

// The one place that escapes.
void append_escaped(std::string& out, std::string_view value) {
  for (const char byte : value) {
    const std::string_view escape = find_escape(byte);
    if (escape.empty()) {
      out.push_back(byte);
    } else {
      out.append(escape);
    }
  }
}

}  // namespace

void append_page(std::string& out, page_text format,
                 std::initializer_list<std::string_view> values) {
  std::string_view rest = format.text;
  const auto* value = values.begin();
  for (size_t at = rest.find("%s"); at != std::string_view::npos; at = rest.find("%s")) {
    out.append(rest.substr(0, at));
    if (value != values.end()) append_escaped(out, *value++);
    rest.remove_prefix(at + 2);
  }
  out.append(rest);
}

std::string write_page_number(uint32_t number) {
  return std::to_string(static_cast<int32_t>(number));
}

}  // namespace wk
