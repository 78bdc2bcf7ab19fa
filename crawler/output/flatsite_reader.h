// A store file being read record by record, heads only; contents are read on demand.
//
// Memory does not grow with the file. A file that grows meanwhile is read up to the size that it
// had when it was opened. Threads: one at a time.
#pragma once

#include <cstdint>
#include <string>

#include "crawler/output/flatsite_record.h"

namespace wk {

struct flatsite_reader {
  int handle = -1;
  uint64_t size = 0;
  uint64_t offset = 0;     // of the next record, or of the one that can't be read
  std::string block;       // the file from offset on, as far as it was read
  const char* fault = "";  // what is wrong at offset

  flatsite_reader() = default;
  ~flatsite_reader();
  flatsite_reader(const flatsite_reader&) = delete;
  flatsite_reader& operator=(const flatsite_reader&) = delete;
};

enum flatsite_purpose : uint32_t {
  FLATSITE_TO_READ = 0,
  FLATSITE_TO_REPAIR = 1,  // the file may be cut; a symbolic link is not followed
};
// False, and errno says why, when there is no regular file that may be opened so.
[[nodiscard]] bool open_flatsite_reader(flatsite_reader& reader, const std::string& path,
                                        flatsite_purpose purpose = FLATSITE_TO_READ);

struct flatsite_record {
  flatsite_head head;  // its views last until the next call
  uint64_t offset = 0;
  uint64_t content_offset = 0;
};

enum flatsite_answer : uint32_t {
  FLATSITE_RECORD = 0,
  FLATSITE_END = 1,         // of the file
  FLATSITE_TORN = 2,        // the file ends within the record at reader.offset
  FLATSITE_DAMAGED = 3,     // what stands at reader.offset is no record
  FLATSITE_UNREADABLE = 4,  // the system refuses; errno says why
};
// Whatever is no record stays: each further call gives the same answer, and reader.fault the words.
[[nodiscard]] flatsite_answer read_flatsite_record(flatsite_reader& reader,
                                                   flatsite_record& record);

// The bytes of the content from the place done on, at most 1 MiB of them and at least one. False
// when the system refuses or the file was cut meanwhile.
[[nodiscard]] bool read_flatsite_content(const flatsite_reader& reader,
                                         const flatsite_record& record, uint64_t done,
                                         std::string& piece);

}  // namespace wk
