// Quoted texts in scripts, and which of them look like the address of a page.
#pragma once

#include <cstddef>
#include <string_view>

namespace wk {

// The next text between two single or two double quotes of one line, at or behind at, which moves
// behind the closing one. There are no escapes, and a quote without a partner in its line is passed
// over: it says nothing about the lines that follow. False at the end of the text. Linear in text.
[[nodiscard]] bool find_next_literal(std::string_view text, size_t& at, std::string_view& literal);

// A script's texts are taken for links when they begin with a letter or a digit and end with "/" or
// hold a page's extension (".htm", ".php", ".pl" ..., anywhere) or a scheme with more behind it.
[[nodiscard]] bool is_page_link(std::string_view text);

}  // namespace wk
