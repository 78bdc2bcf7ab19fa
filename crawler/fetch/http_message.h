// HTTP/1.0 requests and responses (RFC 1945): the records, a request's text, a request read from a
// client, and a response's text.
//
// Records are reused: reset keeps their memory. Threads: one at a time per record.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "crawler/fetch/http_headers.h"
#include "crawler/url/url_address.h"
#include "crawler/url/url_record.h"
#include "wkskt/skt.h"

namespace wk {

enum http_method : uint32_t {
  HTTP_GET = 0,
  HTTP_HEAD = 1,
  HTTP_PUT = 2,
  HTTP_POST = 3,
  HTTP_CONNECT = 4,
  HTTP_DELETE = 5,
};

struct http_request {
  uint32_t method = HTTP_GET;
  url_address target;
  url_record target_record;  // of the same text
  http_headers headers;
  uint32_t timeout_ms = 30;
  uint32_t through_proxy = 0;
  std::string body;  // sent with PUT and POST only
  std::string text;  // what format_request made
};

// Receives every Set-cookie value of a response, with the address that was asked.
using set_cookie_hook = void (*)(std::string_view value, const url_address& target, void* context);

// What kept an attempt from the site's answer where the site had no part in it, or could not be
// asked at all. The status is then what it is for a failure of the site's too.
enum http_trouble : uint32_t {
  HTTP_NO_TROUBLE = 0,
  HTTP_STOPPED,     // the crawl was stopped meanwhile
  HTTP_SHORTAGE,    // this machine is short of handles, memory, client ports or threads
  HTTP_NO_ADDRESS,  // the host's name was not found
  HTTP_OWN_SERVER,  // an administration of this machine, which no page leads to
};

struct http_response {
  uint32_t status = 0;
  http_trouble trouble = HTTP_NO_TROUBLE;  // of the last attempt
  bool has_answered = false;               // a status line came in the last attempt
  http_headers headers;
  std::string body;                       // bytes, zero bytes included
  set_cookie_hook cookie_hook = nullptr;  // null: cookies are off
  void* cookie_context = nullptr;
};

void reset_http_request(http_request& request);
// Splits url both ways. A URL of another scheme leaves no host, which no attempt accepts.
void set_target_http_request(http_request& request, std::string_view url);
void reset_http_response(http_response& response);  // the cookie hook stays

// Writes request.text. The Host header is set on the way; a blank in the path becomes "%20". False,
// with an empty text, when there is no host or when the target or a header holds a byte that would
// end a line of the head: such a request is never sent.
[[nodiscard]] bool format_request(http_request& request);

// Reads a request from a client's socket; 0 when the socket is not alive. The method and the path
// of the target, the headers and the body are filled in. Reading ends after 5 s, at a line of more
// than 64 KiB, after 1,000 lines or 256 KiB of head; of a body the first 64 KiB are read.
[[nodiscard]] int http_read_request(http_request& request, int handle);
// The same from stored text. Always 1.
int http_read_stored_request(http_request& request, std::string_view text);

// Appends the whole response; its length in bytes.
size_t http_format_response(http_response& response, std::string& out);

}  // namespace wk
