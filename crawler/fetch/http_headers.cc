#include "crawler/fetch/http_headers.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <ctime>
#include <limits>
#include <utility>

#include "wkstd/text.h"

namespace wk {
namespace {

// What a cleared list keeps for the next one: enough for an ordinary head, not for a hostile one.
constexpr size_t MAX_SPARE_FIELDS = 32;
constexpr size_t MAX_SPARE_BYTES = 1'024;  // of one text

auto find_field(http_headers& headers, std::string_view name) {
  return std::find_if(
      headers.fields.begin(), headers.fields.end(),
      [name](const http_header& field) { return equals_ignoring_case(field.name, name); });
}

// A cached value belongs to the text that it was read from.
void forget_cached_value(http_headers& headers, std::string_view name) {
  if (equals_ignoring_case(name, "Content-Length")) {
    headers.content_length = 0;
  } else if (equals_ignoring_case(name, "Date")) {
    headers.date = 0;
  } else if (equals_ignoring_case(name, "Last-Modified")) {
    headers.last_modified = 0;
  }
}

void keep_spare_field(http_headers& headers, http_header& field) {
  if (headers.spare.size() >= MAX_SPARE_FIELDS || field.name.capacity() > MAX_SPARE_BYTES ||
      field.value.capacity() > MAX_SPARE_BYTES) {
    return;
  }
  headers.spare.push_back(std::move(field));
}

// The zone word behind the time is not read: the text is taken as a time of the local calendar.
uint32_t read_date_header(const http_headers& headers, std::string_view name) {
  const std::string* value = find_http_headers(headers, name);
  if (value == nullptr) return 0;
  std::tm parts{};
  if (strptime(value->c_str(), "%a, %e %b %Y %T", &parts) == nullptr) return 0;
  parts.tm_isdst = -1;
  const std::time_t seconds = std::mktime(&parts);
  return seconds == static_cast<std::time_t>(-1) ? 0 : static_cast<uint32_t>(seconds);
}

}  // namespace

void clear_http_headers(http_headers& headers) {
  for (http_header& field : headers.fields) keep_spare_field(headers, field);
  headers.fields.clear();
  headers.content_length = 0;
  headers.date = 0;
  headers.last_modified = 0;
}

void set_http_headers(http_headers& headers, std::string_view name, std::string_view value) {
  forget_cached_value(headers, name);
  const auto found = find_field(headers, name);
  if (found != headers.fields.end()) {
    found->name = name;
    found->value = value;
    return;
  }
  http_header& field = headers.fields.emplace_back();
  if (!headers.spare.empty()) {
    field = std::move(headers.spare.back());
    headers.spare.pop_back();
  }
  field.name = name;
  field.value = value;
}

void remove_http_headers(http_headers& headers, std::string_view name) {
  forget_cached_value(headers, name);
  const auto found = find_field(headers, name);
  if (found != headers.fields.end()) headers.fields.erase(found);
}

const std::string* find_http_headers(const http_headers& headers, std::string_view name) {
  for (const http_header& field : headers.fields) {
    if (equals_ignoring_case(field.name, name)) return &field.value;
  }
  return nullptr;
}

void append_http_headers(std::string& out, const http_headers& headers) {
  for (const http_header& field : headers.fields) {
    out.append(field.name).append(": ").append(field.value).append("\r\n");
  }
}

uint32_t http_headers_content_length(http_headers& headers) {
  if (headers.content_length != 0) return headers.content_length;
  const std::string* value = find_http_headers(headers, "Content-Length");
  if (value == nullptr) return 0;
  const std::string_view text = trim_blanks(*value);
  const bool is_number = !text.empty() && is_digit(static_cast<unsigned char>(text.front()));
  headers.content_length = is_number ? parse_unsigned(text) : std::numeric_limits<uint32_t>::max();
  return headers.content_length;
}

void http_headers_set_content_length(http_headers& headers, uint32_t length) {
  char digits[std::numeric_limits<uint32_t>::digits10 + 1];
  const auto end = std::to_chars(std::begin(digits), std::end(digits), length).ptr;
  set_http_headers(headers, "Content-Length",
                   std::string_view(digits, static_cast<size_t>(end - digits)));
  headers.content_length = length;
}

uint32_t http_headers_date(http_headers& headers) {
  if (headers.date == 0) headers.date = read_date_header(headers, "Date");
  return headers.date;
}

uint32_t http_headers_last_modified(http_headers& headers) {
  if (headers.last_modified == 0) {
    headers.last_modified = read_date_header(headers, "Last-Modified");
  }
  return headers.last_modified;
}

void http_headers_set_host(http_headers& headers, std::string_view host) {
  set_http_headers(headers, "Host", host);
}

void http_headers_set_user_agent(http_headers& headers, std::string_view user_agent) {
  set_http_headers(headers, "User-Agent", user_agent);
}

}  // namespace wk
