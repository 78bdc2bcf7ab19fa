#include "crawler/content/event_links.h"

#include "crawler/content/html_name.h"
#include "crawler/content/quoted_literals.h"
#include "wkstd/byte_block.h"
#include "wkstd/text.h"

namespace wk {
namespace {

constexpr size_t MIN_PAGE_BYTES = 11;
constexpr size_t NOWHERE = std::string_view::npos;

constexpr std::string_view handler_names[] = {"onclick", "onmouse",
                                              "href=\"javascript:", "href='javascript:"};

bool is_handler_at(std::string_view tag, size_t at) {
  const char first = static_cast<char>(tag[at] | 0x20);
  if (first != 'o' && first != 'h') return false;
  for (const std::string_view name : handler_names) {
    if (starts_with_ignoring_case(tag.substr(at), name)) return true;
  }
  return false;
}

size_t find_last_handler(std::string_view tag) {
  for (size_t at = tag.size(); at-- > 0;) {
    if (is_handler_at(tag, at)) return at;
  }
  return NOWHERE;
}

// The byte behind "=" is the value's delimiter, whatever it is. Empty without a second one.
std::string_view find_handler_value(std::string_view tag, size_t handler) {
  const size_t begin = find_byte(tag, handler, '=') + 2;
  if (begin > tag.size()) return {};
  const size_t end = find_byte(tag, begin, tag[begin - 1]);
  return end == tag.size() ? std::string_view() : tag.substr(begin, end - begin);
}

// tag begins with "<" and goes up to its ">", which is no part of it.
void add_tag_links(std::string_view tag, std::string& scratch, link_gatherer& gatherer) {
  const size_t handler = find_last_handler(tag);
  if (handler == NOWHERE) return;
  scratch.assign(tag.substr(handler));
  lower_text(scratch);
  const std::string_view value = find_handler_value(scratch, 0);
  std::string_view literal;
  for (size_t at = 0; find_next_literal(value, at, literal);) {
    if (is_page_link(literal)) gather_link(gatherer, literal);
  }
}

}  // namespace

void add_event_links(std::string_view page, std::string& scratch, link_gatherer& gatherer) {
  if (page.size() < MIN_PAGE_BYTES) return;
  for (size_t at = find_byte(page, 0, '<'); at < page.size(); at = find_byte(page, at, '<')) {
    if (page.substr(at, 4) == "<!--") {
      at = find_behind_html_comment(page, at + 2);
      continue;
    }
    const size_t end = find_byte(page, at, '>');
    if (end == page.size()) return;
    add_tag_links(page.substr(at, end - at), scratch, gatherer);
    at = end;
  }
}

}  // namespace wk
