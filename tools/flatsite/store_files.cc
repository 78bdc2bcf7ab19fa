#include "tools/flatsite/store_files.h"

#include <algorithm>
#include <cstdint>
#include <string_view>

#include "wkstd/directory.h"
#include "wkstd/text.h"

namespace wk {
namespace {

// 0 for the name of something else.
uint32_t parse_store_name(const std::string& name) {
  constexpr std::string_view PREFIX = "flatsite-";
  if (!name.starts_with(PREFIX)) return 0;
  const uint32_t number = parse_unsigned(std::string_view(name).substr(PREFIX.size()));
  return name == std::string(PREFIX) + std::to_string(number) ? number : 0;
}

}  // namespace

bool list_store_files(const std::string& path, std::vector<std::string>& files) {
  if (!is_directory(path)) {
    files.push_back(path);
    return true;
  }
  std::vector<std::string> names;
  if (!list_files(path, names)) return false;
  std::vector<uint32_t> numbers;
  numbers.reserve(names.size());
  for (const std::string& name : names) numbers.push_back(parse_store_name(name));
  std::sort(numbers.begin(), numbers.end());
  for (const uint32_t number : numbers) {
    if (number > 0) files.push_back(path + "/flatsite-" + std::to_string(number));
  }
  return true;
}

}  // namespace wk
