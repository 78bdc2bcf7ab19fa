#include "crawler/fetch/http_client.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <string_view>

#include "wkskt/skt_own.h"
#include "wkstd/clock.h"
#include "wkstd/text.h"

namespace wk {
namespace {

constexpr uint32_t STATUS_NOT_ASKABLE = 400;  // or too large
constexpr uint32_t STATUS_TOO_SLOW = 408;
constexpr uint32_t STATUS_CUT_SHORT = 500;

// Up to this announced length a server may be slow to begin with the body: a second quiet wait is
// made for it.
constexpr uint32_t SMALL_BODY_BYTES = 256;

struct socket_holder {
  int handle = -1;
  explicit socket_holder(int opened) : handle(opened) {}
  ~socket_holder() {
    if (handle >= 0) skt_close(handle);
  }
  socket_holder(const socket_holder&) = delete;
  socket_holder& operator=(const socket_holder&) = delete;
};

struct head_reading {
  http_request& request;
  http_response& response;
  bool has_status = false;
  bool at_end = false;
  bool has_length = false;  // a Content-Length was given
  uint32_t nb_cookies = 0;
};

bool is_past_deadline(const skt_terms& terms) { return get_steady_time_us() >= terms.deadline_us; }

bool is_stopped(const skt_terms& terms) {
  return terms.stop != nullptr && terms.stop->load(std::memory_order_relaxed) != 0;
}

bool is_over(const skt_terms& terms) { return is_stopped(terms) || is_past_deadline(terms); }

// An administration page of any crawl steers it, whoever asks.
bool is_admin_page(const http_request& request) {
  return request.target.path.starts_with("/webadmin/");
}

// fault receives why no connection was made.
skt_terms build_terms(const http_request& request, const http_surroundings& surroundings,
                      bool fixed_timeout, skt_fault& fault) {
  const uint64_t asked_us = std::max<uint64_t>(uint64_t{request.timeout_ms} * 1000, 1);
  return {.limit_us = fixed_timeout ? HTTP_WAIT_LIMIT_US : asked_us,
          .deadline_us = get_steady_time_us() + surroundings.attempt_limit_us,
          .stop = surroundings.stop,
          .refused_own_port = surroundings.own_port,
          .refuses_own_addresses = surroundings.rules->strict_safety && is_admin_page(request),
          .fault = &fault};
}

// A proxy on this machine would reach what the machine's own connections are kept from. What the
// proxy's resolver makes of other names is not known here.
bool is_kept_from_proxy(const http_request& request, const skt_terms& terms) {
  const bool is_refused_port =
      terms.refused_own_port != 0 && request.target.port == terms.refused_own_port;
  return (is_refused_port || terms.refuses_own_addresses) && is_own_skt_host(request.target.host);
}

std::string_view choose_proxy(const http_surroundings& surroundings) {
  const char* of_environment = std::getenv("HTTP_PROXY");
  if (of_environment != nullptr && *of_environment != '\0') return of_environment;
  return surroundings.proxy;
}

// The peer is the proxy when there is one. -1 when no connection can be made.
int connect_to_peer(const http_request& request, std::string_view proxy, const skt_terms& terms) {
  if (proxy.empty()) {
    return skt_open_with_timeout(request.target.host.c_str(), request.target.port, terms);
  }
  url_address peer;
  if (split_url(peer, proxy) == 0) return -1;
  if (is_kept_from_proxy(request, terms)) {
    *terms.fault = SKT_OWN_FAULT;
    return -1;
  }
  skt_terms of_proxy = terms;  // which may well be on this machine
  of_proxy.refuses_own_addresses = false;
  return skt_open_with_timeout(peer.host.c_str(), peer.port, of_proxy);
}

http_trouble find_trouble(const skt_terms& terms) {
  if (is_stopped(terms)) return HTTP_STOPPED;
  switch (*terms.fault) {
    case SKT_NO_FAULT:
      break;
    case SKT_PEER_FAULT:
      return HTTP_NO_TROUBLE;
    case SKT_NO_ADDRESS_FAULT:
      return HTTP_NO_ADDRESS;
    case SKT_OWN_FAULT:
      return HTTP_OWN_SERVER;
    case SKT_SHORTAGE_FAULT:
      return HTTP_SHORTAGE;
  }
  return is_skt_shortage(errno) ? HTTP_SHORTAGE : HTTP_NO_TROUBLE;
}

// A line that is just "HTTP/" or has no blank is passed over.
void read_status_line(head_reading& reading, std::string_view line) {
  if (equals_ignoring_case(line, "HTTP/")) return;
  const size_t blank = line.find(' ');
  if (blank == std::string_view::npos) return;
  reading.response.status =
      static_cast<uint32_t>(std::max(parse_integer(line.substr(blank + 1)), 0));
  reading.has_status = true;
  reading.response.has_answered = true;
}

void hand_out_cookie(head_reading& reading, std::string_view value) {
  if (reading.response.cookie_hook == nullptr || reading.nb_cookies >= HTTP_MAX_COOKIES) return;
  ++reading.nb_cookies;
  if (value.size() > HTTP_MAX_COOKIE_BYTES) return;
  reading.response.cookie_hook(value, reading.request.target, reading.response.cookie_context);
}

// One blank behind the colon is taken for granted, so "Name:value" loses the value's first byte.
void read_head_line(head_reading& reading, std::string_view line) {
  if (line.ends_with('\r')) line.remove_suffix(1);
  if (!reading.has_status) {
    read_status_line(reading, line);
    return;
  }
  const size_t colon = line.find(':');
  if (colon == std::string_view::npos) {
    reading.at_end = line.empty();
    return;
  }
  const std::string_view name = line.substr(0, colon);
  const std::string_view value = line.substr(std::min(colon + 2, line.size()));
  if (equals_ignoring_case(name, "Set-cookie")) {
    hand_out_cookie(reading, value);
    return;
  }
  set_http_headers(reading.response.headers, name, value);
  if (equals_ignoring_case(name, "Content-Length")) reading.has_length = true;
}

// 0 when the head has come whole, else the attempt's status.
uint32_t read_head(head_reading& reading, int handle, const skt_terms& terms) {
  skt_line_source source;
  source.handle = handle;
  std::string_view line;
  size_t nb_bytes_left = HTTP_MAX_HEAD_BYTES;
  for (uint32_t i = 0; i < HTTP_MAX_HEAD_LINES; ++i) {
    if (read_line_skt_line_source(source, line, terms, nb_bytes_left) == 0) {
      // After a time-out or a close all that came of the line fits still.
      const size_t nb_bytes_there =
          source.begun_line.size() + source.peeked.size() - source.handed_out;
      const bool too_long = nb_bytes_there > nb_bytes_left;
      return too_long ? STATUS_NOT_ASKABLE : STATUS_TOO_SLOW;
    }
    nb_bytes_left -= std::min(nb_bytes_left, line.size() + 1);
    read_head_line(reading, line);
    if (reading.at_end) {
      finish_skt_line_source(source);
      return 0;
    }
  }
  return STATUS_NOT_ASKABLE;
}

// What has no body is over with its head, though the server may keep the connection open.
bool has_no_body(const head_reading& reading, uint32_t announced) {
  const uint32_t status = reading.response.status;
  return status == 204 || status == 304 || (reading.has_length && announced == 0);
}

// Reads the body and settles the Content-Length header. The memory grows with what comes, not with
// what was announced.
uint32_t read_body(head_reading& reading, int handle, const skt_terms& terms) {
  http_response& response = reading.response;
  const uint32_t announced = http_headers_content_length(response.headers);
  if (announced > HTTP_MAX_BODY_BYTES) return STATUS_NOT_ASKABLE;
  if (has_no_body(reading, announced)) {
    http_headers_set_content_length(response.headers, 0);
    return response.status;
  }
  const size_t wanted = announced != 0 ? announced : HTTP_MAX_BODY_BYTES + size_t{1};

  std::string& body = response.body;
  skt_read_until_quiet(body, handle, terms, wanted);
  if (announced < SMALL_BODY_BYTES && body.size() < std::min<size_t>(wanted, SMALL_BODY_BYTES)) {
    std::string rest;
    skt_read_until_quiet(rest, handle, terms, wanted - body.size());
    body += rest;
  }
  if (body.size() > HTTP_MAX_BODY_BYTES) return STATUS_NOT_ASKABLE;
  const bool may_lack_bytes = announced != 0 ? body.size() < announced : skt_is_alive(handle);
  if (may_lack_bytes && is_over(terms)) return STATUS_TOO_SLOW;
  if (body.size() < announced) return STATUS_CUT_SHORT;

  const bool is_head = reading.request.method == HTTP_HEAD;
  if (reading.has_length ? body.size() != announced : !is_head) {
    http_headers_set_content_length(response.headers, static_cast<uint32_t>(body.size()));
  }
  return response.status;
}

struct attempt_hooks {
  before_connect_hook before_connect;  // may be null
  void* before_context;
  after_receive_hook after_receive;  // may be null
  void* after_context;
};

uint32_t make_attempt(http_request& request, http_response& response,
                      const http_surroundings& surroundings, bool fixed_timeout,
                      const attempt_hooks& hooks) {
  if (request.target.scheme != URL_ADDRESS_HTTP) return STATUS_NOT_ASKABLE;
  const std::string_view proxy = choose_proxy(surroundings);
  request.through_proxy = proxy.empty() ? 0 : 1;
  if (!format_request(request)) return STATUS_NOT_ASKABLE;
  if (hooks.before_connect != nullptr) hooks.before_connect(request, hooks.before_context);

  skt_fault fault = SKT_NO_FAULT;
  const skt_terms terms = build_terms(request, surroundings, fixed_timeout, fault);
  errno = 0;  // a shortage of something before is none of this attempt
  const socket_holder peer(connect_to_peer(request, proxy, terms));
  // From here on what a call leaves there tells a shortage from a failure of the site's.
  if (peer.handle >= 0) errno = 0;
  if (!skt_is_alive(peer.handle) ||
      skt_send_all_with_timeout(peer.handle, request.text, terms) == 0) {
    response.trouble = find_trouble(terms);
    return is_past_deadline(terms) ? STATUS_TOO_SLOW : STATUS_NOT_ASKABLE;
  }

  head_reading reading{request, response};
  const uint32_t failure = read_head(reading, peer.handle, terms);
  if (failure != 0) {
    response.trouble = find_trouble(terms);
    return failure;
  }
  const uint32_t of_head = response.status;
  response.status = read_body(reading, peer.handle, terms);
  if (response.status != of_head) response.trouble = find_trouble(terms);
  if (hooks.after_receive != nullptr) {
    hooks.after_receive(request, response, hooks.after_context);
  }
  return response.status;
}

}  // namespace

uint32_t http_get(http_request& request, http_response& response,
                  const http_surroundings& surroundings, bool fixed_timeout) {
  return http_get_with_hooks(request, response, surroundings, fixed_timeout, nullptr, nullptr,
                             nullptr, nullptr);
}

uint32_t http_get_with_hooks(http_request& request, http_response& response,
                             const http_surroundings& surroundings, bool fixed_timeout,
                             before_connect_hook before_connect, void* before_context,
                             after_receive_hook after_receive, void* after_context) {
  reset_http_response(response);
  const attempt_hooks hooks{before_connect, before_context, after_receive, after_context};
  response.status = make_attempt(request, response, surroundings, fixed_timeout, hooks);
  return response.status;
}

}  // namespace wk
