// The header record: what was sent and what came for one URL, heads and body.
//
// HEADER RECORD, texts and line feeds as they stand:
//
//   WKVER: 1.0
//   WKURL: <url>
//   WKDATE: <time of storing, s since 1970>
//                                     an empty line
//   <name>: <value>                   each header line of the request
//                                     an empty line
//   <name>: <value>                   each header line of the response
//                                     an empty line
//   WKLEN: <Content-Length of the response>
//                                     an empty line
//   <so many bytes of the body>       and two line feeds behind them
#pragma once

#include <string>
#include <string_view>

#include "crawler/fetch/http_headers.h"

namespace wk {

// One exchange. What is pointed to must outlive the call.
struct stored_headers {
  std::string_view url;
  const http_headers* request = nullptr;
  const http_headers* response = nullptr;
  std::string_view body;
};

// The part of the body that the response announced. Empty, and then there is no record, without a
// Content-Length above 0 and where fewer bytes came than it says.
[[nodiscard]] std::string_view choose_header_record_body(const stored_headers& exchange);
// Everything up to the body; now is the time of storing in s since 1970.
void build_header_record_head(const stored_headers& exchange, uint32_t now, std::string& head);

}  // namespace wk
