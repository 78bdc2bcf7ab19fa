#include "crawler/admin/admin_guard.h"

#include <arpa/inet.h>

#include <algorithm>
#include <string>

#include "wkstd/text.h"

namespace wk {
namespace {

constexpr std::string_view OWN_SCHEME = "http://";
constexpr std::string_view DEFAULT_PORT = ":80";

// Empty when absent.
std::string_view get_header(const http_headers& headers, std::string_view name) {
  const std::string* value = find_http_headers(headers, name);
  return value == nullptr ? std::string_view() : trim_blanks(*value);
}

bool is_ip_address(std::string_view host) {
  const bool has_brackets = host.size() > 2 && host.front() == '[' && host.back() == ']';
  const std::string digits(has_brackets ? host.substr(1, host.size() - 2) : host);
  // The system's function would stop at a zero byte.
  if (digits.find('\0') != std::string::npos) return false;
  struct in6_addr address {};
  return ::inet_pton(has_brackets ? AF_INET6 : AF_INET, digits.c_str(), &address) == 1;
}

// Cuts ":port" off; false when what follows the colon is no number.
bool cut_port(std::string_view& authority) {
  const size_t colon = authority.rfind(':');
  if (colon == std::string_view::npos || authority.ends_with(']')) return true;
  const std::string_view port = authority.substr(colon + 1);
  authority = authority.substr(0, colon);
  return std::all_of(port.begin(), port.end(),
                     [](char c) { return is_digit(static_cast<unsigned char>(c)); });
}

bool is_own_host(std::string_view authority, std::string_view admin_address) {
  if (!cut_port(authority)) return false;
  if (!admin_address.empty() && equals_ignoring_case(authority, admin_address)) return true;
  return equals_ignoring_case(authority, "localhost") || is_ip_address(authority);
}

std::string_view cut_default_port(std::string_view authority) {
  if (authority.ends_with(DEFAULT_PORT)) authority.remove_suffix(DEFAULT_PORT.size());
  return authority;
}

// url is an origin, or begins with one.
bool is_of_origin(std::string_view url, std::string_view authority) {
  if (!starts_with_ignoring_case(url, OWN_SCHEME) || authority.empty()) return false;
  url.remove_prefix(OWN_SCHEME.size());
  const std::string_view found = url.substr(0, url.find_first_of("/?#"));
  return equals_ignoring_case(cut_default_port(found), cut_default_port(authority));
}

}  // namespace

bool is_own_request(const http_headers& headers, std::string_view admin_address) {
  const std::string_view site = get_header(headers, "Sec-Fetch-Site");
  if (!site.empty() && site != "same-origin" && site != "none") return false;
  const std::string_view host = get_header(headers, "Host");
  if (!host.empty() && !is_own_host(host, admin_address)) return false;
  for (const std::string_view name : {"Origin", "Referer"}) {
    const std::string_view origin = get_header(headers, name);
    if (!origin.empty() && !is_of_origin(origin, host)) return false;
  }
  return true;
}

}  // namespace wk
