#include "wkfs/pattern_prefix.h"

#include <cstddef>

namespace wk {
namespace {

constexpr std::string_view ANYTHING = ".*";
constexpr std::string_view OPERATORS = "\\^$.|?*+()[]{}";

bool is_operator(char byte) { return OPERATORS.find(byte) != std::string_view::npos; }

}  // namespace

bool read_pattern_prefix(pattern_prefix& prefix, std::string_view pattern) {
  if (!pattern.ends_with(ANYTHING)) return false;
  pattern.remove_suffix(ANYTHING.size());
  prefix = {};
  for (size_t i = 0; i < pattern.size(); ++i) {
    char byte = pattern[i];
    const bool is_wild = byte == '.';
    if (byte == '\\') {
      // Letters and digits behind a backslash are classes and codes. A last one belongs to ".*".
      if (++i == pattern.size() || !is_operator(pattern[i])) return false;
      byte = pattern[i];
    } else if (!is_wild && is_operator(byte)) {
      return false;
    }
    prefix.bytes += byte;
    prefix.differs_if += static_cast<char>(is_wild ? 0 : 0xFF);
  }
  return true;
}

bool matches_pattern_prefix(const pattern_prefix& prefix, std::string_view text) {
  if (text.size() < prefix.bytes.size()) return false;
  for (size_t i = 0; i < prefix.bytes.size(); ++i) {
    if (((text[i] ^ prefix.bytes[i]) & prefix.differs_if[i]) != 0) return false;
  }
  return true;
}

}  // namespace wk
