// Tests and conversions on text as bytes: no locale, no character set; letters are ASCII letters.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <string>
#include <string_view>

namespace wk {

// A text made as printf makes it. %s takes NUL-terminated text; for bytes use "%.*s" or append.
[[nodiscard]] std::string format_text(const char* format, ...)
    __attribute__((format(printf, 1, 2)));
void append_formatted_text(std::string& out, const char* format, ...)
    __attribute__((format(printf, 2, 3)));

// Space, line feed, carriage return or tab: what separates the parts of a tag or a header.
[[nodiscard]] constexpr bool is_blank(unsigned char c) {
  return c == ' ' || c == '\n' || c == '\r' || c == '\t';
}
[[nodiscard]] constexpr bool is_digit(unsigned char c) { return c >= '0' && c <= '9'; }
[[nodiscard]] constexpr bool is_letter(unsigned char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
[[nodiscard]] constexpr char to_lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

void lower_text(std::string& text);
[[nodiscard]] std::string_view trim_blanks(std::string_view text);  // at both ends

[[nodiscard]] bool equals_ignoring_case(std::string_view a, std::string_view b);
[[nodiscard]] bool starts_with_ignoring_case(std::string_view text, std::string_view prefix);
// The place of the first match at or after from, or npos. needle must be in lower case.
[[nodiscard]] size_t find_ignoring_case(std::string_view text, std::string_view needle,
                                        size_t from = 0);

// The number that text begins with, as atol reads it: blanks, a sign, digits; 0 without a digit.
// A value beyond 32 bits ends at the nearest limit.
[[nodiscard]] int32_t parse_integer(std::string_view text);
// The number that the leading digits spell, at most 4294967295; 0 without a digit.
[[nodiscard]] uint32_t parse_unsigned(std::string_view text);

}  // namespace wk
