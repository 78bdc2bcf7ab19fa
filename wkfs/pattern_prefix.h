// Patterns that only say how a text begins: plain bytes and "." for any byte, with ".*" at the end.
//
//   http://www.example.org/.*
//
// Nearly every filter that keeps a crawl on its sites is of this kind, and comparing some bytes is
// ten times faster than running an automaton over the whole text.
#pragma once

#include <string>
#include <string_view>

namespace wk {

struct pattern_prefix {
  std::string bytes;
  std::string differs_if;  // for each byte the bits that count: 0xFF, or 0 where "." stands
};

// False for a pattern (RE2 syntax, valid) of any other kind.
[[nodiscard]] bool read_pattern_prefix(pattern_prefix& prefix, std::string_view pattern);
[[nodiscard]] bool matches_pattern_prefix(const pattern_prefix& prefix, std::string_view text);

}  // namespace wk
