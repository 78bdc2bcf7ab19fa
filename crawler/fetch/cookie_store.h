// Cookies in the order in which they came, with an index that finds those meant for a URL without
// looking at the others.
//
// A cookie is one of its key and name; both are compared with regard to case. Its place is its
// number in the order, which it keeps when it is replaced and which is never used again. Cookies
// that came from responses are bounded by their number, of one key and in all; the oldest goes.
//
// Which URLs a key fits is one of two rules (url_key.h): with the easy rule its text, without one
// leading ".", stands anywhere in the URL. Both are asked of the keys in the order of what is
// looked for, as the keys that a text begins with stand close together there.
//
// Owner: the cookie jar, whose lock guards it. Threads: one writer or many readers.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "crawler/rules/crawl_rules.h"

namespace wk {

constexpr size_t COOKIE_STORE_MAX_OF_KEY = 4'096;
constexpr size_t COOKIE_STORE_MAX_IN_ALL = 100'000;

struct cookie {
  std::string key;  // a domain and a path, without a separator; the path "/" is left out
  std::string name;
  std::string value;
  uint32_t expiry = 0;     // s since 1970; 0: never
  bool is_preset = false;  // given by the operator: no bound counts it, none takes it away
};

struct cookie_key {
  std::string searched;  // what is looked for in a URL
  std::string text;      // as it was given
};
struct order_cookie_keys {
  using is_transparent = void;
  bool operator()(const cookie_key& a, const cookie_key& b) const;
  bool operator()(std::string_view searched, const cookie_key& key) const;
};

// The cookies of one key.
struct cookie_group {
  std::map<std::string_view, uint64_t> places;  // by name; the names' bytes are the cookies'
  std::set<uint64_t> places_from_responses;
};
using cookie_groups = std::map<cookie_key, cookie_group, order_cookie_keys>;

struct stored_cookie {
  cookie_groups::iterator group;  // that it belongs to
  std::string name;
  std::string value;
  uint32_t expiry = 0;
  bool is_preset = false;
};

// Never copied: its parts point to each other.
struct cookie_store {
  cookie_store() = default;
  cookie_store(const cookie_store&) = delete;
  cookie_store& operator=(const cookie_store&) = delete;

  const crawl_rules* rules = &DOCUMENTED_RULES;  // never null; fixed before the first cookie
  std::map<uint64_t, stored_cookie> cookies;     // by place
  cookie_groups groups;                          // none is empty
  std::set<uint64_t> places_from_responses;
  uint64_t next_place = 0;
};

// Adds given, or replaces the value and expiry of the cookie of its key and name; one that was
// preset stays so. What a bound takes away is appended to removed.
void put_cookie_store(cookie_store& store, cookie given, std::vector<cookie>& removed);
// Takes out the cookie of that place, which must be there.
[[nodiscard]] cookie take_cookie_store(cookie_store& store, uint64_t place);
// The places of the cookies whose key fits url, in order. Linear in the number of keys at worst,
// for texts that are made to be slow; else a logarithm of it for each byte of url.
[[nodiscard]] std::vector<uint64_t> find_cookie_store(const cookie_store& store,
                                                      std::string_view url);

[[nodiscard]] cookie build_cookie(const stored_cookie& stored);  // a copy
// Gives each the cookies of the other; both must follow the same rule.
void exchange_cookies(cookie_store& a, cookie_store& b);

// False with a CR, LF or NUL, which would end the line of a request's head.
[[nodiscard]] bool is_safe_cookie_text(std::string_view text);

}  // namespace wk
