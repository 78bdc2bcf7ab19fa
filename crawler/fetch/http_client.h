// One attempt to get one document: one connection, one request, one response (HTTP/1.0, RFC 1945).
//
// Failures are statuses, never messages: 400 for what cannot be asked for or is too large, 408 for
// a head or an attempt that takes too long, 500 for a body shorter than it was announced. Where the
// site has no part in a failure the response's trouble says so.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "crawler/fetch/fetch_settings.h"
#include "crawler/fetch/http_message.h"
#include "crawler/rules/crawl_rules.h"

namespace wk {

constexpr uint32_t HTTP_WAIT_LIMIT_US = 15'000'000;      // of each wait of a page fetch
constexpr uint32_t HTTP_ATTEMPT_LIMIT_US = 300'000'000;  // of one attempt in all
constexpr uint32_t HTTP_MAX_BODY_BYTES = 9'999'999;
constexpr uint32_t HTTP_MAX_HEAD_BYTES = 262'144;
constexpr uint32_t HTTP_MAX_HEAD_LINES = 1'000;
constexpr uint32_t HTTP_MAX_COOKIES = 50;  // of one response
constexpr uint32_t HTTP_MAX_COOKIE_BYTES = 8'192;

// What an attempt needs of its surroundings besides the request.
struct http_surroundings {
  std::string proxy;                            // the environment's HTTP_PROXY goes before it
  const std::atomic<uint32_t>* stop = nullptr;  // ends every wait; null: none
  uint32_t own_port = 0;                        // never asked for on this machine; 0: none
  // With strict safety no administration page on any port of it is asked for either.
  const crawl_rules* rules = &DOCUMENTED_RULES;
  uint64_t attempt_limit_us = HTTP_ATTEMPT_LIMIT_US;
};

using before_connect_hook = void (*)(http_request& request, void* context);
using after_receive_hook = void (*)(http_request& request, http_response& response, void* context);

// The status, which is response.status too. fixed_timeout: waits of 15 s instead of the request's.
// before_connect sees the formatted request, after_receive a response whose head came whole.
uint32_t http_get(http_request& request, http_response& response,
                  const http_surroundings& surroundings, bool fixed_timeout);
uint32_t http_get_with_hooks(http_request& request, http_response& response,
                             const http_surroundings& surroundings, bool fixed_timeout,
                             before_connect_hook before_connect, void* before_context,
                             after_receive_hook after_receive, void* after_context);

}  // namespace wk
