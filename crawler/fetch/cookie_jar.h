// The cookies of a crawl: taken from responses and from the operator, sent with the requests that
// they are meant for.
//
// A cookie goes to every URL whose text contains its key without one leading "."; with strict
// safety to URLs that its key fits (url_key.h), and then a response sets cookies only for its own
// host and for parents of it. Outdated cookies are removed when they would be sent.
//
// Owner: the crawler; all spiders and the administration share it. It reads nothing of the fetch
// settings: which sites send and take no cookies at all is the fetcher's to ask.
// Failure: a cookie that holds a CR, LF or NUL is not taken, since it would end a request's line.
#pragma once

#include <cstdint>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <vector>

#include "crawler/fetch/cookie_store.h"
#include "crawler/url/url_address.h"
#include "wkstd/clock.h"

namespace wk {

constexpr uint32_t COOKIE_NEVER_EXPIRES = 4'294'967'295;  // of cookies that the operator gives
constexpr size_t COOKIE_JAR_MAX_HEADER_BYTES = 65'536;

// Called for every cookie that left the jar, outdated or beyond a bound, after the jar's lock was
// given back: it may use the jar, and may be called from several threads at once. empty is "".
using cookie_removal_hook = void (*)(std::string_view key, std::string_view empty, uint32_t expiry,
                                     std::string_view name, std::string_view value, void* context);

struct cookie_jar {
  // Fixed before any thread starts.
  uint32_t (*clock)() = get_wall_time_seconds;  // s since 1970
  cookie_removal_hook removal_hook = nullptr;   // may be null
  void* removal_context = nullptr;

  // Guards the cookies: headers are built under the read lock, all else takes the write lock.
  // Nothing else is locked, printed or called while it is held.
  mutable std::shared_mutex lock;
  cookie_store store;  // its rules are fixed before the first cookie
};

// Adds an operator's cookie, or replaces the one of the same key and name. 0 when it was not taken:
// when its expiry (0: never) has passed, which is printed as
// "fail to add a cookie, it is already outdated: %s %s %d %s %s\n".
int cookie_jar_add(cookie_jar& jar, std::string_view domain, std::string_view path, uint32_t expiry,
                   std::string_view name, std::string_view value);
// Takes the cookie of a Set-Cookie text from a response of default_domain. 1 when there was one,
// outdated or not; 0 without "=", and with strict safety for a domain that is not the response's.
int cookie_jar_parse_set_cookie(cookie_jar& jar, std::string_view default_domain,
                                std::string_view default_path, std::string_view text);
// Puts the Cookie value for url into out: "name=value; " for each, in the order of first addition,
// up to the cookie that would take it past 64 KiB. 1 when it is not empty. Each outdated cookie is
// printed as "delete a outdated cookie: %s %d %s %s\n".
[[nodiscard]] int cookie_jar_header(cookie_jar& jar, std::string_view url, std::string& out);
[[nodiscard]] std::vector<cookie> list_cookie_jar(const cookie_jar& jar);  // copies, in order

// What a fetcher's cookies_for and its response's cookie_hook are set to; context is the jar.
int cookie_jar_header_hook(std::string_view url, std::string& value, void* context);
void cookie_jar_response_hook(std::string_view value, const url_address& target, void* context);

}  // namespace wk
