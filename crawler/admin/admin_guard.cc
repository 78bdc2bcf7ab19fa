#include "crawler/admin/admin_guard.h"

#include <algorithm>

#include "wkstd/text.h"

namespace wk {
namespace {

constexpr std::string_view OWN_SCHEME = "http://";
constexpr std::string_view DEFAULT_PORT = ":80";
constexpr std::string_view BROWSER = "Mozilla/";
constexpr std::string_view LOOPBACK_NAMES[] = {"localhost", "127.0.0.1", "[::1]"};

// Empty when absent.
std::string_view get_header(const http_headers& headers, std::string_view name) {
  const std::string* value = find_http_headers(headers, name);
  return value == nullptr ? std::string_view() : trim_blanks(*value);
}

std::string_view cut_default_port(std::string_view authority) {
  if (authority.ends_with(DEFAULT_PORT)) authority.remove_suffix(DEFAULT_PORT.size());
  return authority;
}

bool are_same_authority(std::string_view a, std::string_view b) {
  return equals_ignoring_case(cut_default_port(a), cut_default_port(b));
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

bool is_own_host(std::string_view authority, const admin_names& names) {
  if (!cut_port(authority)) return false;
  const auto is_asked_by = [authority](std::string_view name) {
    return cut_port(name) && !name.empty() && equals_ignoring_case(authority, name);
  };
  return is_asked_by(names.arrival) ||
         std::any_of(std::begin(LOOPBACK_NAMES), std::end(LOOPBACK_NAMES), is_asked_by) ||
         std::any_of(names.others.begin(), names.others.end(), is_asked_by);
}

// url is an origin, or begins with one.
bool is_of_origin(std::string_view url, std::string_view authority) {
  if (!starts_with_ignoring_case(url, OWN_SCHEME) || authority.empty()) return false;
  url.remove_prefix(OWN_SCHEME.size());
  return are_same_authority(url.substr(0, url.find_first_of("/?#")), authority);
}

}  // namespace

admin_verdict judge_admin_request(const http_headers& headers, const admin_names& names,
                                  bool changes) {
  const std::string_view host = get_header(headers, "Host");
  if (find_http_headers(headers, "Host") != nullptr && !is_own_host(host, names)) {
    return ADMIN_UNKNOWN_HOST;
  }
  const std::string_view site = get_header(headers, "Sec-Fetch-Site");
  if (!site.empty() && site != "same-origin" && site != "none") return ADMIN_FOREIGN_PAGE;
  bool is_proven = !site.empty();
  for (const std::string_view name : {"Origin", "Referer"}) {
    const std::string_view origin = get_header(headers, name);
    if (origin.empty()) continue;
    if (!is_of_origin(origin, host)) return ADMIN_FOREIGN_PAGE;
    is_proven = true;
  }
  const bool is_browser = get_header(headers, "User-Agent").starts_with(BROWSER);
  return changes && is_browser && !is_proven ? ADMIN_UNPROVEN : ADMIN_ADMITTED;
}

}  // namespace wk
