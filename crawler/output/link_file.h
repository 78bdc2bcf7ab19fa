// The link file: the links of every page, in files "<base>.1", "<base>.2", ...
//
//   record: an empty line, the page's URL, the number of links, then each link on a line of its own
//
// Nothing is held back: each record goes to the system at once.
// A file is continued until its size, rounded down to a multiple of 1,024, is 2 GiB; then the next
// number is taken. Each write takes the link file's own lock. A disk that refuses is said once on
// standard error; the record that met it is dropped whole. When the next file cannot be opened, the
// links are not stored from then on.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <string_view>

#include "wkstd/file.h"

namespace wk {

struct link_file {
  std::string base_path;               // fixed at creation
  uint64_t max_bytes = 2'147'483'648;  // where a file is full; changed by tests only

  std::mutex lock;  // guards all below
  uint32_t counter = 0;
  output_file_ptr file;
  bool refusal_said = false;
};
using link_file_ptr = std::unique_ptr<link_file>;

// Opens the first file that may be continued behind counter + 1; null after the message
// "The link file %s cann't be opened to write. The links will not be stored.\n" when none opens.
[[nodiscard]] link_file_ptr open_link_file(const std::string& base_path, uint32_t counter = 0);
void write_link_record(link_file& links, std::string_view page_url,
                       std::span<const std::string> urls);
// Makes what was written last through a power cut, so that a checkpoint never knows more than the
// link file. False when the disk refuses.
bool flush_link_file(link_file& links);
// Goes on in the file that has the name of the one in work now.
void reopen_link_file(link_file& links);

}  // namespace wk
