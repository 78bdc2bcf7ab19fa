#include "crawler/output/header_record.h"

#include <limits>

#include "wkstd/text.h"

namespace wk {
namespace {

void append_header_lines(const http_headers& headers, std::string& head) {
  for (const http_header& field : headers.fields) {
    head.append(field.name).append(": ").append(field.value).append("\n");
  }
  head.append("\n");
}

}  // namespace

std::string_view choose_header_record_body(const stored_headers& exchange) {
  const std::string* announced = find_http_headers(*exchange.response, "Content-Length");
  const uint32_t length = announced == nullptr ? 0 : parse_unsigned(*announced);
  if (length > exchange.body.size() || length > std::numeric_limits<int32_t>::max()) return {};
  return exchange.body.substr(0, length);
}

void build_header_record_head(const stored_headers& exchange, uint32_t now, std::string& head) {
  head.assign("WKVER: 1.0\nWKURL: ").append(exchange.url);
  append_formatted_text(head, "\nWKDATE: %u\n\n", now);
  append_header_lines(*exchange.request, head);
  append_header_lines(*exchange.response, head);
  append_formatted_text(head, "WKLEN: %d\n\n",
                        static_cast<int>(choose_header_record_body(exchange).size()));
}

}  // namespace wk
