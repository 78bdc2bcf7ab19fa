#include "crawler/content/absolute_links.h"

#include "crawler/url/url_form.h"
#include "wkstd/byte_block.h"
#include "wkstd/text.h"

namespace wk {
namespace {

// The length of the scheme that ends at text[colon] and begins at or behind from; 0 without one.
size_t get_scheme_size(std::string_view text, size_t from, size_t colon) {
  if (text.substr(colon + 1, 2) != "//") return 0;
  for (const std::string_view scheme : {"http", "https"}) {
    if (colon - from < scheme.size()) break;
    if (equals_ignoring_case(text.substr(colon - scheme.size(), scheme.size()), scheme)) {
      return scheme.size();
    }
  }
  return 0;
}

bool is_link_character(char c) {
  return c != '\'' && c != '#' && is_url_character(static_cast<unsigned char>(c));
}

}  // namespace

// Colons are rarer than any letter of the schemes, so they are what is searched for.
bool find_next_absolute_link(std::string_view text, size_t& at, std::string_view& link) {
  for (size_t colon = find_byte(text, at, ':'); colon < text.size();
       colon = find_byte(text, colon + 1, ':')) {
    const size_t scheme_size = get_scheme_size(text, at, colon);
    if (scheme_size == 0) continue;
    size_t end = colon + 3;
    while (end < text.size() && is_link_character(text[end])) ++end;
    link = text.substr(colon - scheme_size, end - (colon - scheme_size));
    at = end;
    return true;
  }
  at = text.size();
  return false;
}

}  // namespace wk
