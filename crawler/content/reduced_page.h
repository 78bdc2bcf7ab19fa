// What is left of a page when only scripts and other markup count: the copy that script links are
// looked for in.
#pragma once

#include <string>
#include <string_view>

namespace wk {

// Replaces out by the tags of page, scripts whole with what they enclose. Dropped are text, closing
// tags, comments that begin with a blank, and the tags whose links are found without this copy (in
// lower case, with a blank behind the name). Linear in page.
void build_reduced_page(std::string& out, std::string_view page);

// Replaces out by the text that page holds outside tags and comments, without the script comments
// /* ... */ and // ... in it. Quotes do not protect: "http://h/" is cut at its slashes. A comment
// that has no end runs to the end of the page.
void build_script_text(std::string& out, std::string_view page);

}  // namespace wk
