#include "crawler/fetch/url_key.h"

#include <algorithm>

#include "wkstd/text.h"

namespace wk {
namespace {

constexpr std::string_view SCHEME_TEXTS[] = {"http", "https", "ftp"};  // by url_address_scheme

// Cuts "scheme://" off the front of key; what the scheme was, empty without one.
std::string_view take_scheme(std::string_view& key) {
  const size_t end = key.find("://");
  if (end == std::string_view::npos || end > key.find('/')) return {};
  const std::string_view scheme = key.substr(0, end);
  key.remove_prefix(end + 3);
  return scheme;
}

bool does_host_fit(std::string_view key, std::string_view host) {
  if (key.starts_with('.')) key.remove_prefix(1);
  if (key.empty() || key.size() > host.size()) return false;
  const size_t start = host.size() - key.size();
  return equals_ignoring_case(host.substr(start), key) && (start == 0 || host[start - 1] == '.');
}

}  // namespace

bool is_url_key_in(std::string_view key, std::string_view url) {
  return url.find(key) != std::string_view::npos;
}

bool does_url_key_fit(std::string_view key, const url_address& target) {
  const size_t whole_size = key.size();
  const std::string_view scheme = take_scheme(key);
  const bool has_scheme = key.size() < whole_size;
  if (has_scheme && !equals_ignoring_case(scheme, SCHEME_TEXTS[target.scheme])) return false;
  const size_t path = std::min(key.find('/'), key.size());
  std::string_view host = key.substr(0, path);
  const size_t colon = host.find(':');
  if (colon != std::string_view::npos) {
    if (parse_unsigned(host.substr(colon + 1)) != target.port) return false;
    host = host.substr(0, colon);
  }
  return does_host_fit(host, target.host) &&
         std::string_view(target.path).starts_with(key.substr(path));
}

std::string build_url_key_text(std::string_view key) {
  take_scheme(key);
  const size_t path = std::min(key.find('/'), key.size());
  std::string text(key.substr(0, std::min(path, key.find(':'))));
  if (text.starts_with('.')) text.erase(0, 1);
  lower_text(text);
  return text.append(key.substr(path));
}

}  // namespace wk
