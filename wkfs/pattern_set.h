// Many patterns: does any of them match a whole text?
//
// Patterns are in RE2 syntax over bytes (wkfs/pattern_automaton.h). Those that are plain text are
// looked up, the others are run in automata of some ten thousand each. A set never changes: an
// addition answers another set, which shares what is untouched and compiles only what was added of
// late, so that one pattern beside a million costs milliseconds. Threads: any number may match in
// one set, and another one build on it meanwhile.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace wk {

// Steps of all automata of a set: some 200,000 patterns of a usual length.
constexpr uint64_t MAX_PATTERN_SET_STEPS = 8'000'000;

struct listed_pattern {
  std::string text;
  uint32_t nb_steps = 0;  // measure_pattern; 0 for a literal (wkfs/pattern_literal.h)
};
// False for what does not compile; fault, when not null, receives the reason then.
[[nodiscard]] bool read_listed_pattern(listed_pattern& pattern, std::string_view text,
                                       std::string* fault = nullptr);

struct pattern_set_part;
struct pattern_set {
  std::vector<std::shared_ptr<const pattern_set_part>> parts;  // in the order of their patterns
};

// Puts the set of all patterns into set, which is of the first of them, in the same order. False,
// and set is what it was, when together they are too large, and when stop (may be null) was set
// meanwhile.
[[nodiscard]] bool extend_pattern_set(pattern_set& set, std::span<const listed_pattern> patterns,
                                      const std::atomic<uint32_t>* stop = nullptr);

[[nodiscard]] bool matches_pattern_set(const pattern_set& set, std::string_view text);

}  // namespace wk
