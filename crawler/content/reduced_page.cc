#include "crawler/content/reduced_page.h"

#include <algorithm>
#include <cstring>

#include "crawler/content/html_name.h"
#include "wkstd/byte_block.h"

namespace wk {
namespace {

constexpr std::string_view handled_tags[] = {"<link ", "<base ",   "<frame ",
                                             "<area ", "<iframe ", "<img "};

size_t find_behind_tag(std::string_view page, size_t at) {
  return std::min(find_byte(page, at, '>') + 1, page.size());
}

// page[at] begins "<script". A tag that closes itself encloses nothing.
size_t find_behind_script(std::string_view page, size_t at) {
  const size_t tag_end = find_behind_tag(page, at);
  if (page.substr(at, tag_end - at).ends_with("/>")) return tag_end;
  const size_t end = find_html_closing_tag(page, tag_end, "script");
  return end == std::string_view::npos ? page.size() : end + 1;
}

bool is_dropped_tag(std::string_view rest) {
  return rest.starts_with("</") ||
         std::any_of(std::begin(handled_tags), std::end(handled_tags),
                     [rest](std::string_view tag) { return rest.starts_with(tag); });
}

// Takes the script comments out of text, in place: what is kept moves to the front.
void remove_script_comments(std::string& text) {
  size_t written = 0;
  for (size_t at = 0; at < text.size();) {
    const size_t slash = find_byte(text, at, '/');
    const char second = slash + 1 < text.size() ? text[slash + 1] : '\0';
    const bool is_comment = second == '/' || second == '*';
    const size_t kept_end = std::min(is_comment ? slash : slash + 1, text.size());
    std::memmove(text.data() + written, text.data() + at, kept_end - at);
    written += kept_end - at;
    at = kept_end;
    if (!is_comment) continue;
    const size_t end = second == '/' ? text.find('\n', slash + 2) : text.find("*/", slash + 2);
    if (end == std::string::npos) break;
    at = second == '/' ? end : end + 2;
  }
  text.resize(written);
}

}  // namespace

void build_reduced_page(std::string& out, std::string_view page) {
  out.clear();
  for (size_t at = find_byte(page, 0, '<'); at < page.size(); at = find_byte(page, at, '<')) {
    const size_t begin = at;
    const std::string_view rest = page.substr(at);
    if (rest.starts_with("<!-- ")) {
      at = find_behind_html_comment(page, at + 2);
      continue;
    }
    at = rest.starts_with("<script") ? find_behind_script(page, at) : find_behind_tag(page, at);
    if (!is_dropped_tag(rest)) out.append(page.substr(begin, at - begin));
  }
}

void build_script_text(std::string& out, std::string_view page) {
  out.clear();
  for (size_t at = 0; at < page.size();) {
    const size_t tag = find_byte(page, at, '<');
    out.append(page.substr(at, tag - at));
    if (tag == page.size()) break;
    at = page.substr(tag, 4) == "<!--" ? find_behind_html_comment(page, tag + 2)
                                       : find_behind_tag(page, tag);
  }
  remove_script_comments(out);
}

}  // namespace wk
