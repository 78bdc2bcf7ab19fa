// Patterns that say a text byte for byte: plain bytes, and "." for any byte.
//
//   http://www.example.org/.*     LITERAL_PREFIX     a text begins with it
//   http://www\.example\.org/a    LITERAL_WHOLE      a text is it
//   .*\.pdf(?:\?.*)?              LITERAL_EXTENSION  a text ends in "." and it, or holds both and
//   "?"
//
// Nearly every filter is of these kinds. They are valid by inspection, and a text is compared with
// any number of them at once (wkfs/literal_index.h), which no automaton does.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace wk {

enum pattern_literal_kind : uint32_t {
  LITERAL_PREFIX = 0,
  LITERAL_WHOLE = 1,
  LITERAL_EXTENSION = 2,  // without the "." before it; holds neither "." nor ANY_BYTE
};

constexpr char16_t ANY_BYTE = 0x100;  // behind all bytes

struct pattern_literal {
  pattern_literal_kind kind = LITERAL_WHOLE;
  std::u16string symbols;  // bytes, 0 to 255, and ANY_BYTE
};

// Longer patterns, and longer extensions, are left to an automaton.
constexpr size_t MAX_LITERAL_BYTES = 4'096;
constexpr size_t MAX_LITERAL_EXTENSION_BYTES = 64;

// False for a pattern (RE2 syntax) of any other kind, and for one that is none.
[[nodiscard]] bool read_pattern_literal(pattern_literal& literal, std::string_view pattern);

}  // namespace wk
