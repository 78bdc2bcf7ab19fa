#include "crawler/content/html_scan.h"

#include <algorithm>
#include <array>
#include <bit>

#include "crawler/content/attribute_value.h"
#include "crawler/content/html_name.h"
#include "wkstd/byte_block.h"
#include "wkstd/text.h"

namespace wk {
namespace {

struct link_tag {
  std::string_view name;
  std::string_view attribute;
  bool is_base;
};

constexpr link_tag link_tags[] = {
    {"link", "href", false}, {"base", "href", true},   {"frame", "src", false},
    {"area", "href", false}, {"iframe", "src", false}, {"img", "src", false},
    {"embed", "src", false},
};
// The search begins at the white space behind the name, and the blank is part of what is searched:
// a tab alone before href hides it.
constexpr link_tag anchor_tag = {"a", " href", false};

bool is_blank_at(std::string_view text, size_t at) {
  return at < text.size() && is_blank(static_cast<unsigned char>(text[at]));
}

void stop_html_scan(html_scan& scan, html_scan_fault fault) {
  scan.at = scan.text.size();
  scan.fault = fault;
}

// scan.at stands on the first dash of "<!--", and the search begins with it: "<!-->" is a comment.
// The end is two dashes, any white space, ">"; scanning goes on two bytes behind that ">" (or
// behind the last dash of a comment without end).
void skip_html_comment(html_scan& scan) {
  const std::string_view text = scan.text;
  size_t last_dash = scan.at;
  for (size_t dash = scan.at; dash < text.size(); dash = find_byte(text, dash + 1, '-')) {
    last_dash = dash;
    if (dash + 1 == text.size()) return stop_html_scan(scan, HTML_SCAN_OPEN_COMMENT);
    if (text[dash + 1] != '-') continue;
    size_t end = dash + 2;
    while (is_blank_at(text, end)) ++end;
    if (end < text.size() && text[end] == '>') {
      scan.at = std::min(end + 2, text.size());
      return;
    }
  }
  scan.at = std::min(last_dash + 2, text.size());
}

// Scanning goes on at the ">" of the closing tag.
void skip_html_element(html_scan& scan, std::string_view name, html_scan_fault fault) {
  const size_t end = find_html_closing_tag(scan.text, scan.at + name.size(), name);
  if (end == std::string_view::npos) return stop_html_scan(scan, fault);
  scan.at = end;
}

// The place right behind the attribute's name, or of the ">" that comes before it, or the end of
// the text. The first two bytes of the name are searched sixteen places at once.
size_t find_html_attribute(std::string_view text, size_t from, std::string_view name, bool& found) {
  found = false;
  size_t at = from;
  for (; at + BYTE_BLOCK_SIZE < text.size(); at += BYTE_BLOCK_SIZE) {
    const byte_block block = load_byte_block(text.data() + at);
    const byte_block next = load_byte_block(text.data() + at + 1);
    const uint32_t ends = match_byte_block(block, '>');
    uint32_t starts = match_byte_block(lower_byte_block(block), name[0]) &
                      match_byte_block(lower_byte_block(next), name[1]);
    if (ends != 0) starts &= (ends & (~ends + 1)) - 1;  // only those before the first ">"
    for (; starts != 0; starts &= starts - 1) {
      const size_t start = at + static_cast<size_t>(std::countr_zero(starts));
      found = is_html_name_at(text, start, name);
      if (found) return start + name.size();
    }
    if (ends != 0) return at + static_cast<size_t>(std::countr_zero(ends));
  }
  for (; at < text.size() && text[at] != '>'; ++at) {
    found = is_html_name_at(text, at, name);
    if (found) return at + name.size();
  }
  return at;
}

// scan.at stands behind the tag's name.
bool read_html_link(html_scan& scan, const link_tag& tag, html_link& link) {
  bool found = false;
  scan.at = find_html_attribute(scan.text, scan.at, tag.attribute, found);
  if (!found) return false;
  link.is_base = tag.is_base;
  return read_attribute_value(scan.text, scan.at, link.value);
}

// scan.at stands behind "<", name at the first byte of the tag that is not white space. True when
// the tag gives a link; scan.at stands where scanning goes on.
bool scan_html_tag(html_scan& scan, size_t name, html_link& link) {
  const std::string_view text = scan.text;
  const char first = static_cast<char>(text[name] | 0x20);
  if (first == 'a' && is_blank_at(text, name + 1)) {
    scan.at = name + 1;
    return read_html_link(scan, anchor_tag, link);
  }
  for (const link_tag& tag : link_tags) {
    if (first != tag.name[0] || !is_html_name_at(text, name, tag.name)) continue;
    scan.at = name + tag.name.size();
    return read_html_link(scan, tag, link);
  }
  if (is_html_name_at(text, name, "script")) {
    scan.at = name;
    skip_html_element(scan, "script", HTML_SCAN_OPEN_SCRIPT);
  } else if (is_html_name_at(text, name, "style")) {
    scan.at = name;
    skip_html_element(scan, "style", HTML_SCAN_OPEN_STYLE);
  }
  return false;
}

// Bytes behind "<" that something may come of: the first letters of known tags, white space, and
// "!". Behind any other the scan goes on at once, as it does for the tags that close.
constexpr std::array<bool, 256> build_interesting_bytes() {
  std::array<bool, 256> bytes{};
  for (const char c : {'a', 'b', 'e', 'f', 'i', 'l', 's'}) {
    bytes[static_cast<unsigned char>(c)] = true;
    bytes[static_cast<unsigned char>(c & ~0x20)] = true;
  }
  for (size_t c = 0; c < bytes.size(); ++c) bytes[c] |= is_blank(static_cast<unsigned char>(c));
  bytes['!'] = true;
  return bytes;
}
constexpr std::array<bool, 256> INTERESTING = build_interesting_bytes();

bool is_interesting(char byte) { return INTERESTING[static_cast<unsigned char>(byte)]; }

// The place behind the next "<" that an interesting byte follows; the end of the text when there is
// none.
size_t find_behind_bracket(std::string_view text, size_t from) {
  size_t at = from;
  for (; at + BYTE_BLOCK_SIZE < text.size(); at += BYTE_BLOCK_SIZE) {
    uint32_t brackets = match_byte_block(load_byte_block(text.data() + at), '<');
    if (brackets == 0) continue;
    brackets &= ~match_byte_block(load_byte_block(text.data() + at + 1), '/');
    for (; brackets != 0; brackets &= brackets - 1) {
      const size_t behind = at + static_cast<size_t>(std::countr_zero(brackets)) + 1;
      if (is_interesting(text[behind])) return behind;
    }
  }
  for (; at + 1 < text.size(); ++at) {
    if (text[at] == '<' && is_interesting(text[at + 1])) return at + 1;
  }
  return text.size();
}

}  // namespace

html_scan start_html_scan(std::string_view page) {
  return {.text = page.substr(0, find_byte(page, 0, '\0'))};
}

bool find_next_html_link(html_scan& scan, html_link& link) {
  const std::string_view text = scan.text;
  for (;;) {
    scan.at = find_behind_bracket(text, scan.at);
    if (scan.at == text.size()) return false;
    if (text[scan.at] == '!') {
      if (text.substr(scan.at + 1, 2) == "--") {
        ++scan.at;
        skip_html_comment(scan);
      } else {
        scan.at = std::min(scan.at + 2, text.size());
      }
      continue;
    }
    size_t name = scan.at;
    while (is_blank_at(text, name)) ++name;
    if (name < text.size() && scan_html_tag(scan, name, link)) return true;
  }
}

}  // namespace wk
