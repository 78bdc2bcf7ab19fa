// Bytes of unknown origin as parts of texts that are UTF-8.
//
// What is valid UTF-8 (RFC 3629) stays; every other byte is taken for Latin-1, so that nothing is
// lost and the text stays readable.
#pragma once

#include <string>
#include <string_view>

namespace wk {

// With the quotes around it (RFC 8259, section 7).
void append_json_string(std::string& out, std::string_view bytes);
// With the quotes around it, as the text exposition format writes a label's value.
void append_label_value(std::string& out, std::string_view bytes);

}  // namespace wk
