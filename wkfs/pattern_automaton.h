// Many patterns in one automaton: does any of them match a whole text?
//
// Patterns are in RE2 syntax; "." stands for any byte and a text is bytes (Latin-1), so every byte
// is a symbol. An automaton never changes once it is compiled. A match costs time linear in the
// text, whatever the patterns and their number. Threads: any number may match in one automaton at
// once.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace wk {

// Memory that an automaton may take while it matches. Past it a match still gives the right answer,
// more slowly.
constexpr int64_t PATTERN_AUTOMATON_BYTES = 256 << 20;

struct pattern_automaton;
struct destroy_pattern_automaton {
  void operator()(const pattern_automaton* automaton) const;
};
using pattern_automaton_ptr = std::shared_ptr<const pattern_automaton>;

// The number of steps of a program that matches pattern, 1 or more; 0 when it does not compile.
// fault, when not null, receives the reason then.
[[nodiscard]] uint32_t measure_pattern(std::string_view pattern, std::string* fault = nullptr);

// Every pattern must compile by itself. Null for no patterns, and when they do not fit into one
// automaton. Time grows faster than their number: 10,000 take half a second, 50,000 ten.
[[nodiscard]] pattern_automaton_ptr compile_pattern_automaton(
    std::span<const std::string> patterns);

[[nodiscard]] bool matches_pattern_automaton(const pattern_automaton& automaton,
                                             std::string_view text);

}  // namespace wk
