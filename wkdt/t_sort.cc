#include "wkdt/t_sort.h"

#include <unistd.h>

#include <algorithm>
#include <string_view>
#include <vector>

#include "wkdt/line_order.h"
#include "wkstd/directory.h"
#include "wkstd/error.h"
#include "wkstd/file.h"
#include "wkstd/text.h"

namespace wk {
namespace {

// How many chunk files are read at once: each costs a handle and a buffer. More are merged in
// rounds.
constexpr size_t MOST_MERGED_AT_ONCE = 64;

// One sort at work. Its end removes the temporary files.
struct line_sort {
  const t_sort_options& options;
  line_comparison compare;
  std::string output_path;
  std::string chunk;                     // the lines of the chunk, each with its line feed
  std::vector<std::string_view> lines;   // in chunk, without it
  std::vector<std::string> chunk_paths;  // of all sorted chunks so far
  size_t nb_merged = 0;                  // chunks at the front that are merged into later ones
  bool output_begun = false;

  line_sort(const t_sort_options& with, std::string output)
      : options(with),
        compare(get_line_comparison(with.order, with.reverse)),
        output_path(std::move(output)) {}
  ~line_sort() {
    for (size_t i = nb_merged; i < chunk_paths.size(); ++i) ::unlink(chunk_paths[i].c_str());
  }
  line_sort(const line_sort&) = delete;
  line_sort& operator=(const line_sort&) = delete;
};

t_sort_status report_write_error(const std::string& path) {
  report_error(ERROR_WARNING, format_text("tsort: t_sort: couldn't write '%s'", path.c_str()));
  return T_SORT_WRITE_ERROR;
}

// The path that stands for "-".
std::string get_stream_path(const std::string& path, const char* stream) {
  return path == "-" ? stream : path;
}

// The order by comma fields contradicts itself on some lines, which the library's sorts don't
// allow. This one gives some order for them and the right one for all others.
void merge_sort_lines(std::vector<std::string_view>& lines, line_comparison compare) {
  std::vector<std::string_view> merged(lines.size());
  for (size_t width = 1; width < lines.size(); width *= 2) {
    for (size_t begin = 0; begin < lines.size(); begin += 2 * width) {
      const size_t middle = std::min(begin + width, lines.size());
      const size_t end = std::min(middle + width, lines.size());
      size_t left = begin;
      size_t right = middle;
      for (size_t out = begin; out < end; ++out) {
        const bool take_right =
            left == middle || (right < end && compare(lines[right], lines[left]) < 0);
        merged[out] = lines[take_right ? right++ : left++];
      }
    }
    lines.swap(merged);
  }
}

void sort_chunk(line_sort& sort) {
  sort.lines.clear();
  std::string_view rest = sort.chunk;
  while (!rest.empty()) {
    const size_t end = rest.find('\n');
    sort.lines.push_back(rest.substr(0, end));
    rest.remove_prefix(end + 1);
  }
  const auto goes_before = [&sort](std::string_view a, std::string_view b) {
    return sort.compare(a, b) < 0;
  };
  if (sort.options.order == T_SORT_COMMA_FIELDS) {
    merge_sort_lines(sort.lines, sort.compare);
  } else {
    std::sort(sort.lines.begin(), sort.lines.end(), goes_before);
  }
}

// Sorts the chunk and writes it to path.
bool write_chunk(line_sort& sort, const std::string& path) {
  output_file_ptr file = open_output_file(path, FILE_TRUNCATE);
  if (file == nullptr) return false;
  sort_chunk(sort);
  const std::string_view* before = nullptr;
  for (const std::string_view& line : sort.lines) {
    const bool known = sort.options.unique && before != nullptr && sort.compare(*before, line) == 0;
    before = &line;
    if (known) continue;
    write_output_file(*file, line);
    write_output_file(*file, "\n");
  }
  sort.chunk.clear();
  return finish_output_file(file);
}

const std::string& add_chunk_path(line_sort& sort) {
  const std::string& directory = sort.options.directory;
  std::string path = directory.empty() ? std::string() : directory + "/";
  append_formatted_text(path, "tmp.tsort%zu", sort.chunk_paths.size());
  return sort.chunk_paths.emplace_back(std::move(path));
}

t_sort_status spill_chunk(line_sort& sort) {
  const std::string& path = add_chunk_path(sort);
  return write_chunk(sort, path) ? T_SORT_OK : report_write_error(path);
}

// Cuts the input into sorted chunk files; the last chunk stays in memory.
t_sort_status read_chunks(line_sort& sort, line_reader& input) {
  std::string_view line;
  while (read_line(input, line)) {
    if (line.empty()) continue;
    if (!sort.chunk.empty() && sort.chunk.size() + line.size() + 1 > sort.options.chunk_bytes) {
      const t_sort_status status = spill_chunk(sort);
      if (status != T_SORT_OK) return status;
    }
    const bool is_first = sort.chunk.empty();
    sort.chunk.append(line).append("\n");
    if (sort.chunk.size() > sort.options.chunk_bytes && !is_first) {
      report_error(ERROR_WARNING,
                   "tsort: t_sort: We've encountered an oversized chunk with multiple lines.  "
                   "Something went wrong.");
    }
  }
  return input.failed ? T_SORT_READ_ERROR : T_SORT_OK;
}

// One chunk file being merged: its next line.
struct merge_input {
  line_reader_ptr reader;
  std::string_view line;
  size_t number = 0;
};

// Of two equal lines that of the earlier chunk goes first.
bool goes_behind(const line_sort& sort, const merge_input& a, const merge_input& b) {
  const int difference = sort.compare(a.line, b.line);
  return difference == 0 ? a.number > b.number : difference > 0;
}

t_sort_status open_merge_inputs(const line_sort& sort, size_t nb_chunks,
                                std::vector<merge_input>& inputs) {
  for (size_t i = sort.nb_merged; i < sort.nb_merged + nb_chunks; ++i) {
    merge_input input{open_line_reader(sort.chunk_paths[i]), {}, i};
    if (input.reader == nullptr) return T_SORT_READ_ERROR;
    if (read_line(*input.reader, input.line)) {
      inputs.push_back(std::move(input));
    } else if (input.reader->failed) {
      return T_SORT_READ_ERROR;
    }
  }
  return T_SORT_OK;
}

// Of equal lines only the first is written; two of one file are never equal.
struct merge_output {
  output_file_ptr file;
  std::string last;
  size_t last_number = SIZE_MAX;
};

void write_merged_line(const line_sort& sort, const merge_input& input, merge_output& output) {
  const bool known = sort.options.unique && output.last_number != SIZE_MAX &&
                     output.last_number != input.number &&
                     sort.compare(output.last, input.line) == 0;
  if (known) return;
  write_output_file(*output.file, input.line);
  write_output_file(*output.file, "\n");
  if (!sort.options.unique) return;
  output.last.assign(input.line);
  output.last_number = input.number;
}

// Merges the next chunks into the file at path.
t_sort_status merge_chunks(const line_sort& sort, size_t nb_chunks, const std::string& path) {
  std::vector<merge_input> inputs;
  if (open_merge_inputs(sort, nb_chunks, inputs) != T_SORT_OK) return T_SORT_READ_ERROR;
  merge_output output{open_output_file(path, FILE_TRUNCATE), {}, SIZE_MAX};
  if (output.file == nullptr) return report_write_error(path);
  const auto behind = [&sort](const merge_input& a, const merge_input& b) {
    return goes_behind(sort, a, b);
  };
  std::make_heap(inputs.begin(), inputs.end(), behind);
  while (!inputs.empty()) {
    std::pop_heap(inputs.begin(), inputs.end(), behind);
    merge_input& next = inputs.back();
    write_merged_line(sort, next, output);
    if (read_line(*next.reader, next.line)) {
      std::push_heap(inputs.begin(), inputs.end(), behind);
    } else if (next.reader->failed) {
      return T_SORT_READ_ERROR;
    } else {
      inputs.pop_back();
    }
  }
  return finish_output_file(output.file) ? T_SORT_OK : report_write_error(path);
}

// Merges chunks into longer ones until the rest can be merged at once.
t_sort_status merge_in_rounds(line_sort& sort) {
  while (sort.chunk_paths.size() - sort.nb_merged > MOST_MERGED_AT_ONCE) {
    const std::string path = add_chunk_path(sort);
    const t_sort_status status = merge_chunks(sort, MOST_MERGED_AT_ONCE, path);
    if (status != T_SORT_OK) return status;
    for (size_t i = 0; i < MOST_MERGED_AT_ONCE; ++i) {
      ::unlink(sort.chunk_paths[sort.nb_merged++].c_str());
    }
  }
  return T_SORT_OK;
}

t_sort_status sort_lines(line_sort& sort, line_reader& input) {
  const t_sort_status read = read_chunks(sort, input);
  if (read != T_SORT_OK) return read;
  if (sort.chunk_paths.empty()) {
    sort.output_begun = true;
    return write_chunk(sort, sort.output_path) ? T_SORT_OK : report_write_error(sort.output_path);
  }
  t_sort_status status = spill_chunk(sort);
  if (status == T_SORT_OK) status = merge_in_rounds(sort);
  if (status != T_SORT_OK) return status;
  sort.output_begun = true;
  return merge_chunks(sort, sort.chunk_paths.size() - sort.nb_merged, sort.output_path);
}

}  // namespace

t_sort_status t_sort(const std::string& input_path, const std::string& output_path,
                     const t_sort_options& options) {
  const line_reader_ptr input = open_line_reader(get_stream_path(input_path, "/dev/stdin"));
  if (input == nullptr) return T_SORT_NO_INPUT;
  line_sort sort(options, get_stream_path(output_path, "/dev/stdout"));
  const t_sort_status status = sort_lines(sort, *input);
  if (status == T_SORT_READ_ERROR) {
    report_error(ERROR_WARNING,
                 format_text("tsort: t_sort: couldn't read '%s'", input_path.c_str()));
  }
  if (status != T_SORT_OK && sort.output_begun && is_regular_file(sort.output_path)) {
    ::unlink(sort.output_path.c_str());
  }
  return status;
}

}  // namespace wk
