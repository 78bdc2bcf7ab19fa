// The item links of an RSS feed (0.91, 1.0, 2.0).
#pragma once

#include <string>
#include <string_view>

#include "crawler/content/link_gatherer.h"

namespace wk {

// Gathers the text of every "link" element inside an "item" element, in document order: an absolute
// URL as it stands, any other resolved against the gatherer's base. Broken XML is mended as well as
// it goes; of a feed of more than 2 MiB the links in front of a fault in its elements count.
// Nothing outside the feed is read, no entity but those of XML itself is replaced. plain is room to
// work in.
void add_feed_links(std::string_view feed, std::string& plain, link_gatherer& gatherer);

}  // namespace wk
