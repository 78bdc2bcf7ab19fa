// The status file: one line "<url> <status> (<seconds>)" per fetched URL, appended.
//
// Lines are gathered and flushed with the log; what the disk refuses is dropped by whole lines,
// said once on standard error. Each call takes the file's own lock.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "crawler/output/record_file.h"

namespace wk {

struct status_file {
  std::mutex lock;  // guards all below
  record_file records;
};
struct close_status_file {
  void operator()(status_file* status) const;  // flushes and closes
};
using status_file_ptr = std::unique_ptr<status_file, close_status_file>;

[[nodiscard]] status_file_ptr open_status_file(const std::string& path);  // null: cannot be opened
void write_status_file(status_file& status, std::string_view url, uint32_t code, uint32_t seconds);
void flush_status_file(status_file& status);
void reopen_status_file(status_file& status);  // goes on in the file that has its name now

}  // namespace wk
