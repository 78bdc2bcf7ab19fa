#include "crawler/horizon/sorted_merge.h"

#include <algorithm>
#include <cstring>

#include "wkstd/directory.h"
#include "wkstd/file.h"

namespace wk {
namespace {

constexpr size_t NEAR_BYTES = 256;

// The long file: whole lines that were read and not yet dealt with.
struct base_file {
  line_reader_ptr reader;  // null when there is no file
  std::string_view lines;
};

// True while there is a line.
bool fill_base(base_file& base) {
  return !base.lines.empty() ||
         (base.reader != nullptr && read_line_block(*base.reader, base.lines));
}

size_t find_line_end(std::string_view lines, size_t from) {
  const size_t feed = lines.find('\n', from);
  return feed == std::string_view::npos ? lines.size() : feed;
}

// Where the line begins that holds the byte at.
size_t find_line_begin(std::string_view lines, size_t first, size_t at) {
  const void* feed = ::memrchr(lines.data() + first, '\n', at - first);
  if (feed == nullptr) return first;
  return static_cast<size_t>(static_cast<const char*>(feed) - lines.data()) + 1;
}

// A part of lines: everything before low is less than a URL, everything from high on is not.
struct line_span {
  size_t low;
  size_t high;
};

// Looks at the line that holds the byte middle, and moves low behind it or high before it.
void narrow(line_span& span, std::string_view lines, std::string_view url, size_t middle) {
  const size_t begin = find_line_begin(lines, span.low, middle);
  size_t line_begin = begin;
  while (line_begin < span.high && lines[line_begin] == '\n') ++line_begin;  // empty lines
  const size_t end = find_line_end(lines, line_begin);
  if (line_begin < span.high && lines.substr(line_begin, end - line_begin) < url) {
    span.low = end < lines.size() ? end + 1 : end;
  } else {
    span.high = begin;
  }
}

// Where the first line begins that is not less than url; the size of lines when all are less. The
// line before url in the list was placed just before, so the place is mostly near: it is looked for
// ever further on, and halving begins where it was passed.
size_t find_place(std::string_view lines, std::string_view url) {
  line_span span{.low = 0, .high = lines.size()};
  for (size_t ahead = NEAR_BYTES; span.low + ahead < span.high; ahead *= 2) {
    narrow(span, lines, url, span.low + ahead);
  }
  while (span.low < span.high) {
    narrow(span, lines, url, span.low + (span.high - span.low) / 2);
  }
  return span.low;
}

void write_lines(output_file& out, std::string_view lines) {
  if (lines.empty()) return;
  write_output_file(out, lines);
  if (lines.back() != '\n') write_output_file(out, "\n");
}

// Writes the lines of base that are less than url. True when url stands behind them in base.
bool copy_up_to(base_file& base, std::string_view url, output_file& out) {
  while (fill_base(base)) {
    const size_t place = find_place(base.lines, url);
    write_lines(out, base.lines.substr(0, place));
    base.lines.remove_prefix(
        std::min(base.lines.size(), base.lines.find_first_not_of('\n', place)));
    if (base.lines.empty()) continue;
    return base.lines.substr(0, find_line_end(base.lines, 0)) == url;
  }
  return false;
}

void merge_lines(line_reader& list, base_file& base, output_file& out, merge_outcome& outcome) {
  std::string_view url;
  while (!out.broken && read_line(list, url)) {
    if (url.empty()) continue;
    // A known URL is written when the lines behind it are.
    const bool is_known = copy_up_to(base, url, out);
    std::string& found = is_known ? outcome.known : outcome.entered;
    found.append(url);
    found.push_back('\n');
    if (is_known) continue;
    write_output_file(out, url);
    write_output_file(out, "\n");
  }
  while (!out.broken && fill_base(base)) {
    write_lines(out, base.lines);
    base.lines = {};
  }
}

}  // namespace

bool take_outcome_line(std::string_view& rest, std::string_view& line) {
  const size_t feed = rest.find('\n');
  if (feed == std::string_view::npos) return false;
  line = rest.substr(0, feed);
  rest.remove_prefix(feed + 1);
  return true;
}

merge_status merge_sorted_files(const std::string& list_path, const std::string& base_path,
                                const std::string& merged_path, merge_outcome& outcome) {
  outcome = {};
  base_file base{.reader = open_line_reader(base_path), .lines = {}};
  if (base.reader == nullptr && is_regular_file(base_path)) return MERGE_NO_BASE;
  const line_reader_ptr list = open_line_reader(list_path);
  output_file_ptr out = open_output_file(merged_path, FILE_TRUNCATE);
  if (list == nullptr || out == nullptr) return MERGE_FAILED;
  merge_lines(*list, base, *out, outcome);
  const bool whole = finish_output_file(out) && !list->failed;
  return whole && (base.reader == nullptr || !base.reader->failed) ? MERGE_OK : MERGE_FAILED;
}

}  // namespace wk
