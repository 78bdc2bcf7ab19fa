// HTML character references that pages leave in their links.
#pragma once

#include <string>

namespace wk {

// Decodes the five named and the decimal references in place and deletes unknown named ones. A text
// without "&" costs one search.
void decode_url_entities(std::string& text);

}  // namespace wk
