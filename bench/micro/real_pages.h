// Real pages for the micro benchmarks: up to 2,000 files of Debian's openjdk-17-doc, or of
// python3-doc where that is not installed, read into memory once, each with the URL it would have.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace wk {

struct real_page {
  std::string url;
  std::string text;
};

// Never empty; the process ends with a message when neither package is there.
[[nodiscard]] const std::vector<real_page>& get_real_pages();
[[nodiscard]] size_t count_bytes_real_pages();

// Link values as they stand in the pages, each with the URL of its page.
struct real_link {
  std::string_view value;
  std::string_view base;
};
[[nodiscard]] const std::vector<real_link>& get_real_links();

}  // namespace wk
