// Names, closing tags and comments in HTML; names are compared without regard to case.
#pragma once

#include <cstddef>
#include <string_view>

namespace wk {

// True when name, in lower case, stands at position at. Each byte of the text is lowered by setting
// its 0x20 bit, which is exact for names made of letters and blanks in a text without NUL bytes.
[[nodiscard]] inline bool is_html_name_at(std::string_view text, size_t at, std::string_view name) {
  if (at > text.size() || text.size() - at < name.size()) return false;
  for (size_t i = 0; i < name.size(); ++i) {
    if (static_cast<char>(text[at + i] | 0x20) != name[i]) return false;
  }
  return true;
}

// The place of the ">" of the first "</name>" that begins at or after from, without blanks inside;
// std::string_view::npos when there is none. name is in lower case.
[[nodiscard]] size_t find_html_closing_tag(std::string_view text, size_t from,
                                           std::string_view name);

// The place behind the "-->" that ends a comment, page.size() when there is none. first_dash is the
// place of the opening dashes; the search begins with them, so "<!-->" is a whole comment.
[[nodiscard]] size_t find_behind_html_comment(std::string_view page, size_t first_dash);

}  // namespace wk
