#include "crawler/fetch/cookie_jar.h"

#include <algorithm>
#include <mutex>
#include <shared_mutex>
#include <utility>

#include "crawler/fetch/cookie_date.h"
#include "crawler/fetch/set_cookie.h"
#include "wkstd/error.h"
#include "wkstd/text.h"

namespace wk {
namespace {

// What is to become a cookie.
struct cookie_offer {
  std::string_view domain;
  std::string_view path;
  uint32_t expiry = 0;
  std::string_view name;
  std::string_view value;
  bool is_preset = false;
};

bool is_outdated(uint32_t expiry, uint32_t now) { return expiry != 0 && expiry <= now; }

// A number as "%d" prints it.
std::string print_expiry(uint32_t expiry) { return std::to_string(static_cast<int32_t>(expiry)); }

void report_refused_offer(const cookie_offer& offer) {
  std::string text = "fail to add a cookie, it is already outdated: ";
  text.append(offer.domain).append(" ").append(offer.path).append(" ");
  text.append(print_expiry(offer.expiry)).append(" ");
  text.append(offer.name).append(" ").append(offer.value).append("\n");
  print_message(text);
}

void report_outdated_cookie(const cookie& outdated) {
  std::string text = "delete a outdated cookie: ";
  text.append(outdated.key).append(" ").append(print_expiry(outdated.expiry)).append(" ");
  text.append(outdated.name).append(" ").append(outdated.value).append("\n");
  print_message(text);
}

void call_removal_hook(const cookie_jar& jar, const cookie& removed) {
  if (jar.removal_hook == nullptr) return;
  jar.removal_hook(removed.key, "", removed.expiry, removed.name, removed.value,
                   jar.removal_context);
}

int take_offer(cookie_jar& jar, const cookie_offer& offer, uint32_t now) {
  for (const std::string_view text : {offer.domain, offer.path, offer.name, offer.value}) {
    if (!is_safe_cookie_text(text)) return 0;
  }
  if (offer.expiry != 0 && offer.expiry < now) {
    report_refused_offer(offer);
    return 0;
  }
  cookie given{.key = std::string(offer.domain),
               .name = std::string(offer.name),
               .value = std::string(offer.value),
               .expiry = offer.expiry,
               .is_preset = offer.is_preset};
  if (offer.path != "/") given.key += offer.path;
  std::vector<cookie> removed;
  {
    const std::unique_lock hold(jar.lock);
    put_cookie_store(jar.store, std::move(given), removed);
  }
  for (const cookie& each : removed) call_removal_hook(jar, each);
  return 1;
}

bool is_address(std::string_view host) {
  return std::all_of(host.begin(), host.end(),
                     [](char c) { return c == '.' || is_digit(static_cast<unsigned char>(c)); });
}

// The host itself, or a parent of it that is no top level domain; an IP address has no parents.
bool is_own_domain(std::string_view domain, std::string_view host) {
  if (domain.starts_with('.')) domain.remove_prefix(1);
  if (equals_ignoring_case(domain, host)) return true;
  if (domain.size() >= host.size() || domain.find('.') == std::string_view::npos) return false;
  const size_t start = host.size() - domain.size();
  return host[start - 1] == '.' && equals_ignoring_case(host.substr(start), domain) &&
         !is_address(host);
}

uint32_t choose_expiry(const set_cookie& parsed, uint32_t now) {
  if (parsed.max_age) return limit_cookie_expiry(int64_t{now} + parse_integer(*parsed.max_age));
  return parsed.expires ? cookie_date_parse(*parsed.expires) : 0;
}

// With strict safety a path that does not begin with "/" counts as not given (RFC 6265, 5.2.4):
// behind the domain it would make the name of another host.
std::string_view choose_path(const cookie_jar& jar, const set_cookie& parsed,
                             std::string_view default_path) {
  if (parsed.path && (!jar.store.rules->strict_safety || parsed.path->starts_with('/'))) {
    return *parsed.path;
  }
  return default_path.empty() ? "/" : default_path;
}

// Builds the header; places gets the cookies that are to be removed.
void build_header(const cookie_jar& jar, std::string_view url, uint32_t now, std::string& out,
                  std::vector<uint64_t>& outdated_places) {
  const std::shared_lock hold(jar.lock);
  for (const uint64_t place : find_cookie_store(jar.store, url)) {
    const stored_cookie& each = jar.store.cookies.at(place);
    if (is_outdated(each.expiry, now)) {
      outdated_places.push_back(place);
      continue;
    }
    if (out.size() + each.name.size() + each.value.size() + 3 > COOKIE_JAR_MAX_HEADER_BYTES) break;
    out.append(each.name).append("=").append(each.value).append("; ");
  }
}

// Between the two locks others may have removed or renewed some.
std::vector<cookie> take_outdated_cookies(cookie_jar& jar, const std::vector<uint64_t>& places,
                                          uint32_t now) {
  std::vector<cookie> taken;
  const std::unique_lock hold(jar.lock);
  for (const uint64_t place : places) {
    const auto at = jar.store.cookies.find(place);
    if (at == jar.store.cookies.end() || !is_outdated(at->second.expiry, now)) continue;
    taken.push_back(take_cookie_store(jar.store, place));
  }
  return taken;
}

}  // namespace

int cookie_jar_add(cookie_jar& jar, std::string_view domain, std::string_view path, uint32_t expiry,
                   std::string_view name, std::string_view value) {
  return take_offer(jar,
                    {.domain = domain,
                     .path = path,
                     .expiry = expiry,
                     .name = name,
                     .value = value,
                     .is_preset = true},
                    jar.clock());
}

int cookie_jar_parse_set_cookie(cookie_jar& jar, std::string_view default_domain,
                                std::string_view default_path, std::string_view text) {
  set_cookie parsed;
  if (!is_safe_cookie_text(text) || !parse_set_cookie(parsed, text)) return 0;
  const std::string_view domain = parsed.domain.value_or(default_domain);
  if (jar.store.rules->strict_safety && !is_own_domain(domain, default_domain)) return 0;
  const uint32_t now = jar.clock();
  // What is outdated was a cookie all the same.
  (void)take_offer(jar,
                   {.domain = domain,
                    .path = choose_path(jar, parsed, default_path),
                    .expiry = choose_expiry(parsed, now),
                    .name = parsed.name,
                    .value = parsed.value},
                   now);
  return 1;
}

int cookie_jar_header(cookie_jar& jar, std::string_view url, std::string& out) {
  out.clear();
  const uint32_t now = jar.clock();
  std::vector<uint64_t> outdated_places;
  build_header(jar, url, now, out, outdated_places);
  if (!outdated_places.empty()) {
    for (const cookie& removed : take_outdated_cookies(jar, outdated_places, now)) {
      report_outdated_cookie(removed);
      call_removal_hook(jar, removed);
    }
  }
  return out.empty() ? 0 : 1;
}

std::vector<cookie> list_cookie_jar(const cookie_jar& jar) {
  std::vector<cookie> all;
  const std::shared_lock hold(jar.lock);
  all.reserve(jar.store.cookies.size());
  for (const auto& [place, stored] : jar.store.cookies) all.push_back(build_cookie(stored));
  return all;
}

int cookie_jar_header_hook(std::string_view url, std::string& value, void* context) {
  return cookie_jar_header(*static_cast<cookie_jar*>(context), url, value);
}

void cookie_jar_response_hook(std::string_view value, const url_address& target, void* context) {
  (void)cookie_jar_parse_set_cookie(*static_cast<cookie_jar*>(context), target.host, target.path,
                                    value);
}

}  // namespace wk
