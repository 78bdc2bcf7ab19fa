// A directory for one test, removed with all it holds at the end of the record's life.
#pragma once

#include <string>
#include <string_view>

namespace wk {

struct temp_directory {
  std::string path;

  temp_directory();
  explicit temp_directory(const std::string& root);
  ~temp_directory();
  temp_directory(const temp_directory&) = delete;
  temp_directory& operator=(const temp_directory&) = delete;
};

// Where files are made and removed fastest: a file system in memory where there is one.
[[nodiscard]] std::string find_fast_root();

// Makes a directory below it; its path.
std::string make_directory(const temp_directory& directory, const std::string& name);
void write_test_file(const std::string& path, std::string_view bytes);
[[nodiscard]] std::string read_test_file(const std::string& path);  // empty when there is none

}  // namespace wk
