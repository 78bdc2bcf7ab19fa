// A list of URLs that waits to be emptied into the disk cache: a table to ask and a file to sort.
// There are two: the URLs that are known since the last flush, and the doubtful ones.
//
// FILE: one URL a line, in order of arrival. Lines are gathered in memory and reach the file when
// there are many, or when somebody needs it. What the disk refuses stays in memory and is tried
// again, so every listed URL stands in the file or in `unwritten`, never in part of a line.
//
// Threads: one at a time, under the horizon's lock.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "wkdt/hash_string.h"
#include "wkstd/file.h"

namespace wk {

constexpr uint32_t URL_LIST_LIMIT = 10'000;

struct url_list {
  std::string path;
  uint32_t count = 0;  // URLs listed since it was last emptied; may pass the limit
  uint32_t limit = URL_LIST_LIMIT;
  uint32_t empty_at = URL_LIST_LIMIT;  // the count at which it wants to be emptied
  hash_string_ptr table;               // of the listed URLs, value 1
  output_file_ptr file;                // null until the first URL
  uint64_t nb_file_bytes = 0;          // what the file holds of the list
  std::string unwritten;               // lines behind those of the file
  size_t write_at = 0;                 // bytes of unwritten at which the disk is asked
  uint32_t nb_not_listed = 0;          // URLs turned away because the file did not open
};

void init_url_list(url_list& list, std::string path);
[[nodiscard]] bool holds_url_list(const url_list& list, std::string_view url);
// False when there is no file and none can be opened: the URL is then not listed.
[[nodiscard]] bool append_url_list(url_list& list, std::string_view url);
// True when every listed URL stands in the file.
[[nodiscard]] bool write_out_url_list(url_list& list);

// Writes the list sorted, each URL once, to sorted_path. False when a file refused; then the
// contents of sorted_path mean nothing. The list's file is closed either way.
[[nodiscard]] bool sort_url_list(url_list& list, const std::string& sorted_path,
                                 const std::string& directory);
// After sort_url_list: the list goes on as it was, and is to be emptied some time later.
void resume_url_list(url_list& list);
// After sort_url_list: starts anew with an empty file.
void restart_url_list(url_list& list);

void clear_url_list(url_list& list);  // empties it and closes its file, which stays as it is
// Lists what the file holds, if there is one. too_many is said when that is more than the limit.
// False when the file cannot be read; what could be read is listed.
[[nodiscard]] bool load_url_list(url_list& list, const char* too_many);

}  // namespace wk
