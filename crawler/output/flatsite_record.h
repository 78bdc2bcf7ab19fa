// The records of a store file, as bytes: how long one is, and what its head says.
//
// A store file holds flatsite records (flatsite_url_hold.cc) and header records (header_record.h),
// one behind the other. A record is a head, which announces the length of the content, the content,
// and an ending that is the same for every record of its kind.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace wk {

enum flatsite_kind : uint32_t {
  FLATSITE_DOCUMENT = 0,  // "FLATSITE_START"
  FLATSITE_HEADERS = 1,   // "WKVER: 1.0"
};

// What the head of a record says. Views are of the bytes that were parsed; absent lines are empty.
struct flatsite_head {
  flatsite_kind kind = FLATSITE_DOCUMENT;
  size_t length = 0;  // of the head; the content follows
  uint64_t content_length = 0;
  std::string_view url;
  std::string_view title;
  std::string_view type_name;
  std::string_view document_date;  // YYYYMMDD
  std::string_view crawl_date;     // s since 1970, decimal
  const char* fault = "";          // what is wrong with bytes that are no head
};

enum flatsite_head_answer : uint32_t {
  FLATSITE_HEAD_WHOLE = 0,
  FLATSITE_HEAD_SHORT = 1,    // the bytes end before the head does
  FLATSITE_HEAD_FOREIGN = 2,  // no record begins so; head.fault says why
};

// Parses the head that bytes begin with. Other lines than those of the format are refused.
[[nodiscard]] flatsite_head_answer parse_flatsite_head(std::string_view bytes, flatsite_head& head);

// What stands behind the content of a record.
[[nodiscard]] std::string_view get_ending_flatsite(flatsite_kind kind);

}  // namespace wk
