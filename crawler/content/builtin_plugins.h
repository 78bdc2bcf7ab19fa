// The two content plug-ins that need no other program.
#pragma once

#include <cstdint>

#include "crawler/content/crawler_content_plugin.h"

namespace wk {

// Takes every document for raw bytes with one certainty; converts by copying.
void add_raw_plugin(crawler_content_plugin& set, uint8_t certainty);

// Knows HTML and XHTML by MIME type and by the marks at the start of a page; converts by copying.
void add_html_plugin(crawler_content_plugin& set);

}  // namespace wk
