// An external sort of text lines: files far larger than memory, in chunks that are merged.
//
// Lines end in a line feed (the last one may lack it); empty lines are dropped. Memory is bounded
// by chunk_bytes, a line longer than that is a chunk of its own; the merge holds a buffer for each
// chunk. Time is O(n log n) comparisons. Temporary files are named "tmp.tsort0", "tmp.tsort1", ...
// and are removed at the end; two sorts must never work in one directory at once. Failure: a
// status, after a line on the error channel; no temporary file stays, and an output file that was
// begun is removed.
#pragma once

#include <cstdint>
#include <string>

namespace wk {

enum t_sort_order : uint32_t {
  T_SORT_BYTES = 0,         // as unsigned bytes; a prefix goes before the longer line
  T_SORT_NUMBERS = 1,       // by the leading digits, read in base 11; lines without one count as 0
  T_SORT_COMMA_FIELDS = 3,  // by the first two comma-separated fields
};

enum t_sort_status : uint32_t {
  T_SORT_OK = 0,
  T_SORT_NO_INPUT = 1,  // the input can't be opened; nothing was done and nothing reported
  T_SORT_READ_ERROR = 2,
  T_SORT_WRITE_ERROR = 3,
};

struct t_sort_options {
  uint32_t order = T_SORT_BYTES;  // a t_sort_order; any other number sorts by numbers
  bool reverse = false;           // for bytes and numbers
  bool unique = false;            // each distinct line once
  uint64_t chunk_bytes = 10'000'000;
  std::string directory = {};  // of the temporary files; empty: the working directory
};

// "-" stands for standard input and standard output.
[[nodiscard]] t_sort_status t_sort(const std::string& input_path, const std::string& output_path,
                                   const t_sort_options& options);

}  // namespace wk
