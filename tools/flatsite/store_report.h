// What flatsite says: lines for people, or JSON (RFC 8259), one object a line.
//
// A line for people shows bytes outside printable ASCII, and backslashes, as \xNN, so that no
// stored byte ever reaches a terminal as it is. In JSON, bytes that are no UTF-8 stand as the
// Latin-1 characters that they would be.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "crawler/output/flatsite_reader.h"

namespace wk {

struct store_report {
  bool is_json = false;
};

// "<bytes>\t<type>\t<url>\t<file>:<offset>"; the type of a header record is "headers". name, the
// file that the content was exported to, stands in front when it is not empty.
void print_record(const store_report& report, std::string_view file, const flatsite_record& record,
                  std::string_view name = {});
// "<file>: offset <offset>: <what>"
void print_store_fault(const store_report& report, std::string_view file, uint64_t offset,
                       std::string_view what);
// "<file>: <n> records, <n> bytes"
void print_sound_file(const store_report& report, std::string_view file, uint64_t nb_records,
                      uint64_t nb_bytes);
// False when standard output did not take everything.
[[nodiscard]] bool finish_store_report();

}  // namespace wk
