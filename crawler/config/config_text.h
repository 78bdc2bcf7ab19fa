// A profile as text that loses nothing, for the crawler's image.
//
//   line   the name of a field, a blank, its value, a line feed
//
// In a value "\\" stands for a backslash, "\n" for a line feed and "\t" for a tab. A list is a line
// for each of its rows, in order; the columns of a row are separated by tabs. A field without a
// line has its default.
#pragma once

#include <string>
#include <string_view>

#include "crawler/config/crawler_config.h"

namespace wk {

void write_config_text(const config_values& config, std::string& out);  // replaces out
// False, and config is left alone, for text with a line that is none of the above.
[[nodiscard]] bool read_config_text(std::string_view text, config_values& config);

}  // namespace wk
