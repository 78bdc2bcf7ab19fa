// Merges a short sorted list of URLs into a long sorted file of them, written anew.
//
// All files hold one URL a line, rising in byte order, each once; empty lines count as none. The
// long file is taken in blocks, in which the place of each line of the list is searched by halving,
// so what lies between two places moves as one piece.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace wk {

enum merge_status : uint32_t {
  MERGE_OK = 0,
  MERGE_NO_BASE = 1,  // the long file is there and cannot be opened
  MERGE_FAILED = 2,   // another file cannot be opened, read or written
};

// What came out about each line of the list. Both are lines with their line feed.
struct merge_outcome {
  std::string entered;  // the long file did not hold these
  std::string known;    // it held these already
};
// Cuts the first line off the front of rest. False when there is none.
[[nodiscard]] bool take_outcome_line(std::string_view& rest, std::string_view& line);

// base_path may name no file at all, which counts as an empty one. When it fails, what stands at
// merged_path is not to be used, and outcome means nothing.
[[nodiscard]] merge_status merge_sorted_files(const std::string& list_path,
                                              const std::string& base_path,
                                              const std::string& merged_path,
                                              merge_outcome& outcome);

}  // namespace wk
