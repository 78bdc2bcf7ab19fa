// Walks over the visible text of an HTML page, one unbroken run of bytes after the other.
#pragma once

#include <cstddef>
#include <string_view>

namespace wk {

// Dropped are tags, comments, scripts and style sheets, each with all they enclose, and "&nbsp;"
// with or without its semicolon. One that has no end runs to the end of the page. Nothing else
// changes: other character references and white space are text as they stand, NUL bytes too.
struct page_text_scan {
  std::string_view page;
  size_t at = 0;
};

// The next run, a part of the page that is not empty. False at the end.
[[nodiscard]] bool find_next_page_text(page_text_scan& scan, std::string_view& run);

}  // namespace wk
