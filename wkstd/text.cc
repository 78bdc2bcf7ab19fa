#include "wkstd/text.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <limits>

namespace wk {
namespace {

__attribute__((format(printf, 2, 0))) void append_formatted_list(std::string& out,
                                                                 const char* format,
                                                                 va_list arguments) {
  char small[512];
  va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(small, sizeof small, format, arguments);
  if (length < 0) {
    // An encoding fault cannot happen with byte conversions; the text stays as it was.
  } else if (static_cast<size_t>(length) < sizeof small) {
    out.append(small, static_cast<size_t>(length));
  } else {
    const size_t before = out.size();
    out.resize(before + static_cast<size_t>(length) + 1);
    std::vsnprintf(out.data() + before, static_cast<size_t>(length) + 1, format, again);
    out.pop_back();
  }
  va_end(again);
}

}  // namespace

std::string format_text(const char* format, ...) {
  std::string out;
  va_list arguments;
  va_start(arguments, format);
  append_formatted_list(out, format, arguments);
  va_end(arguments);
  return out;
}

void append_formatted_text(std::string& out, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  append_formatted_list(out, format, arguments);
  va_end(arguments);
}

void lower_text(std::string& text) {
  for (char& c : text) c = to_lower(c);
}

std::string_view trim_blanks(std::string_view text) {
  while (!text.empty() && is_blank(static_cast<unsigned char>(text.front()))) text.remove_prefix(1);
  while (!text.empty() && is_blank(static_cast<unsigned char>(text.back()))) text.remove_suffix(1);
  return text;
}

bool equals_ignoring_case(std::string_view a, std::string_view b) {
  return a.size() == b.size() && starts_with_ignoring_case(a, b);
}

bool starts_with_ignoring_case(std::string_view text, std::string_view prefix) {
  if (text.size() < prefix.size()) return false;
  for (size_t i = 0; i < prefix.size(); ++i) {
    if (to_lower(text[i]) != to_lower(prefix[i])) return false;
  }
  return true;
}

size_t find_ignoring_case(std::string_view text, std::string_view needle, size_t from) {
  if (from > text.size()) return std::string_view::npos;
  const auto same = [](char a, char b) { return to_lower(a) == b; };
  const auto at = std::search(text.begin() + static_cast<ptrdiff_t>(from), text.end(),
                              needle.begin(), needle.end(), same);
  if (at == text.end() && !needle.empty()) return std::string_view::npos;
  return static_cast<size_t>(at - text.begin());
}

int32_t parse_integer(std::string_view text) {
  size_t i = 0;
  while (i < text.size() &&
         (is_blank(static_cast<unsigned char>(text[i])) || text[i] == '\v' || text[i] == '\f')) {
    ++i;
  }
  const bool negative = i < text.size() && text[i] == '-';
  if (i < text.size() && (text[i] == '-' || text[i] == '+')) ++i;
  const int64_t value = parse_unsigned(text.substr(i));
  const int64_t limited = negative ? -value : value;
  return static_cast<int32_t>(std::clamp<int64_t>(limited, std::numeric_limits<int32_t>::min(),
                                                  std::numeric_limits<int32_t>::max()));
}

uint32_t parse_unsigned(std::string_view text) {
  uint64_t value = 0;
  for (const char c : text) {
    if (!is_digit(static_cast<unsigned char>(c))) break;
    value = value * 10 + static_cast<uint64_t>(c - '0');
    if (value > std::numeric_limits<uint32_t>::max()) return std::numeric_limits<uint32_t>::max();
  }
  return static_cast<uint32_t>(value);
}

}  // namespace wk
