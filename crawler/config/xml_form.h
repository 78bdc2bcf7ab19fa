// Whether a text is XML as a strict reader takes it: what pugixml, which reads on over many faults,
// is asked behind.
//
// XML 1.0, fifth edition, without validation and without a look at namespaces. A document type may
// name a DTD, which nobody loads, and declare internal general entities, which nothing may use:
// they are not expanded here. Bounds, those of libxml2: elements 257 deep, names of 50,000 bytes,
// texts of 10,000,000. Time grows with the text, not with its square.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace wk {

struct xml_form_fault {
  size_t line = 0;   // from 1
  std::string text;  // one line
};

// text is UTF-8 without a byte order mark. On false fault tells the first fault.
[[nodiscard]] bool check_xml_form(std::string_view text, xml_form_fault& fault);

}  // namespace wk
