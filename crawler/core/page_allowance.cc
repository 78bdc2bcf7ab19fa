#include "crawler/core/page_allowance.h"

#include "crawler/config/crawler_config.h"
#include "crawler/url/url_parts.h"

namespace wk {
namespace {

constexpr size_t NO_SEED = SIZE_MAX;

// The seed with a guest limit that url belongs to. Caller holds the lock.
size_t find_limited_seed(const page_allowance& allowance, std::string_view url) {
  if (allowance.seed_sites == nullptr) return NO_SEED;
  const std::string_view site = find_url_site(url);
  if (site.empty()) return NO_SEED;
  const uint32_t index = lookup_hash_string(site, *allowance.seed_sites);
  if (index >= allowance.guest_limits.size()) return NO_SEED;
  if (allowance.guest_limits[index] == NO_GUEST_PAGE_LIMIT) return NO_SEED;
  return index;
}

page_allowance::site_count* find_limited_site(page_allowance& allowance, std::string_view url) {
  if (allowance.sites.empty()) return nullptr;
  const auto site = allowance.sites.find(hash_url_host(find_url_host(url)));
  return site == allowance.sites.end() ? nullptr : &site->second;
}

}  // namespace

void init_page_allowance(page_allowance& allowance, size_t nb_seeds) {
  const std::lock_guard<std::mutex> hold(allowance.lock);
  allowance.seed_sites = create_hash_string(static_cast<uint32_t>(2 * nb_seeds));
}

void add_seed_page_allowance(page_allowance& allowance, std::string_view seed_url,
                             uint32_t guest_limit) {
  const std::lock_guard<std::mutex> hold(allowance.lock);
  const auto index = static_cast<uint32_t>(allowance.seed_urls.size());
  allowance.seed_urls.emplace_back(seed_url);
  allowance.guest_limits.push_back(guest_limit);
  allowance.guest_counts.push_back(0);
  const std::string_view site = find_url_site(seed_url);
  if (guest_limit == NO_GUEST_PAGE_LIMIT || site.empty()) return;
  insert_hash_string(*allowance.seed_sites, site, index);
}

void set_site_limit_page_allowance(page_allowance& allowance, uint32_t host_hash, uint32_t limit) {
  const std::lock_guard<std::mutex> hold(allowance.lock);
  allowance.sites[host_hash].limit = limit;
}

bool is_guest_limit_reached_page_allowance(page_allowance& allowance, std::string_view url) {
  const std::lock_guard<std::mutex> hold(allowance.lock);
  const size_t seed = find_limited_seed(allowance, url);
  return seed != NO_SEED && allowance.guest_counts[seed] >= allowance.guest_limits[seed] + 1;
}

bool begin_fetch_page_allowance(page_allowance& allowance, std::string_view url) {
  const std::lock_guard<std::mutex> hold(allowance.lock);
  page_allowance::site_count* site = find_limited_site(allowance, url);
  if (site == nullptr) return true;
  if (site->fetched >= site->limit) return false;
  ++site->fetched;
  return true;
}

void cancel_fetch_page_allowance(page_allowance& allowance, std::string_view url) {
  const std::lock_guard<std::mutex> hold(allowance.lock);
  page_allowance::site_count* site = find_limited_site(allowance, url);
  if (site != nullptr && site->fetched > 0) --site->fetched;
}

guest_answer count_guest_page_allowance(page_allowance& allowance, std::string_view url) {
  const std::lock_guard<std::mutex> hold(allowance.lock);
  const size_t seed = find_limited_seed(allowance, url);
  if (seed == NO_SEED) return GUEST_STORE;
  const uint32_t allowed = allowance.guest_limits[seed] + 1;
  if (allowance.guest_counts[seed] >= allowed) return GUEST_REFUSE;
  ++allowance.guest_counts[seed];
  return allowance.guest_counts[seed] >= allowed ? GUEST_STORE_LAST : GUEST_STORE;
}

}  // namespace wk
