// Links in what a page does when it is clicked on: event handlers and "javascript:" addresses.
#pragma once

#include <string>
#include <string_view>

#include "crawler/content/link_gatherer.h"

namespace wk {

// Of each tag the last of onclick=, onmouse...=, href="javascript: and href='javascript: counts; of
// its value every quoted text that looks like a page is a link, in lower case. scratch is room to
// work in. Linear in page.
void add_event_links(std::string_view page, std::string& scratch, link_gatherer& gatherer);

}  // namespace wk
