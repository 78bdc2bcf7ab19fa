#include "wkdt/t_sort.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "tests/support/full_disk.h"
#include "tests/support/temp_directory.h"
#include "wkstd/directory.h"

namespace wk {
namespace {

std::string sort_text(const std::string& input, t_sort_options options) {
  const temp_directory directory;
  const std::string chunks = make_directory(directory, "chunks");
  options.directory = chunks;
  write_test_file(directory.path + "/in", input);
  EXPECT_EQ(t_sort(directory.path + "/in", directory.path + "/out", options), T_SORT_OK);
  std::vector<std::string> left;
  EXPECT_TRUE(list_files(chunks, left));
  EXPECT_TRUE(left.empty()) << "temporary files stay";
  return read_test_file(directory.path + "/out");
}

TEST(t_sort, sorts_in_every_order_whatever_the_chunks) {
  const std::tuple<const char*, t_sort_options, std::string, std::string> cases[] = {
      {"nothing", {}, "", ""},
      {"bytes", {}, "b\na\nab\n\xff\n\nA\na", "A\na\na\nab\nb\n\xff\n"},
      {"bytes reversed", {.reverse = true}, "b\na\nab\n", "b\nab\na\n"},
      {"unique", {.unique = true}, "a\nb\na\nb\na\n", "a\nb\n"},
      {"numbers in base 11", {.order = 1}, "20\n19\n10\n9\nx\n", "x\n9\n10\n19\n20\n"},
      {"numbers reversed", {.order = 2, .reverse = true}, "9\n10\n1\n", "10\n9\n1\n"},
      {"equal numbers, unique", {.order = 1, .unique = true}, "7\n7a\n8\n", "7\n8\n"},
      {"comma fields", {.order = 3}, "b,1\na,2\na,1\n", "a,1\na,2\nb,1\n"},
      {"comma fields, no comma goes last", {.order = 3}, "a\nab,2\n", "ab,2\na\n"},
  };
  for (const auto& [name, options, input, output] : cases) {
    for (const uint64_t chunk_bytes : {1'000'000u, 4u, 1u}) {
      SCOPED_TRACE(std::string(name) + " in chunks of " + std::to_string(chunk_bytes));
      t_sort_options with = options;
      with.chunk_bytes = chunk_bytes;
      EXPECT_EQ(sort_text(input, with), output);
    }
  }
}

// Hundreds of chunks, lines longer than one, and an order by fields that contradicts itself.
TEST(t_sort, merges_many_chunks) {
  std::set<std::string> lines;
  std::string input, expected, twisted;
  for (uint32_t i = 0; i < 10'000; ++i) {
    const std::string line = "http://h" + std::to_string(i * 7'919 % 3'000) + "/" +
                             std::string(i % 5'000 == 0 ? 70'000 : 0, 'x');
    lines.insert(line);
    input += line + "\n";
    if (i % 10 == 0) twisted += "a\na,\nab\n";
  }
  for (const std::string& line : lines) expected += line + "\n";
  for (const uint64_t chunk_bytes : {100'000'000u, 1'000u}) {
    EXPECT_TRUE(sort_text(input, {.unique = true, .chunk_bytes = chunk_bytes}) == expected);
  }
  EXPECT_EQ(sort_text(twisted, {.order = 3}).size(), twisted.size());
}

TEST(t_sort, tells_what_it_could_not_do_and_leaves_nothing_behind) {
  const temp_directory directory;
  const std::string in = directory.path + "/in";
  const std::string out = directory.path + "/out";
  EXPECT_EQ(t_sort(in, out, {}), T_SORT_NO_INPUT);
  write_test_file(in, std::string(60'000, 'x') + "\n" + std::string(60'000, 'y') + "\n");
  testing::internal::CaptureStderr();
  EXPECT_EQ(t_sort(in, directory.path + "/none/out", {}), T_SORT_WRITE_ERROR);
  EXPECT_NE(testing::internal::GetCapturedStderr().find("tsort: t_sort: "), std::string::npos);

  for (const rlim_t max_bytes : {50'000u, 100'000u}) {  // the first chunk fails; the merge fails
    const full_disk disk(max_bytes);
    testing::internal::CaptureStderr();
    const t_sort_status status =
        t_sort(in, out, {.chunk_bytes = 70'000, .directory = directory.path});
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(status, T_SORT_WRITE_ERROR);
    std::vector<std::string> left;
    ASSERT_TRUE(list_files(directory.path, left));
    EXPECT_EQ(left, std::vector<std::string>{"in"});
  }
}

}  // namespace
}  // namespace wk
