// A file of records that is written at speed: records are gathered in memory and handed to the
// system many at once, and only whole records ever stay in the file.
//
// What the system refuses is dropped, so memory stays bounded; that is said once on standard error
// and later records are tried anew. Threads: one at a time; the owner locks.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "wkstd/file.h"

namespace wk {

struct record_file {
  const char* what = "";  // for the message of a refusal: "crawl log", "status file"
  std::string path;
  output_file_ptr file;
  std::unique_ptr<char[]> gathered;  // RECORD_FILE_BUFFER_BYTES
  size_t nb_gathered_bytes = 0;
  std::vector<size_t> ends;  // where each record in gathered ends
  bool refusal_said = false;
};

constexpr size_t RECORD_FILE_BUFFER_BYTES = size_t{32} * 1024;

// False when the file cannot be opened; errno says why. what must outlive the record.
[[nodiscard]] bool open_record_file(record_file& records, const char* what, const std::string& path,
                                    file_mode mode);
// One record, put together from at most 8 pieces.
void add_record_file(record_file& records, std::initializer_list<std::string_view> pieces);
void flush_record_file(record_file& records);
// Hands what was gathered to the file, and goes on in the file that has its name then, behind what
// that holds. False when it is the same as before: see reopen_by_name.
bool reopen_record_file(record_file& records);

// Closes a file of records and opens the one of its name in its place, for somebody may have
// renamed the first. False when the first stays in use: it is no regular file, which nobody
// renames, or none can be opened, which is said on standard error.
[[nodiscard]] bool reopen_by_name(output_file_ptr& file, const char* what, const std::string& path);

// Says that records of a file are lost, and why; error_number as errno gives it.
void print_refusal(const char* what, std::string_view path, int error_number);

}  // namespace wk
