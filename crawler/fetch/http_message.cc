#include "crawler/fetch/http_message.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <limits>

#include "crawler/fetch/http_status.h"
#include "wkstd/text.h"

namespace wk {
namespace {

constexpr uint32_t RESET_TIMEOUT_MS = 30;
// A body of an earlier answer keeps its memory for the next one up to this size.
constexpr size_t MAX_KEPT_BODY_BYTES = size_t{1024} * 1024;

constexpr std::string_view METHOD_WORDS[] = {"GET ",  "HEAD ",    "PUT ",
                                             "POST ", "CONNECT ", "DELETE "};

void append_number(std::string& out, size_t number) {
  char digits[std::numeric_limits<size_t>::digits10 + 1];
  const auto end = std::to_chars(std::begin(digits), std::end(digits), number).ptr;
  out.append(digits, static_cast<size_t>(end - digits));
}

void append_authority(std::string& out, const url_address& target, uint32_t usual_port) {
  out += target.host;
  if (target.port == usual_port) return;
  out += ':';
  append_number(out, target.port);
}

void append_path(std::string& out, std::string_view path) {
  for (const char c : path) {
    if (c == ' ') {
      out += "%20";
    } else {
      out += c;
    }
  }
}

void append_target(std::string& out, const http_request& request) {
  const url_address& target = request.target;
  if (request.through_proxy == 0 || target.scheme == URL_ADDRESS_HTTPS) {
    if (request.through_proxy != 0 && request.method == HTTP_CONNECT) {
      append_authority(out, target, 80);
    } else {
      append_path(out, target.path);
    }
    return;
  }
  const bool is_ftp = target.scheme == URL_ADDRESS_FTP;
  if (request.method != HTTP_CONNECT) out += is_ftp ? "ftp://" : "http://";
  append_authority(out, target, is_ftp ? 21 : 80);
  if (request.method != HTTP_CONNECT) append_path(out, target.path);
}

bool is_control(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }
bool ends_line(char c) { return c == '\r' || c == '\n' || c == '\0'; }

// Whether the request's parts can stand in a head without ending a line or a word of it: what a
// page or a server supplied must not add a header or a second request.
bool is_safe_request(const http_request& request) {
  const auto spoils_host = [](char c) { return is_control(c) || c == ' '; };
  const auto spoils_field = [](const http_header& field) {
    return std::any_of(field.name.begin(), field.name.end(), ends_line) ||
           std::any_of(field.value.begin(), field.value.end(), ends_line);
  };
  const std::string& host = request.target.host;
  const std::string& path = request.target.path;
  return !host.empty() && std::none_of(host.begin(), host.end(), spoils_host) &&
         std::none_of(path.begin(), path.end(), is_control) &&
         std::none_of(request.headers.fields.begin(), request.headers.fields.end(), spoils_field);
}

void set_host_header(http_request& request) {
  if (request.target.port == 80) {
    http_headers_set_host(request.headers, request.target.host);
    return;
  }
  std::string host = request.target.host;
  host += ':';
  append_number(host, request.target.port);
  http_headers_set_host(request.headers, host);
}

}  // namespace

void reset_http_request(http_request& request) {
  request.method = HTTP_GET;
  request.target.scheme = URL_ADDRESS_HTTP;
  request.target.host.clear();
  request.target.port = 80;
  request.target.path.clear();
  reset_url_record(request.target_record);
  clear_http_headers(request.headers);
  request.timeout_ms = RESET_TIMEOUT_MS;
  request.through_proxy = 0;
  request.body.clear();
  request.text.clear();
}

void set_target_http_request(http_request& request, std::string_view url) {
  // The splitter leaves the port alone where the URL names none.
  request.target.port = 80;
  if (split_url(request.target, url) == 0) {
    // Without a host there is nobody to ask, so the attempt fails before it connects.
    request.target.scheme = URL_ADDRESS_HTTP;
    request.target.host.clear();
    request.target.path.clear();
  }
  parse_url(request.target_record, url);
}

void reset_http_response(http_response& response) {
  response.status = 0;
  response.trouble = HTTP_NO_TROUBLE;
  response.has_answered = false;
  clear_http_headers(response.headers);
  if (response.body.capacity() > MAX_KEPT_BODY_BYTES) {
    std::string().swap(response.body);
  } else {
    response.body.clear();
  }
}

bool format_request(http_request& request) {
  std::string& text = request.text;
  text.clear();
  if (!is_safe_request(request)) return false;
  set_host_header(request);

  const bool has_body =
      (request.method == HTTP_PUT || request.method == HTTP_POST) && !request.body.empty();
  text += METHOD_WORDS[request.method < std::size(METHOD_WORDS) ? request.method : HTTP_GET];
  append_target(text, request);
  text += " HTTP/1.0\r\n";
  append_http_headers(text, request.headers);
  if (has_body) {
    text += "Content-Length: ";
    append_number(text, request.body.size());
    text += "\r\n";
  }
  text += "\r\n";
  if (has_body) text += request.body;
  return true;
}

size_t http_format_response(http_response& response, std::string& out) {
  const size_t before = out.size();
  const size_t length =
      std::min<size_t>(response.body.size(), std::numeric_limits<uint32_t>::max());
  http_headers_set_content_length(response.headers, static_cast<uint32_t>(length));
  out.append("HTTP/1.0 ").append(http_status_text(response.status)).append("\r\n");
  append_http_headers(out, response.headers);
  out.append("\r\n").append(response.body);
  return out.size() - before;
}

}  // namespace wk
