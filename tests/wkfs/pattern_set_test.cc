#include "wkfs/pattern_set.h"

#include <gtest/gtest.h>
#include <re2/re2.h>

#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace wk {
namespace {

std::vector<listed_pattern> read_all(const std::vector<std::string>& texts) {
  std::vector<listed_pattern> patterns(texts.size());
  for (size_t i = 0; i < texts.size(); ++i) {
    EXPECT_TRUE(read_listed_pattern(patterns[i], texts[i])) << texts[i];
  }
  return patterns;
}

// Made up patterns of every kind that is looked up, and of some that are run.
struct pattern_source {
  std::mt19937 random{20'000};

  size_t draw(size_t below) { return random() % below; }
  std::string draw_pieces(const std::vector<std::string>& pieces, size_t nb_max,
                          size_t nb_min = 0) {
    std::string text;
    for (size_t i = nb_min + draw(nb_max - nb_min + 1); i > 0; --i)
      text += pieces[draw(pieces.size())];
    return text;
  }
  std::string draw_text(size_t nb_max) {
    return draw_pieces({"a", "b", ".", "?", "\n", std::string(1, '\0'), "\xff"}, nb_max);
  }
  std::string draw_literal(size_t nb_max, size_t nb_min = 0) {
    return draw_pieces({"a", "b", ".", "\\.", "\\?", "\n", std::string(1, '\0'), "\xff"}, nb_max,
                       nb_min);
  }
  // What a literal pattern matches, or nearly.
  std::string draw_text_near(std::string_view pattern) {
    std::string text;
    for (size_t i = 0; i < pattern.size() && pattern.substr(i) != ".*"; ++i) {
      if (pattern[i] == '\\' && i + 1 < pattern.size()) {
        text += pattern[++i];
      } else {
        text += pattern[i] == '.' ? "ab.?"[draw(4)] : pattern[i];
      }
    }
    if (!text.empty() && draw(2) == 0) text[draw(text.size())] = 'b';
    return text;
  }
  // Of many patterns, short ones would match every text.
  std::string draw_pattern(size_t nb_max, bool is_one_of_many) {
    if (is_one_of_many) return draw_literal(nb_max, 12) + (draw(4) == 0 ? "" : ".*");
    switch (draw(8)) {
      case 0:
        return ".*\\." + draw_literal(3) + "(?:\\?.*)?";
      case 1:
        return draw_pieces({"a", "b", ".", "[^a]", "a*", "(?:a|b\\.)", "b+", "\\n", "^", "$"}, 5);
      case 2:
        return draw_literal(nb_max);
      default:
        return draw_literal(nb_max) + ".*";
    }
  }
};

// However patterns come into a set, it answers as each of them by itself.
TEST(matches_pattern_set, agrees_with_each_pattern_on_its_own) {
  re2::RE2::Options bytes;
  bytes.set_encoding(re2::RE2::Options::EncodingLatin1);
  bytes.set_dot_nl(true);
  pattern_source source;
  for (const size_t nb_patterns : {1, 2, 5, 5, 5, 20, 20, 700}) {
    const bool is_many = nb_patterns > 20;
    const size_t nb_max = is_many ? 40 : 8;
    for (int round = 0; round < (is_many ? 3 : 20); ++round) {
      std::vector<std::string> texts;
      for (size_t i = 0; i < nb_patterns; ++i)
        texts.push_back(source.draw_pattern(nb_max, is_many));
      const std::vector<listed_pattern> patterns = read_all(texts);
      pattern_set set;
      for (size_t nb_added = 0; nb_added < patterns.size();) {
        nb_added += 1 + source.draw(patterns.size() - nb_added);
        ASSERT_TRUE(extend_pattern_set(set, std::span(patterns).first(nb_added)));
      }
      std::vector<std::unique_ptr<re2::RE2>> alone;
      for (const std::string& text : texts)
        alone.push_back(std::make_unique<re2::RE2>(text, bytes));
      for (int i = 0; i < 200; ++i) {
        const std::string text = i % 2 == 0
                                     ? source.draw_text(nb_max + 2)
                                     : source.draw_text_near(texts[source.draw(nb_patterns)]);
        bool expected = false;
        for (const auto& one : alone) expected = expected || re2::RE2::FullMatch(text, *one);
        ASSERT_EQ(matches_pattern_set(set, text), expected) << testing::PrintToString(text);
      }
    }
  }
}

TEST(read_listed_pattern, takes_no_literal_for_an_expression_nor_the_other_way_round) {
  const std::tuple<std::string, bool, bool> cases[] = {
      // pattern, does it compile, is it looked up
      {"http://www.a.test/.*", true, true},
      {"http://www\\.a\\.test/\\?q=1\\+1", true, true},
      {".*\\.pdf(?:\\?.*)?", true, true},
      {".*\\.tar.gz(?:\\?.*)?", true, false},
      {".*\\.pdf", true, false},
      {"", true, true},
      {"a\\.*", true, false},
      {"a\\d.*", true, false},
      {"[ab].*", true, false},
      {"a\\", false, false},
      {"a)(b.*", false, false},
      {"*.*", false, false},
      {std::string(4'097, 'a'), true, false},
  };
  for (const auto& [text, compiles, is_literal] : cases) {
    listed_pattern pattern;
    EXPECT_EQ(read_listed_pattern(pattern, text), compiles) << text;
    EXPECT_EQ(compiles && pattern.nb_steps == 0, is_literal) << text;
  }
}

TEST(extend_pattern_set, leaves_the_set_alone_when_it_is_too_large_or_stopped) {
  std::vector<listed_pattern> patterns = read_all({"a+", "b.*", "c+"});
  pattern_set set;
  ASSERT_TRUE(extend_pattern_set(set, std::span(patterns).first(2)));
  const std::atomic<uint32_t> stop{1};
  EXPECT_FALSE(extend_pattern_set(set, patterns, &stop));
  patterns[2].nb_steps = MAX_PATTERN_SET_STEPS;
  EXPECT_FALSE(extend_pattern_set(set, patterns));
  EXPECT_TRUE(matches_pattern_set(set, "aa") && matches_pattern_set(set, "bc"));
  EXPECT_FALSE(matches_pattern_set(set, "c"));
}

TEST(extend_pattern_set, builds_no_long_list_again_for_one_pattern) {
  std::vector<std::string> texts;
  for (int i = 0; i < 10'000; ++i) texts.push_back("http://site" + std::to_string(i) + "/.*");
  for (int i = 0; i < 300; ++i) texts.push_back("http://[ab]*" + std::to_string(i) + "/");
  const std::vector<listed_pattern> patterns = read_all(texts);
  pattern_set set;
  ASSERT_TRUE(extend_pattern_set(set, std::span(patterns).first(10'000)));
  const auto long_list = set.parts.front();
  for (size_t nb = 10'001; nb <= patterns.size(); ++nb) {
    ASSERT_TRUE(extend_pattern_set(set, std::span(patterns).first(nb)));
  }
  EXPECT_EQ(set.parts.front(), long_list);
  EXPECT_LE(set.parts.size(), 5u) << "each is asked at each test";
  EXPECT_TRUE(matches_pattern_set(set, "http://site9999/x"));
  EXPECT_TRUE(matches_pattern_set(set, "http://aba299/"));
}

}  // namespace
}  // namespace wk
