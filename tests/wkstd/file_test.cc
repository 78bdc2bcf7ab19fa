#include "wkstd/file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>

#include "tests/support/full_disk.h"
#include "tests/support/temp_directory.h"

namespace wk {
namespace {

TEST(output_file, keeps_what_was_there_only_when_appending) {
  const temp_directory directory;
  const std::string path = directory.path + "/f";
  for (const auto& [mode, expected] :
       {std::pair{FILE_TRUNCATE, "1"}, {FILE_APPEND, "11"}, {FILE_TRUNCATE, "1"}}) {
    output_file_ptr file = open_output_file(path, mode);
    ASSERT_NE(file, nullptr);
    write_output_file(*file, "1");
    EXPECT_TRUE(finish_output_file(file));
    EXPECT_EQ(read_test_file(path), expected);
  }
  EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms(0600));
  EXPECT_EQ(open_output_file(directory.path + "/none/f", FILE_APPEND), nullptr);
}

TEST(output_file, leaves_no_half_record_and_says_that_the_disk_refused) {
  const temp_directory directory;
  const std::string path = directory.path + "/f";
  output_file_ptr file = open_output_file(path, FILE_TRUNCATE);
  ASSERT_TRUE(append_record_output_file(*file, {"head", "", "body"}));
  {
    const full_disk disk(10);
    EXPECT_FALSE(append_record_output_file(*file, {"he", "ad", std::string(100, 'x')}));
    EXPECT_EQ(read_test_file(path), "headbody");
  }
  EXPECT_TRUE(append_record_output_file(*file, {"again"})) << "the file stays usable";
  EXPECT_EQ(read_test_file(path), "headbodyagain");
  const full_disk disk(1'000);
  for (int i = 0; i < 300; ++i) write_output_file(*file, std::string(1'000, 'x'));
  EXPECT_FALSE(flush_output_file(*file));
  EXPECT_FALSE(finish_output_file(file));
}

TEST(line_reader, gives_every_line_whatever_its_length) {
  const temp_directory directory;
  const std::string path = directory.path + "/f";
  const std::string lines[] = {"a", "", std::string(200'000, 'b'), std::string(65'536, 'c'),
                               "last"};
  std::string bytes;
  for (const std::string& line : lines) bytes += line + "\n";
  bytes.pop_back();  // the last line needs no line feed
  write_test_file(path, bytes);
  const line_reader_ptr reader = open_line_reader(path);
  ASSERT_NE(reader, nullptr);
  std::string_view line;
  for (const std::string& expected : lines) {
    ASSERT_TRUE(read_line(*reader, line));
    EXPECT_EQ(line, expected);
  }
  EXPECT_FALSE(read_line(*reader, line));
  EXPECT_FALSE(reader->failed);
  const line_reader_ptr refused = open_line_reader(directory.path);  // reading it is refused
  EXPECT_FALSE(read_line(*refused, line));
  EXPECT_TRUE(refused->failed);
}

}  // namespace
}  // namespace wk
