// The bytes of an XML file as UTF-8, whichever encoding they are in.
#pragma once

#include <string>

namespace wk {

// Converts UTF-16, Latin-1 and ASCII, as a byte order mark or the XML declaration says they are;
// what says nothing is UTF-8. A byte order mark goes. False, with bytes left alone, for another
// encoding and for bytes that are not in theirs; fault is one line. UTF-8 itself is not looked at.
[[nodiscard]] bool convert_xml_to_utf8(std::string& bytes, std::string& fault);

}  // namespace wk
