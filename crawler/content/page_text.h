// The visible text of an HTML page: what two pages are compared by.
#pragma once

#include <string>
#include <string_view>

namespace wk {

// Replaces out by page without tags, comments, scripts, style sheets and "&nbsp;". Linear in page.
void build_page_text(std::string& out, std::string_view page);

}  // namespace wk
