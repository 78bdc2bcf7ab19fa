// A directory for one test, removed with all it holds at the end of the record's life.
#pragma once

#include <string>
#include <string_view>

namespace wk {

struct temp_directory {
  std::string path;

  temp_directory();
  ~temp_directory();
  temp_directory(const temp_directory&) = delete;
  temp_directory& operator=(const temp_directory&) = delete;
};

// Makes a directory below it; its path.
std::string make_directory(const temp_directory& directory, const std::string& name);
void write_test_file(const std::string& path, std::string_view bytes);
[[nodiscard]] std::string read_test_file(const std::string& path);  // empty when there is none

}  // namespace wk
