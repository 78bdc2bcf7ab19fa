// Many patterns written as one, with what they begin with in common written once.
//
//   factor_patterns({".*cat", ".*car"})    ".*ca(?:r|t)"
//
// A state of an automaton is the set of places that its patterns may have come to. Ten thousand
// patterns that begin with ".*" have ten thousand places after each byte; the factored pattern has
// one for all of them, which makes states small, few and quick to find.
#pragma once

#include <span>
#include <string>

namespace wk {

// One pattern in RE2 syntax that matches a whole text when any of patterns does. Each of them is
// valid by itself. The result may be beyond what RE2 compiles in its nesting or its groups' names.
[[nodiscard]] std::string factor_patterns(std::span<const std::string> patterns);

}  // namespace wk
