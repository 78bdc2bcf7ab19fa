// Dates of responses, as RFC 9110 (section 5.6.7) has them.
#pragma once

#include <cstdint>
#include <string_view>

#include "crawler/fetch/http_headers.h"

namespace wk {

// Seconds since 1970 of a text in one of the three forms:
//
//   Sun, 06 Nov 1994 08:49:37 GMT     the one of today
//   Sunday, 06-Nov-94 08:49:37 GMT    RFC 850; the year is one of 1969 to 2068
//   Sun Nov  6 08:49:37 1994          asctime
//
// Names of days and months may be short or whole, and are not held against the rest. 0 for every
// other text, and for what is not later than the first second of 1970. Threads: any.
[[nodiscard]] int64_t parse_http_date(std::string_view text);

// The date of a response's document: its Last-Modified, else its Date, else 0.
[[nodiscard]] int64_t find_document_date(const http_headers& headers);

}  // namespace wk
