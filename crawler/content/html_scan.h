// A small left-to-right scanner that finds link values in HTML: no parser, no tree, no copy.
//
// It knows the tags a, link, base, frame, area, iframe, img and embed, skips comments, scripts and
// style sheets, and takes everything else as text. Its view of a page is coarse on purpose: quoting
// is not respected while an attribute is looked for ("src" is found in data-src too), a tag name is
// a prefix ("frameset" is a frame), and the byte directly behind a comment is never looked at, so a
// tag that begins there is passed over.
//
// Every byte is looked at a bounded number of times whatever the page holds: a search that finds
// nothing runs to the end of the text and ends the scan.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace wk {

enum html_scan_fault : uint32_t {
  HTML_SCAN_SOUND = 0,
  HTML_SCAN_OPEN_COMMENT = 1,  // the text ends inside a comment, in a dash
  HTML_SCAN_OPEN_SCRIPT = 2,   // no closing tag of a script
  HTML_SCAN_OPEN_STYLE = 3,    // no closing tag of a style sheet
};

struct html_scan {
  std::string_view text;  // the page up to its first NUL byte
  size_t at = 0;          // next byte to look at; at most text.size()
  html_scan_fault fault = HTML_SCAN_SOUND;
};

struct html_link {
  std::string_view value;  // trimmed, not empty, inside the page
  bool is_base = false;    // from a base tag
};

[[nodiscard]] html_scan start_html_scan(std::string_view page);
// The next link value. False at the end of the page or at a fault, which ends the scan.
[[nodiscard]] bool find_next_html_link(html_scan& scan, html_link& link);

}  // namespace wk
