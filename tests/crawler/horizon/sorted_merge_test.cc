#include "crawler/horizon/sorted_merge.h"

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <string>

#include "tests/support/temp_directory.h"

namespace wk {
namespace {

struct merged_text {
  merge_status status = MERGE_OK;
  std::string text;
  merge_outcome outcome;
};

merged_text merge(const std::string& list, const char* base) {
  const temp_directory directory;
  const std::string list_path = directory.path + "/list", base_path = directory.path + "/base";
  write_test_file(list_path, list);
  if (base != nullptr) write_test_file(base_path, base);
  merged_text merged;
  merged.status =
      merge_sorted_files(list_path, base_path, directory.path + "/merged", merged.outcome);
  merged.text = read_test_file(directory.path + "/merged");
  return merged;
}

TEST(merge_sorted_files, tells_entered_from_known_lines) {
  const std::tuple<const char*, const char*, const char*, const char*, const char*> cases[] = {
      {"a\nc\n", nullptr, "a\nc\n", "a\nc\n", ""},
      {"a\nc\n", "", "a\nc\n", "a\nc\n", ""},
      {"", "a\nb\n", "a\nb\n", "", ""},
      {"b\nd", "a\nb\nc", "a\nb\nc\nd\n", "d\n", "b\n"},
      {"a\n\nc\n", "a\nc\n", "a\nc\n", "", "a\nc\n"},
      {"ab\n", "a\nabc\n", "a\nab\nabc\n", "ab\n", ""},
      {"\x80\n", "z\n\xff\n", "z\n\x80\n\xff\n", "\x80\n", ""},
  };
  for (const auto& [list, base, text, entered, known] : cases) {
    const merged_text merged = merge(list, base);
    EXPECT_EQ(merged.status, MERGE_OK);
    EXPECT_EQ(merged.text, text);
    EXPECT_EQ(merged.outcome.entered, entered);
    EXPECT_EQ(merged.outcome.known, known);
  }
}

TEST(merge_sorted_files, finds_every_place_in_a_file_of_many_blocks) {
  std::mt19937 random(3);
  const auto build_line = [&random] {
    return "http://h/" + std::to_string(random() % 30'000) + std::string(random() % 60, 'x');
  };
  for (uint32_t round = 0; round < 6; ++round) {
    std::set<std::string> list, base, both;
    for (uint32_t i = 0; i < 4'000; ++i) base.insert(build_line());
    for (uint32_t i = 0; i < 10u << (2 * round); ++i) list.insert(build_line());
    for (const std::string& line : base) {
      if (random() % 4 == 0) list.insert(line);
    }
    both = base;
    both.insert(list.begin(), list.end());
    std::string list_text, base_text, both_text;
    for (const std::string& line : list) list_text += line + "\n";
    for (const std::string& line : both) both_text += line + "\n";
    // Empty lines are nobody's; they may stay where they are.
    for (const std::string& line : base) base_text += line + (random() % 50 == 0 ? "\n\n\n" : "\n");
    merged_text merged = merge(list_text, base_text.c_str());
    std::string found;
    for (size_t i = 0; i < merged.text.size(); ++i) {
      if (i > 0 && merged.text[i] == '\n' && merged.text[i - 1] == '\n') continue;
      found.push_back(merged.text[i]);
    }
    ASSERT_TRUE(found == both_text) << round;
    EXPECT_EQ(merged.outcome.entered.size() + merged.outcome.known.size(), list_text.size());
    std::string_view rest = merged.outcome.known, line;
    while (take_outcome_line(rest, line)) ASSERT_TRUE(base.contains(std::string(line))) << line;
    rest = merged.outcome.entered;
    while (take_outcome_line(rest, line)) ASSERT_FALSE(base.contains(std::string(line))) << line;
  }
}

}  // namespace
}  // namespace wk
