// An ordered list of header fields (RFC 1945, section 4.2) with cached typed values.
//
// Names are compared without regard to case; a look-up takes the first match. Threads: one at a
// time.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace wk {

struct http_header {
  std::string name;
  std::string value;
};

struct http_headers {
  std::vector<http_header> fields;  // in the order of first insertion
  // Cached by the accessors below; 0 means absent or not yet read.
  uint32_t content_length = 0;
  uint32_t date = 0;
  uint32_t last_modified = 0;
  std::vector<http_header> spare;  // cleared fields, whose memory the next ones take
};

void clear_http_headers(http_headers& headers);
// Replaces the value of the first field of that name (the name takes the new spelling) or appends.
void set_http_headers(http_headers& headers, std::string_view name, std::string_view value);
void remove_http_headers(http_headers& headers, std::string_view name);  // the first match
// Null when absent.
[[nodiscard]] const std::string* find_http_headers(const http_headers& headers,
                                                   std::string_view name);
// Appends every field as "name: value\r\n".
void append_http_headers(std::string& out, const http_headers& headers);

// 0 when absent. What is no number, is negative or passes 32 bits gives 4294967295: too long for
// everyone who asks.
[[nodiscard]] uint32_t http_headers_content_length(http_headers& headers);
void http_headers_set_content_length(http_headers& headers, uint32_t length);
[[nodiscard]] uint32_t http_headers_date(http_headers& headers);           // s since 1970
[[nodiscard]] uint32_t http_headers_last_modified(http_headers& headers);  // s since 1970
void http_headers_set_host(http_headers& headers, std::string_view host);
void http_headers_set_user_agent(http_headers& headers, std::string_view user_agent);

}  // namespace wk
