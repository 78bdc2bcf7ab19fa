#include "crawler/horizon/sorted_merge.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "tests/support/temp_directory.h"

namespace wk {
namespace {

// Merges list into base; the merged text. Null base: there is no such file.
std::string merge(const std::string& list, const char* base, merge_outcome& outcome) {
  const temp_directory directory;
  const std::string list_path = directory.path + "/list", base_path = directory.path + "/base";
  write_test_file(list_path, list);
  if (base != nullptr) write_test_file(base_path, base);
  const std::string merged_path = directory.path + "/merged";
  EXPECT_EQ(merge_sorted_files(list_path, base_path, merged_path, outcome), MERGE_OK);
  return read_test_file(merged_path);
}

TEST(merge_sorted_files, tells_entered_from_known_lines) {
  const std::tuple<const char*, const char*, const char*, const char*, const char*> cases[] = {
      // list, base, merged, entered, known
      {"a\nc\n", nullptr, "a\nc\n", "a\nc\n", ""},
      {"a\nc\n", "", "a\nc\n", "a\nc\n", ""},
      {"", "a\nb\n", "a\nb\n", "", ""},
      {"b\nd", "a\nb\nc", "a\nb\nc\nd\n", "d\n", "b\n"},
      {"a\n\nc\n", "a\nc\n", "a\nc\n", "", "a\nc\n"},
      {"ab\n", "a\nabc\n", "a\nab\nabc\n", "ab\n", ""},
      // Empty lines are nobody's; they may stay where they are.
      {"b\nd\n\n\nf\n", "\n\na\n\n\nb\n\nc\n\n", "\n\na\nb\n\nc\nd\nf\n", "d\nf\n", "b\n"},
      {"\x80\n", "z\n\xff\n", "z\n\x80\n\xff\n", "\x80\n", ""},
  };
  for (const auto& [list, base, text, entered, known] : cases) {
    SCOPED_TRACE(list);
    merge_outcome outcome;
    EXPECT_EQ(merge(list, base, outcome), text);
    EXPECT_EQ(outcome.entered, entered);
    EXPECT_EQ(outcome.known, known);
  }
}

}  // namespace
}  // namespace wk
