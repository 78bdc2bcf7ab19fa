#include "crawler/content/html_name.h"

#include "wkstd/byte_block.h"

namespace wk {

size_t find_html_closing_tag(std::string_view text, size_t from, std::string_view name) {
  for (size_t at = find_byte(text, from, '<'); at < text.size(); at = find_byte(text, at, '<')) {
    ++at;
    if (at >= text.size() || text[at] != '/') continue;
    const size_t end = at + 1 + name.size();
    if (is_html_name_at(text, at + 1, name) && end < text.size() && text[end] == '>') return end;
  }
  return std::string_view::npos;
}

size_t find_behind_html_comment(std::string_view page, size_t first_dash) {
  for (size_t at = find_byte(page, first_dash, '>'); at < page.size();
       at = find_byte(page, at + 1, '>')) {
    if (at >= first_dash + 2 && page[at - 1] == '-' && page[at - 2] == '-') return at + 1;
  }
  return page.size();
}

}  // namespace wk
