// Rewriting texts by a list of patterns and what takes the place of their matches.
//
// A list never changes once it is built. Patterns are in RE2 syntax over bytes; in a target \0 to
// \9 stand for the match and its groups, and "\\" for a backslash. Threads: any number at once.
#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace wk {

struct pattern_substitutions;
struct destroy_pattern_substitutions {
  void operator()(pattern_substitutions* list) const;
};
using pattern_substitutions_ptr =
    std::unique_ptr<pattern_substitutions, destroy_pattern_substitutions>;

[[nodiscard]] pattern_substitutions_ptr create_pattern_substitutions();
// False, with the reason in fault, when source does not compile or target names a group that source
// does not have; the pair is left out then.
[[nodiscard]] bool add_pattern_substitution(pattern_substitutions& list, const std::string& source,
                                            const std::string& target, std::string& fault);
// The first pair whose source matches anywhere in text replaces the leftmost match. True when one
// did.
bool substitute_pattern(const pattern_substitutions& list, std::string& text);

}  // namespace wk
