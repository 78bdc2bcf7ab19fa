// Fetching one page: attempts, retries, redirects and one authentication round.
//
// Each spider owns one fetcher; the response holds the last answer until the next fetch. Threads:
// one at a time per fetcher; what fetchers share is in fetch_settings.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "crawler/fetch/fetch_settings.h"
#include "crawler/fetch/http_client.h"
#include "crawler/fetch/http_message.h"

namespace wk {

// Puts a header value for url into value; 0 when there is none.
using header_value_hook = int (*)(std::string_view url, std::string& value, void* context);
// The User-Agent of the next request; an empty text sends none.
using user_agent_hook = void (*)(std::string& value, void* context);
// Whether a redirect to url may be followed; asked with strict safety only, in the middle of a
// fetch: it must not use the fetcher that asks.
using may_follow_hook = bool (*)(std::string_view url, void* context);

// Takes the place of http_get for every attempt of a fetcher.
struct http_transport {
  before_connect_hook before_connect = nullptr;  // may be null
  void* before_context = nullptr;
  after_receive_hook after_receive = nullptr;  // may be null
  void* after_context = nullptr;
  // May be null: http_get_with_hooks is used.
  uint32_t (*get)(http_request& request, http_response& response,
                  const http_surroundings& surroundings, void* context) = nullptr;
  void* get_context = nullptr;
};

struct http_fetcher {
  const fetch_settings* settings = nullptr;  // never null
  std::string current_url;                   // of the last attempt: after redirects the new one
  http_request request;
  http_response response;
  uint64_t nb_body_bytes = 0;  // received in all attempts so far

  // Hooks; each may be null.
  header_value_hook credentials_for = nullptr;
  void* credentials_context = nullptr;
  header_value_hook cookies_for = nullptr;
  void* cookies_context = nullptr;
  user_agent_hook choose_user_agent = nullptr;
  void* user_agent_context = nullptr;
  may_follow_hook may_follow = nullptr;
  void* may_follow_context = nullptr;
  const http_transport* transport = nullptr;

  std::string scratch;
};
using http_fetcher_ptr = std::unique_ptr<http_fetcher>;

// With the settings' credentials behind credentials_for.
[[nodiscard]] http_fetcher_ptr create_http_fetcher(const fetch_settings& settings);

void prepare_request(http_fetcher& fetcher, uint32_t method, std::string_view url,
                     std::string_view referer);

// The first attempt and as many more as the settings' retries plus one; redirects and the answer to
// a 401 count among them. While an attempt asks a site that gets no cookies the response's cookie
// hook is off. 1 when a 2xx response came; elapsed_seconds then holds the last attempt's time, at
// least 1. 0 otherwise; the response tells the last status in both cases (0: no attempt was made).
// While this machine is short of what an attempt needs the spider waits (local_shortage.h); a stop
// that ends a wait or an attempt leaves the trouble HTTP_STOPPED.
[[nodiscard]] int fetch_url(http_fetcher& fetcher, std::string_view url, std::string_view referer,
                            uint32_t& elapsed_seconds);

// One attempt that ends within limit_us, for what a page loads on its way: no retry, no redirect,
// no answer to a 401. With strict safety may_follow is asked before it begins. True when
// a 2xx response came.
[[nodiscard]] bool fetch_url_once(http_fetcher& fetcher, std::string_view url, uint64_t limit_us);

}  // namespace wk
