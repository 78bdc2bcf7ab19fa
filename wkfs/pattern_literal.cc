#include "wkfs/pattern_literal.h"

namespace wk {
namespace {

constexpr std::string_view ANYTHING = ".*";
constexpr std::string_view EXTENSION_BEGIN = ".*\\.";
constexpr std::string_view EXTENSION_END = "(?:\\?.*)?";
constexpr std::string_view OPERATORS = "\\^$.|?*+()[]{}";

bool is_operator(char byte) { return OPERATORS.find(byte) != std::string_view::npos; }

bool read_symbols(std::u16string& symbols, std::string_view pattern) {
  symbols.clear();
  if (pattern.size() > MAX_LITERAL_BYTES) return false;
  for (size_t i = 0; i < pattern.size(); ++i) {
    if (pattern[i] == '.') {
      symbols += ANY_BYTE;
      continue;
    }
    // Letters and digits behind a backslash are classes and codes; a last one belongs to what the
    // caller took off.
    const bool is_quoted = pattern[i] == '\\';
    if (is_quoted && ++i == pattern.size()) return false;
    if (is_operator(pattern[i]) != is_quoted) return false;
    symbols += static_cast<unsigned char>(pattern[i]);
  }
  return true;
}

bool is_extension(std::u16string_view symbols) {
  return symbols.size() <= MAX_LITERAL_EXTENSION_BYTES &&
         symbols.find(u'.') == std::u16string_view::npos &&
         symbols.find(ANY_BYTE) == std::u16string_view::npos;
}

}  // namespace

bool read_pattern_literal(pattern_literal& literal, std::string_view pattern) {
  if (pattern.starts_with(EXTENSION_BEGIN) && pattern.ends_with(EXTENSION_END) &&
      pattern.size() >= EXTENSION_BEGIN.size() + EXTENSION_END.size()) {
    literal.kind = LITERAL_EXTENSION;
    pattern.remove_prefix(EXTENSION_BEGIN.size());
    pattern.remove_suffix(EXTENSION_END.size());
    return read_symbols(literal.symbols, pattern) && is_extension(literal.symbols);
  }
  literal.kind = LITERAL_WHOLE;
  if (pattern.ends_with(ANYTHING)) {
    literal.kind = LITERAL_PREFIX;
    pattern.remove_suffix(ANYTHING.size());
  }
  return read_symbols(literal.symbols, pattern);
}

}  // namespace wk
