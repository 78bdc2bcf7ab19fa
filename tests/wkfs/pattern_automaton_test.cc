#include "wkfs/pattern_automaton.h"

#include <gtest/gtest.h>
#include <re2/re2.h>

#include <string>
#include <utility>
#include <vector>

#include "wkfs/pattern_factor.h"

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

}  // namespace
}  // namespace wk
