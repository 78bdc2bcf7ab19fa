#include "wkzp/parse_repository.h"

#include <gtest/gtest.h>

#include "tests/support/temp_directory.h"

namespace wk {
namespace {

TEST(parse_repository, is_read_back_and_refused_when_a_single_byte_differs) {
  std::string bytes;
  write_parse_repository(build_parse_repository(), bytes);
  parse_repository repository;
  ASSERT_TRUE(read_parse_repository(bytes, repository));
  EXPECT_EQ(repository.entries.size(), 6u);
  EXPECT_EQ(repository.entries[0].source, "&#[0-9]{2,4};");
  for (size_t i = 0; i < bytes.size(); ++i) {
    std::string damaged = bytes;
    damaged[i] = static_cast<char>(damaged[i] ^ 0x10);
    EXPECT_FALSE(read_parse_repository(damaged, repository)) << "byte " << i;
    EXPECT_FALSE(read_parse_repository(bytes.substr(0, i), repository)) << "cut at " << i;
  }
  EXPECT_EQ(repository.entries.size(), 6u) << "what was read before is kept";
}

TEST(load_parse_repository, says_why_a_file_is_not_used) {
  const temp_directory directory;
  const std::string foreign = directory.path + "/foreign";
  write_test_file(foreign, "\x01\x02\x03\x04 and more");
  const std::pair<std::string, std::string> cases[] = {
      {directory.path + "/none", directory.path + "/none: cannot open file\n"},
      {foreign, foreign + ": incorrect file type (67305985)\n"},
  };
  for (const auto& [path, message] : cases) {
    testing::internal::CaptureStderr();
    EXPECT_FALSE(load_parse_repository(path));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), message);
    EXPECT_EQ(get_pattern_parse_repository(PATTERN_URL_NAMED_ENTITY), "&[a-zA-Z0-9]{2,8};");
  }
}

TEST(load_parse_repository, puts_the_files_patterns_in_force) {
  const temp_directory directory;
  std::string bytes;
  write_parse_repository({{{PARSE_ENTRY_PCRE, std::string(PATTERN_URL_NAMED_ENTITY), "&only;"}}},
                         bytes);
  write_test_file(directory.path + "/r", bytes);
  ASSERT_TRUE(load_parse_repository(directory.path + "/r"));
  EXPECT_EQ(get_pattern_parse_repository(PATTERN_URL_NAMED_ENTITY), "&only;");
  EXPECT_EQ(get_pattern_parse_repository(PATTERN_URL_DECIMAL_ENTITY), "&#[0-9]{2,4};");
}

}  // namespace
}  // namespace wk
