#include "crawler/content/page_text_scan.h"

#include <algorithm>

#include "crawler/content/html_name.h"
#include "wkstd/byte_block.h"

namespace wk {
namespace {

constexpr std::string_view NO_BREAK_SPACE = "&nbsp";

size_t find_behind_element(std::string_view page, size_t from, std::string_view name) {
  const size_t end = find_html_closing_tag(page, from, name);
  return end == std::string_view::npos ? page.size() : end + 1;
}

// The place behind what page[at], a "<", begins.
size_t find_behind_markup(std::string_view page, size_t at) {
  const char first = at + 1 < page.size() ? page[at + 1] : '\0';
  if (first == '!' && page.substr(at + 2, 2) == "--") return find_behind_html_comment(page, at + 2);
  if (first == 's' || first == 'S') {
    if (is_html_name_at(page, at + 1, "script")) return find_behind_element(page, at + 7, "script");
    if (is_html_name_at(page, at + 1, "style")) return find_behind_element(page, at + 6, "style");
  }
  return std::min(find_byte(page, at, '>') + 1, page.size());
}

size_t find_behind_space(std::string_view page, size_t at) {
  const size_t end = at + NO_BREAK_SPACE.size();
  return end < page.size() && page[end] == ';' ? end + 1 : end;
}

// page[at] is "&".
bool is_space_at(std::string_view page, size_t at) {
  return is_html_name_at(page, at, NO_BREAK_SPACE);
}

}  // namespace

bool find_next_page_text(page_text_scan& scan, std::string_view& run) {
  const std::string_view page = scan.page;
  while (scan.at < page.size()) {
    const size_t begin = scan.at;
    size_t end = find_either_byte(page, begin, '<', '&');
    while (end < page.size() && page[end] == '&' && !is_space_at(page, end)) {
      end = find_either_byte(page, end + 1, '<', '&');
    }
    if (end == page.size()) {
      scan.at = end;
    } else {
      scan.at = page[end] == '<' ? find_behind_markup(page, end) : find_behind_space(page, end);
    }
    run = page.substr(begin, end - begin);
    if (!run.empty()) return true;
  }
  return false;
}

}  // namespace wk
