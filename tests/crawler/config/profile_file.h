// A profile file on disk, the two readers side by side, and comparing what they read.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "crawler/config/config_reader.h"
#include "tests/crawler/config/full_profile.h"
#include "tests/support/temp_directory.h"

namespace wk {

// A profile that stands beside the tests.
inline std::string read_profile_text(const std::string& name) {
  return read_test_file(WK_SOURCE_DIRECTORY "/tests/crawler/config/" + name);
}

struct profile_file {
  temp_directory directory;
  std::string path = directory.path + "/crawl.xml";

  explicit profile_file(std::string_view bytes) { write_test_file(path, bytes); }
};

struct config_reader {
  const char* name;
  crawler_config_ptr (*read)(const std::string& path, const std::string& name);
};
constexpr config_reader READERS[] = {
    {"libxml2", read_config_with_libxml},
    {"without libxml2", read_config_without_libxml},
};

// The texts show which fields differ.
inline void expect_same_config(const config_values& a, const config_values& b) {
  EXPECT_EQ(write_fields(a), write_fields(b));
  EXPECT_TRUE(a == b);
}

// Reads the profile with both readers and expects the same record of both; a record of defaults
// when either fails.
inline config_values read_with_both(std::string_view bytes, const std::string& name = "") {
  const profile_file file(bytes);
  const crawler_config_ptr first = read_config_with_libxml(file.path, name);
  const crawler_config_ptr second = read_config_without_libxml(file.path, name);
  EXPECT_TRUE(first != nullptr && second != nullptr);
  if (first == nullptr || second == nullptr) return {};
  expect_same_config(*first, *second);
  return *first;
}

// The same for the inside of one profile.
inline config_values read_inside(std::string_view inside, std::string_view attributes = "") {
  std::string text = "<crawlers><crawler ";
  text.append(attributes).append(">").append(inside).append("</crawler></crawlers>");
  return read_with_both(text);
}

}  // namespace wk
