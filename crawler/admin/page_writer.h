// Writing HTML: text of the program goes in as it stands, values from anywhere else escaped.
//
//   append_page(out, "<p>Added %s.</p>\n", {url});
//
// The format can only be a constant of the program, so no value reaches a page unescaped.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

namespace wk {

// HTML that stands in the program's text: nothing made at run time becomes one.
struct page_text {
  std::string_view text;

  template <size_t SIZE>
  consteval page_text(const char (&literal)[SIZE]) : text(literal, SIZE - 1) {}
};

// Appends the format, each "%s" of it replaced by the next value, escaped. A "%s" without a value
// left gives nothing; every other "%" stands for itself.
void append_page(std::string& out, page_text format,
                 std::initializer_list<std::string_view> values = {});

// Numbers as pages show them: decimal, read as signed.
[[nodiscard]] std::string write_page_number(uint32_t number);

}  // namespace wk
