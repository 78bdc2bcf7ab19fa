// What all spiders of a crawl share about fetching.
//
// The crawler owns the record. The readers-writer lock guards what an operator may change while the
// crawl runs; the first group is fixed before any thread starts.
#pragma once

#include <cstdint>
#include <set>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <vector>

#include "crawler/fetch/local_shortage.h"
#include "crawler/rules/crawl_rules.h"
#include "wkstd/stop_gate.h"

namespace wk {

struct fetch_credential {
  std::string key;    // the URL or site that it applies to
  std::string value;  // of the Authorization header: "Basic ..."
};

struct fetch_settings {
  // Fixed before any thread starts.
  stop_gate* gate = nullptr;  // where retries wait and what ends a hanging fetch; null in tests
  std::string proxy;          // "host:port" or a URL; empty: none
  const crawl_rules* rules = &DOCUMENTED_RULES;  // never null
  mutable local_shortage shortage;               // needs no lock

  // Guards all below.
  mutable std::shared_mutex lock;
  uint32_t own_port = 0;  // of the administration server; never connected to; 0: none
  std::string user_agent;
  int32_t timeout_ms = -1;
  uint32_t retries = 0;
  uint32_t retry_wait_ms = 0;
  uint32_t all_cookies_mode = 0;  // not 0: no cookies at all
  std::set<std::string, std::less<>> no_cookie_domains;
  std::vector<fetch_credential> credentials;  // in the order they were stored
};

void add_credential_fetch_settings(fetch_settings& settings, std::string_view key,
                                   std::string_view user, std::string_view password);
// The header value of the first credential whose key occurs in url; with strict safety, whose key
// fits it (url_key.h). 1, or 0 without one.
[[nodiscard]] int find_credential_fetch_settings(const fetch_settings& settings,
                                                 std::string_view url, std::string& value);
// Whether cookies may go to url and be taken from there: not with the switch, without a site, or
// where a part of the host behind a "." is a disabled domain.
[[nodiscard]] bool are_cookies_allowed_fetch_settings(const fetch_settings& settings,
                                                      std::string_view url);

}  // namespace wk
