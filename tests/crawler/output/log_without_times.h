// A crawl log as a test can compare it: the time at the start of a line is written as "T ".
#pragma once

#include <string>
#include <string_view>

#include "tests/support/temp_directory.h"

namespace wk {

inline bool starts_with_time(std::string_view line) {
  constexpr std::string_view shape = "dddd-dd-dd dd:dd:dd ";
  for (size_t i = 0; i < shape.size(); ++i) {
    if (i >= line.size()) return false;
    const bool fits = shape[i] == 'd' ? line[i] >= '0' && line[i] <= '9' : line[i] == shape[i];
    if (!fits) return false;
  }
  return true;
}

[[nodiscard]] inline std::string read_log_without_times(const std::string& path) {
  const std::string bytes = read_test_file(path);
  std::string out;
  for (size_t at = 0; at < bytes.size();) {
    if (starts_with_time(std::string_view(bytes).substr(at))) {
      out += "T ";
      at += 20;
    }
    const size_t end = bytes.find('\n', at);
    const size_t next = end == std::string::npos ? bytes.size() : end + 1;
    out.append(bytes, at, next - at);
    at = next;
  }
  return out;
}

}  // namespace wk
