#include <gtest/gtest.h>
#include <re2/re2.h>

#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "wkfs/pattern_automaton.h"
#include "wkfs/pattern_factor.h"
#include "wkfs/pattern_substitution.h"

namespace wk {
namespace {

TEST(factor_patterns, writes_a_common_beginning_once) {
  const std::pair<std::vector<std::string>, const char*> cases[] = {
      {{".*cat", ".*car"}, ".*ca(?:r|t)"},
      {{"a"}, "a"},
      {{"ab", "a", "ab"}, "a(?:|b)"},
      {{"a+?x", "a+y"}, "(?:a+y|a+?x)"},
      {{"[]a]*x", "[]a]*y"}, "[]a]*(?:x|y)"},
      {{"(?:a|b)c", "(?:a|b)d"}, "(?:a|b)(?:c|d)"},
      {{"\\x41a", "\\x41b", "\\x{41}c"}, "(?:\\x41(?:a|b)|\\x{41}c)"},
      {{"ab|ac", "ad"}, "(?:ab|ac)|ad"},
      {{"(?i)ab", "ac"}, "(?:(?i)ab)|ac"},
      {{"a{2,3}x", "a{2,3}y", "a{2"}, "(?:a{2|a{2,3}(?:x|y))"},
  };
  for (const auto& [patterns, factored] : cases) EXPECT_EQ(factor_patterns(patterns), factored);
}

// Hard patterns answer together as they do one by one.
TEST(matches_pattern_automaton, agrees_with_each_pattern_on_its_own) {
  const std::vector<std::string> patterns = {
      "a.*",       "a|b.*",     "(?i)aB+",  "\\Qa|b\\E", "[a\\]|(]+",         "a{1,2}b",
      "(?P<n>a)b", "(?P<n>a)c", "\\x61\\.", "a\\|b",     "[[:alpha:]|]b",     "(a(b|c))*d",
      "",          ".*\\.b",    "a{,2}",    "\xe9.",     "(?:a[)]|[^(]b\\))", "\\101",
      "[]|(]b",    "[^]|]c",    "\\Qab\\E"};
  const std::string texts[] = {"",    "A",  "a|b", "a.",  "ab",    "ac",
                               "aab", "]b", "a)",  "cb)", "abacd", "\xe9\n"};
  re2::RE2::Options bytes;
  bytes.set_encoding(re2::RE2::Options::EncodingLatin1);
  bytes.set_dot_nl(true);
  for (const std::string& first : patterns) {
    for (const std::string& second : patterns) {
      const pattern_automaton_ptr both = compile_pattern_automaton(std::vector{first, second});
      ASSERT_NE(both, nullptr) << first << " and " << second;
      const re2::RE2 one(first, bytes), other(second, bytes);
      for (const std::string& text : texts) {
        EXPECT_EQ(matches_pattern_automaton(*both, text),
                  re2::RE2::FullMatch(text, one) || re2::RE2::FullMatch(text, other))
            << first << " and " << second << " on " << testing::PrintToString(text);
      }
    }
  }
}

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
