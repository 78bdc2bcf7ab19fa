// A feed as plain XML: elements and text, nothing else.
//
// XML readers spend the square of a tag's attributes and of a comment's dashes, and follow what a
// document type declares. A feed of 256 KiB keeps one busy for ten seconds, a larger one for hours.
// None of this carries item links, so none of it reaches the reader.
#pragma once

#include <string>
#include <string_view>

namespace wk {

// Replaces out by feed without attributes, comments, processing instructions and document type; a
// ":" in a name becomes "_". What breaks many feeds is mended: an "&" or "<" that stands for itself
// is written as XML wants it, a reference to an entity that XML does not know is left out. The
// character set is the declared one if it is an extension of ASCII known to be one, UTF-8 when none
// is declared, and ISO-8859-1 otherwise, which leaves ASCII text right. Linear in feed.
void build_plain_feed(std::string& out, std::string_view feed);

}  // namespace wk
