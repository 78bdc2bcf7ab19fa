#include "wkfs/pattern_substitution.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace wk {
namespace {

using pairs = std::vector<std::pair<std::string, std::string>>;

TEST(substitute_pattern, lets_the_first_pair_that_matches_replace_the_leftmost_match) {
  const std::tuple<pairs, std::string, std::string, bool> cases[] = {
      {{}, "http://a/", "http://a/", false},
      {{{"sid=[0-9]+", "sid=0"}}, "http://a/?sid=12&sid=34", "http://a/?sid=0&sid=34", true},
      {{{"none", "x"}, {"a", "b"}, {"b", "c"}}, "http://a/", "http://b/", true},
      {{{"^http://([^/]*)/(.*)$", "\\2/\\1?\\0"}}, "http://h/p", "p/h?http://h/p", true},
      {{{"x", ""}}, "axb", "ab", true},
      {{{"\xe4", "oe"}}, "\xff\xe4", "\xffoe", true},
  };
  for (const auto& [list, text, expected, changed] : cases) {
    const pattern_substitutions_ptr substitutions = create_pattern_substitutions();
    std::string fault;
    for (const auto& [source, target] : list) {
      EXPECT_TRUE(add_pattern_substitution(*substitutions, source, target, fault)) << fault;
    }
    std::string result = text;
    EXPECT_EQ(substitute_pattern(*substitutions, result), changed);
    EXPECT_EQ(result, expected);
  }
}

TEST(add_pattern_substitution, leaves_out_what_does_not_compile) {
  const pattern_substitutions_ptr list = create_pattern_substitutions();
  for (const auto& [source, target] : pairs{{"(", "x"}, {"a", "\\1"}, {"a", "\\x"}}) {
    std::string fault;
    EXPECT_FALSE(add_pattern_substitution(*list, source, target, fault)) << source;
    EXPECT_NE(fault, "");
  }
  std::string text = "a(";
  EXPECT_FALSE(substitute_pattern(*list, text));
}

}  // namespace
}  // namespace wk
