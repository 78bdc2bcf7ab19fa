#include "wkzp/parse_repository.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

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
  EXPECT_FALSE(read_parse_repository(bytes + "x", repository));
  EXPECT_EQ(repository.entries.size(), 6u) << "what was read before is kept";
}

TEST(load_parse_repository, puts_a_files_patterns_in_force_or_says_why_not) {
  const temp_directory directory;
  std::string bytes;
  write_parse_repository({{{PARSE_ENTRY_PCRE, std::string(PATTERN_URL_NAMED_ENTITY), "&only;"}}},
                         bytes);
  const std::string none = directory.path + "/none", foreign = directory.path + "/foreign";
  write_test_file(foreign, "\x01\x02\x03\x04 and more");
  write_test_file(directory.path + "/good", bytes);
  const std::tuple<std::string, std::string, const char*> cases[] = {
      {none, none + ": cannot open file\n", "&[a-zA-Z0-9]{2,8};"},
      {foreign, foreign + ": incorrect file type (67305985)\n", "&[a-zA-Z0-9]{2,8};"},
      {directory.path + "/good", "", "&only;"},
  };
  for (const auto& [path, message, pattern] : cases) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(load_parse_repository(path), message.empty());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), message);
    EXPECT_EQ(get_pattern_parse_repository(PATTERN_URL_NAMED_ENTITY), pattern);
    EXPECT_EQ(get_pattern_parse_repository(PATTERN_URL_DECIMAL_ENTITY), "&#[0-9]{2,4};");
  }
}

}  // namespace
}  // namespace wk
