// In which line of an XML file an attribute stands, or a tag begins: the parser only tells the line
// in which a start tag ends.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace wk {

struct tag_lines {
  std::string bytes;
  std::vector<size_t> begins;  // offset of each line
};

// Without a line when the file can't be read or is too large.
[[nodiscard]] tag_lines load_tag_lines(const std::string& path);
// The line, from 1, of the attribute in the start tag of element that ends in line tag_end; of the
// tag's begin when attribute is empty or not seen. tag_end when neither is seen there or in the 100
// lines before, as in a file of 16-bit characters.
[[nodiscard]] size_t find_line_tag_lines(const tag_lines& lines, size_t tag_end,
                                         std::string_view element, std::string_view attribute);

}  // namespace wk
