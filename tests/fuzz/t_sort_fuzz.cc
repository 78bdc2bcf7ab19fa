// The external sort, with chunks of a few bytes, does what sorting in memory does.
#include <algorithm>
#include <string>
#include <vector>

#include "tests/fuzz/fuzz_law.h"
#include "tests/support/temp_directory.h"
#include "wkdt/line_order.h"
#include "wkdt/t_sort.h"

namespace wk {
namespace {

std::vector<std::string> split_lines(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const size_t end = std::min(text.find('\n'), text.size());
    if (end > 0) lines.emplace_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

}  // namespace

void test_one_input(std::string_view bytes) {
  static const temp_directory directory;
  const unsigned char flags = take_byte(bytes);
  const t_sort_options options{.order = flags % 4U,
                               .reverse = (flags & 4U) != 0,
                               .unique = (flags & 8U) != 0,
                               .chunk_bytes = 1U + take_byte(bytes),
                               .directory = directory.path};
  const std::string in = directory.path + "/in", out = directory.path + "/out";
  write_test_file(in, bytes);
  require_law(t_sort(in, out, options) == T_SORT_OK, "a file that can be read is sorted");
  const std::string text = read_test_file(out);
  require_law(text.empty() || text.ends_with('\n'), "every line ends");
  std::vector<std::string> sorted = split_lines(text), lines = split_lines(bytes);

  const line_comparison compare = get_line_comparison(options.order, options.reverse);
  for (size_t i = 1; i < sorted.size() && options.order != T_SORT_COMMA_FIELDS; ++i) {
    const int order = compare(sorted[i - 1], sorted[i]);
    require_law(options.unique ? order < 0 : order <= 0, "lines stand in order");
  }
  std::sort(sorted.begin(), sorted.end());
  std::sort(lines.begin(), lines.end());
  // With another order lines that compare alike count as one, whatever their bytes.
  const bool some_go = options.unique && options.order != T_SORT_BYTES;
  if (options.unique && !some_go) lines.erase(std::unique(lines.begin(), lines.end()), lines.end());
  require_law(some_go ? std::includes(lines.begin(), lines.end(), sorted.begin(), sorted.end())
                      : sorted == lines,
              "no line is lost or made");
}

}  // namespace wk
