#include "crawler/fetch/http_fetcher.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <mutex>
#include <shared_mutex>
#include <thread>

#include "crawler/url/url_form.h"
#include "crawler/url/url_resolve.h"
#include "wkstd/clock.h"
#include "wkstd/text.h"

namespace wk {
namespace {

constexpr uint64_t SHORTEST_SLEEP_MS = 100;

enum fetch_step : uint32_t { FETCH_AGAIN, FETCH_DONE, FETCH_FAILED };

// What one fetch takes from the settings, so that their lock is held once.
struct fetch_plan {
  uint32_t nb_attempts_allowed = 0;
  uint32_t retry_wait_ms = 0;
  http_surroundings surroundings;
};

int find_settings_credential(std::string_view url, std::string& value, void* context) {
  return find_credential_fetch_settings(*static_cast<const fetch_settings*>(context), url, value);
}

fetch_plan build_fetch_plan(const fetch_settings& settings) {
  fetch_plan plan;
  plan.surroundings.proxy = settings.proxy;
  plan.surroundings.rules = settings.rules;
  if (settings.gate != nullptr) plan.surroundings.stop = &settings.gate->stop;
  const std::shared_lock<std::shared_mutex> hold(settings.lock);
  // In 32 bits: a count of 4294967294 allows no attempt, 4294967295 one.
  plan.nb_attempts_allowed = settings.retries + 2;
  plan.retry_wait_ms = settings.retry_wait_ms;
  plan.surroundings.own_port = settings.own_port;
  return plan;
}

bool find_cookies(http_fetcher& fetcher, std::string_view url) {
  fetcher.scratch.clear();
  return fetcher.cookies_for != nullptr &&
         are_cookies_allowed_fetch_settings(*fetcher.settings, url) &&
         fetcher.cookies_for(url, fetcher.scratch, fetcher.cookies_context) != 0;
}

// True when the crawl was stopped.
bool wait_for_retry(const fetch_settings& settings, uint32_t wait_ms) {
  if (settings.gate != nullptr) {
    return wait_ms != 0 ? sleep_stop_gate(*settings.gate, wait_ms) : is_stopped(*settings.gate);
  }
  if (wait_ms >= SHORTEST_SLEEP_MS) {
    std::this_thread::sleep_for(std::chrono::milliseconds(wait_ms));
  } else if (wait_ms != 0) {
    std::this_thread::yield();
  }
  return false;
}

uint32_t call_transport(http_fetcher& fetcher, const http_surroundings& surroundings) {
  const http_transport* transport = fetcher.transport;
  if (transport == nullptr) {
    return http_get(fetcher.request, fetcher.response, surroundings, true);
  }
  if (transport->get != nullptr) {
    return transport->get(fetcher.request, fetcher.response, surroundings, transport->get_context);
  }
  return http_get_with_hooks(fetcher.request, fetcher.response, surroundings, true,
                             transport->before_connect, transport->before_context,
                             transport->after_receive, transport->after_context);
}

// One attempt; its whole seconds, at least 1. A site without cookies has no cookie hook. errno says
// of what a shortage is.
uint32_t make_timed_attempt(http_fetcher& fetcher, const http_surroundings& surroundings) {
  const set_cookie_hook hook = fetcher.response.cookie_hook;
  if (hook != nullptr &&
      !are_cookies_allowed_fetch_settings(*fetcher.settings, fetcher.current_url)) {
    fetcher.response.cookie_hook = nullptr;
  }
  const uint64_t start_us = get_steady_time_us();
  fetcher.response.status = call_transport(fetcher, surroundings);
  const int error = errno;
  fetcher.nb_body_bytes += fetcher.response.body.size();
  const uint64_t seconds = (get_steady_time_us() - start_us) / 1'000'000;
  fetcher.response.cookie_hook = hook;
  std::fflush(stdout);
  errno = error;
  return static_cast<uint32_t>(std::max<uint64_t>(seconds, 1));
}

// The same, made when this machine can make it. An attempt that it could not make is none of the
// site's.
uint32_t make_attempt_when_possible(http_fetcher& fetcher, const http_surroundings& surroundings) {
  for (;;) {
    const uint32_t seconds = make_timed_attempt(fetcher, surroundings);
    if (fetcher.response.trouble != HTTP_SHORTAGE) return seconds;
    const fetch_settings& settings = *fetcher.settings;
    if (wait_local_shortage(settings.shortage, errno, settings.gate)) {
      fetcher.response.trouble = HTTP_STOPPED;
      return seconds;
    }
  }
}

// What may never succeed by asking again.
bool is_final_failure(uint32_t status) {
  return (status >= 400 && status < 500 && status != 401) || status == 502 || status == 505;
}

fetch_step answer_challenge(http_fetcher& fetcher, uint32_t previous_status) {
  if (previous_status == 401) return FETCH_FAILED;
  fetcher.scratch.clear();
  if (fetcher.credentials_for == nullptr ||
      fetcher.credentials_for(fetcher.current_url, fetcher.scratch, fetcher.credentials_context) ==
          0) {
    fetcher.response.status = 400;
    return FETCH_AGAIN;  // which the status ends
  }
  set_http_headers(fetcher.request.headers, "Authorization", fetcher.scratch);
  return FETCH_AGAIN;
}

// Headers stay over redirects. With strict safety a site gets only what was meant for it.
void move_to_target(http_fetcher& fetcher, const std::string& url) {
  http_request& request = fetcher.request;
  fetcher.current_url = url;
  if (!fetcher.settings->rules->strict_safety) {
    set_target_http_request(request, fetcher.current_url);
    return;
  }
  const url_address before = request.target;
  set_target_http_request(request, fetcher.current_url);
  const url_address& after = request.target;
  if (after.scheme != before.scheme || after.port != before.port ||
      !equals_ignoring_case(after.host, before.host)) {
    remove_http_headers(request.headers, "Authorization");
  }
  if (find_cookies(fetcher, fetcher.current_url)) {
    set_http_headers(request.headers, "Cookie", fetcher.scratch);
  } else {
    remove_http_headers(request.headers, "Cookie");
  }
}

// A Location that cannot be resolved or crawled leaves the target as it was.
fetch_step follow_redirect(http_fetcher& fetcher) {
  const std::string* location = find_http_headers(fetcher.response.headers, "Location");
  if (location == nullptr) return FETCH_AGAIN;
  std::string url;
  if (build_absolute_url(url, trim_blanks(*location), fetcher.current_url) == 0) return FETCH_AGAIN;
  if (fetcher.settings->rules->canonical_urls) canonicalize_url(url);
  if (!is_acceptable_url(url)) return FETCH_AGAIN;
  if (fetcher.settings->rules->strict_safety && fetcher.may_follow != nullptr &&
      !fetcher.may_follow(url, fetcher.may_follow_context)) {
    return FETCH_FAILED;
  }
  move_to_target(fetcher, url);
  return FETCH_AGAIN;
}

fetch_step act_on_status(http_fetcher& fetcher, uint32_t previous_status) {
  switch (const uint32_t status = fetcher.response.status) {
    case 401:
      return answer_challenge(fetcher, previous_status);
    case 300:
    case 301:
    case 302:
    case 303:
    case 307:
      return follow_redirect(fetcher);
    case 304:
      return FETCH_FAILED;
    default:
      return status >= 200 && status < 300 ? FETCH_DONE : FETCH_AGAIN;
  }
}

}  // namespace

http_fetcher_ptr create_http_fetcher(const fetch_settings& settings) {
  auto fetcher = std::make_unique<http_fetcher>();
  fetcher->settings = &settings;
  fetcher->credentials_for = find_settings_credential;
  // Hooks take a plain context; this one is only read.
  fetcher->credentials_context = const_cast<fetch_settings*>(&settings);
  return fetcher;
}

void prepare_request(http_fetcher& fetcher, uint32_t method, std::string_view url,
                     std::string_view referer) {
  http_request& request = fetcher.request;
  reset_http_request(request);
  request.method = method;
  set_target_http_request(request, url);

  fetcher.scratch.clear();
  if (fetcher.choose_user_agent != nullptr) {
    fetcher.choose_user_agent(fetcher.scratch, fetcher.user_agent_context);
  }
  {
    const std::shared_lock<std::shared_mutex> hold(fetcher.settings->lock);
    if (fetcher.choose_user_agent == nullptr) fetcher.scratch = fetcher.settings->user_agent;
    request.timeout_ms = static_cast<uint32_t>(fetcher.settings->timeout_ms);
  }
  if (!fetcher.scratch.empty()) http_headers_set_user_agent(request.headers, fetcher.scratch);
  if (!referer.empty()) set_http_headers(request.headers, "Referer", referer);
  if (find_cookies(fetcher, url)) set_http_headers(request.headers, "Cookie", fetcher.scratch);
}

int fetch_url(http_fetcher& fetcher, std::string_view url, std::string_view referer,
              uint32_t& elapsed_seconds) {
  fetcher.current_url = url;
  prepare_request(fetcher, HTTP_GET, fetcher.current_url, referer);
  reset_http_response(fetcher.response);
  const fetch_plan plan = build_fetch_plan(*fetcher.settings);

  uint32_t previous_status = 0;
  for (uint32_t i = 0; i < plan.nb_attempts_allowed; ++i) {
    if (i > 0) {
      previous_status = fetcher.response.status;
      if (is_final_failure(previous_status)) return 0;
      if (wait_for_retry(*fetcher.settings, plan.retry_wait_ms)) {
        fetcher.response.trouble = HTTP_STOPPED;
        return 0;
      }
    }
    const uint32_t seconds = make_attempt_when_possible(fetcher, plan.surroundings);
    if (fetcher.response.trouble == HTTP_STOPPED) return 0;
    const fetch_step step = act_on_status(fetcher, previous_status);
    if (step == FETCH_FAILED) return 0;
    if (step == FETCH_DONE) {
      elapsed_seconds = seconds;
      return 1;
    }
  }
  return 0;
}

bool fetch_url_once(http_fetcher& fetcher, std::string_view url, uint64_t limit_us) {
  if (fetcher.settings->rules->strict_safety && fetcher.may_follow != nullptr &&
      !fetcher.may_follow(url, fetcher.may_follow_context)) {
    return false;
  }
  fetcher.current_url = url;
  prepare_request(fetcher, HTTP_GET, fetcher.current_url, {});
  reset_http_response(fetcher.response);
  http_surroundings surroundings = build_fetch_plan(*fetcher.settings).surroundings;
  surroundings.attempt_limit_us = limit_us;
  (void)make_attempt_when_possible(fetcher, surroundings);
  return fetcher.response.status >= 200 && fetcher.response.status < 300;
}

}  // namespace wk
