#include "crawler/horizon/sorted_merge.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "tests/support/temp_directory.h"

namespace wk {
namespace {

TEST(merge_sorted_files, tells_entered_from_known_lines) {
  const std::tuple<const char*, const char*, const char*, const char*, const char*> cases[] = {
      // list, base (null: there is no such file), merged, entered, known
      {"a\nc\n", nullptr, "a\nc\n", "a\nc\n", ""},
      {"", "a\nb\n", "a\nb\n", "", ""},
      {"b\nd", "a\nb\nc", "a\nb\nc\nd\n", "d\n", "b\n"},
      {"ab\n", "a\nabc\n", "a\nab\nabc\n", "ab\n", ""},
      // Empty lines are nobody's; they may stay where they are.
      {"b\nd\n\n\nf\n", "\n\na\n\n\nb\n\nc\n\n", "\n\na\nb\n\nc\nd\nf\n", "d\nf\n", "b\n"},
      {"\x80\n", "z\n\xff\n", "z\n\x80\n\xff\n", "\x80\n", ""},
  };
  for (const auto& [list, base, merged, entered, known] : cases) {
    SCOPED_TRACE(list);
    const temp_directory directory;
    const std::string to = directory.path + "/";
    write_test_file(to + "list", list);
    if (base != nullptr) write_test_file(to + "base", base);
    merge_outcome outcome;
    EXPECT_EQ(merge_sorted_files(to + "list", to + "base", to + "merged", outcome), MERGE_OK);
    EXPECT_EQ(read_test_file(to + "merged"), merged);
    EXPECT_EQ(outcome.entered, entered);
    EXPECT_EQ(outcome.known, known);
  }
}

}  // namespace
}  // namespace wk
