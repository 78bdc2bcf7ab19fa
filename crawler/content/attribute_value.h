// The value of an attribute, read from right behind the attribute's name.
#pragma once

#include <cstddef>
#include <string_view>

namespace wk {

// Reads the value that follows text[at]: after any run of blanks and "=", up to its closing quote,
// or without quotes up to ">" or white space. value is trimmed and lies inside text.
//
// at moves to where scanning goes on: behind the delimiter when there is a value. False when the
// value is empty or the text ends first; at then stands on the byte that stopped the reading.
[[nodiscard]] bool read_attribute_value(std::string_view text, size_t& at, std::string_view& value);

}  // namespace wk
