// Reading a request that a client sent: from its socket, or from text that was stored.
#include <algorithm>

#include "crawler/fetch/http_message.h"
#include "wkstd/clock.h"
#include "wkstd/text.h"

namespace wk {
namespace {

constexpr size_t MAX_LINE_BYTES = 65'536;
constexpr size_t MAX_HEAD_BYTES = 262'144;
constexpr uint32_t MAX_LINES = 1'000;
constexpr size_t MAX_BODY_BYTES = 65'536;
constexpr size_t BODY_STEP_BYTES = 4'096;
constexpr uint64_t REQUEST_LIMIT_US = 5'000'000;  // of a whole request

struct head_reading {
  http_request& request;
  bool has_request_line = false;
  bool at_end = false;  // the empty line has come, or a bound is passed
  uint32_t nb_lines = 0;
  size_t nb_bytes = 0;
};

struct method_word {
  std::string_view word;
  http_method method;
  size_t target_start;
};
constexpr method_word METHOD_WORDS[] = {
    {"GET", HTTP_GET, 4}, {"POST", HTTP_POST, 5}, {"HEAD", HTTP_HEAD, 5}, {"PUT", HTTP_PUT, 4}};

// The target runs up to the blank before the first "HTTP/". An unknown word counts as GET and is
// as long as that, so "OPTIONS / HTTP/1.0" asks for "ONS /".
bool read_request_line(http_request& request, std::string_view line) {
  const size_t version = line.find("HTTP/");
  if (version == std::string_view::npos) return false;
  size_t start = 4;
  for (const method_word& row : METHOD_WORDS) {
    if (!line.starts_with(row.word)) continue;
    request.method = row.method;
    start = row.target_start;
    break;
  }
  const size_t end = version == 0 ? 0 : version - 1;
  request.target.path = start < end ? line.substr(start, end - start) : std::string_view();
  return true;
}

void read_head_line(head_reading& reading, std::string_view line) {
  reading.nb_bytes += line.size() + 1;
  if (++reading.nb_lines > MAX_LINES || line.size() > MAX_LINE_BYTES ||
      reading.nb_bytes > MAX_HEAD_BYTES) {
    reading.at_end = true;
    return;
  }
  if (line.ends_with('\r')) line.remove_suffix(1);
  if (!reading.has_request_line) {
    reading.has_request_line = read_request_line(reading.request, line);
    return;
  }
  const size_t colon = line.find(':');
  if (colon != std::string_view::npos) {
    set_http_headers(reading.request.headers, line.substr(0, colon),
                     line.substr(std::min(colon + 2, line.size())));
  } else if (line.empty()) {
    reading.at_end = true;
  }
}

size_t get_wanted_body_bytes(http_request& request) {
  return std::min<size_t>(http_headers_content_length(request.headers), MAX_BODY_BYTES);
}

void read_body(http_request& request, int handle, const skt_terms& terms) {
  const size_t wanted = get_wanted_body_bytes(request);
  char step[BODY_STEP_BYTES];
  while (request.body.size() < wanted && skt_is_alive(handle)) {
    const size_t length = std::min(sizeof step, wanted - request.body.size());
    const size_t nb_read = skt_read_counted_with_timeout(step, length, handle, terms);
    request.body.append(step, nb_read);
    if (nb_read < length) return;
  }
}

}  // namespace

int http_read_request(http_request& request, int handle) {
  reset_http_request(request);
  if (!skt_is_alive(handle)) return 0;
  const skt_terms terms{.limit_us = REQUEST_LIMIT_US,
                        .deadline_us = get_steady_time_us() + REQUEST_LIMIT_US};
  head_reading reading{request};
  skt_line_source source;
  source.handle = handle;
  std::string_view line;
  while (!reading.at_end && read_line_skt_line_source(source, line, terms, MAX_LINE_BYTES) != 0) {
    read_head_line(reading, line);
  }
  finish_skt_line_source(source);
  read_body(request, handle, terms);
  return 1;
}

int http_read_stored_request(http_request& request, std::string_view text) {
  reset_http_request(request);
  head_reading reading{request};
  while (!reading.at_end && !text.empty()) {
    const size_t length = std::min(text.find('\n'), text.size());
    read_head_line(reading, text.substr(0, length));
    text.remove_prefix(std::min(length + 1, text.size()));
  }
  request.body = text.substr(0, std::min(get_wanted_body_bytes(request), text.size()));
  return 1;
}

}  // namespace wk
