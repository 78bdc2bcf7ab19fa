#include "crawler/content/quoted_literals.h"

#include <algorithm>

#include "wkstd/byte_block.h"
#include "wkstd/text.h"

namespace wk {
namespace {

// Case counts.
constexpr std::string_view page_marks[] = {".htm", "http://", "https://", ".cgi", ".asp",
                                           ".jsp", ".php",    ".xhtml",   ".pl"};

}  // namespace

bool find_next_literal(std::string_view text, size_t& at, std::string_view& literal) {
  while (at < text.size()) {
    const size_t open = find_either_byte(text, at, '"', '\'');
    if (open == text.size()) break;
    const size_t close = find_either_byte(text, open + 1, text[open], '\n');
    at = open + 1;
    if (close == text.size() || text[close] == '\n') continue;
    literal = text.substr(at, close - at);
    at = close + 1;
    return true;
  }
  at = text.size();
  return false;
}

bool is_page_link(std::string_view text) {
  if (text.empty() || text == "http://" || text == "https://") return false;
  const auto first = static_cast<unsigned char>(text.front());
  if (!is_letter(first) && !is_digit(first)) return false;
  return text.back() == '/' ||
         std::any_of(std::begin(page_marks), std::end(page_marks), [text](std::string_view mark) {
           return text.find(mark) != std::string_view::npos;
         });
}

}  // namespace wk
