#include "crawler/fetch/fetch_settings.h"

#include <algorithm>
#include <mutex>

#include "crawler/fetch/url_key.h"
#include "crawler/url/url_address.h"
#include "crawler/url/url_parts.h"
#include "wkstd/base64.h"

namespace wk {
namespace {

// Whether some part of the host that follows a "." is in the table; the host as a whole is not
// looked up. A part counts with its port and without it.
bool has_no_cookie_domain(const std::set<std::string, std::less<>>& domains,
                          std::string_view host) {
  const std::string_view name = host.substr(0, std::min(host.rfind(':'), host.size()));
  for (size_t dot = name.find('.'); dot != std::string_view::npos; dot = name.find('.', dot + 1)) {
    if (domains.contains(name.substr(dot + 1)) || domains.contains(host.substr(dot + 1))) {
      return true;
    }
  }
  return false;
}

}  // namespace

void add_credential_fetch_settings(fetch_settings& settings, std::string_view key,
                                   std::string_view user, std::string_view password) {
  std::string plain(user);
  plain.append(":").append(password);
  fetch_credential credential{std::string(key), "Basic "};
  append_base64(credential.value, plain);
  const std::lock_guard<std::shared_mutex> hold(settings.lock);
  settings.credentials.push_back(std::move(credential));
}

int find_credential_fetch_settings(const fetch_settings& settings, std::string_view url,
                                   std::string& value) {
  url_address target;
  if (settings.rules->strict_safety && split_url(target, url) == 0) return 0;
  const std::shared_lock<std::shared_mutex> hold(settings.lock);
  for (const fetch_credential& credential : settings.credentials) {
    const bool fits = settings.rules->strict_safety ? does_url_key_fit(credential.key, target)
                                                    : is_url_key_in(credential.key, url);
    if (!fits) continue;
    value = credential.value;
    return 1;
  }
  return 0;
}

bool are_cookies_allowed_fetch_settings(const fetch_settings& settings, std::string_view url) {
  if (find_url_site(url).empty()) return false;
  std::string_view host = find_url_host(url);
  const size_t user_end = host.rfind('@');
  if (user_end != std::string_view::npos) host.remove_prefix(user_end + 1);
  const std::shared_lock<std::shared_mutex> hold(settings.lock);
  if (settings.all_cookies_mode != 0) return false;
  return settings.no_cookie_domains.empty() ||
         !has_no_cookie_domain(settings.no_cookie_domains, host);
}

}  // namespace wk
