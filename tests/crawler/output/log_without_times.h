// A crawl log as a test can compare it: the time at the start of a line is written as "T ".
#pragma once

#include <algorithm>
#include <string>

#include "tests/support/temp_directory.h"

namespace wk {

[[nodiscard]] inline std::string read_log_without_times(const std::string& path) {
  const std::string bytes = read_test_file(path);
  std::string out;
  for (size_t at = 0, end = 0; at < bytes.size(); at = end) {
    end = std::min(bytes.find('\n', at), bytes.size() - 1) + 1;
    std::string shape = bytes.substr(at, 20);
    std::replace_if(
        shape.begin(), shape.end(), [](char c) { return c >= '0' && c <= '9'; }, 'd');
    if (shape == "dddd-dd-dd dd:dd:dd ") {
      out += "T ";
      at += shape.size();
    }
    out.append(bytes, at, end - at);
  }
  return out;
}

}  // namespace wk
