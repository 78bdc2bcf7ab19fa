// How many pages of a seed's site a crawl may take.
//
// Two limits meet here. The guest limit of a seed counts pages as they are stored: a stored limit N
// allows N + 1 of them, NO_GUEST_PAGE_LIMIT any number. The page limit of a site counts pages as
// they are fetched, over all seeds of one host. A URL belongs to the seed whose site prefix it has.
// Threads: every operation takes the record's own lock; it is taken after the crawler's.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "wkdt/hash_string.h"

namespace wk {

struct page_allowance {
  std::mutex lock;  // guards all below
  std::vector<std::string> seed_urls;
  std::vector<uint32_t> guest_limits;  // by seed
  std::vector<uint32_t> guest_counts;  // by seed: pages stored
  hash_string_ptr seed_sites;          // site prefix -> seed, for seeds with a guest limit

  struct site_count {
    uint32_t limit = 0;
    uint32_t fetched = 0;
  };
  std::map<uint32_t, site_count> sites;  // by the hash of the host
};

void init_page_allowance(page_allowance& allowance, size_t nb_seeds);
void add_seed_page_allowance(page_allowance& allowance, std::string_view seed_url,
                             uint32_t guest_limit);
// The later limit of one host holds.
void set_site_limit_page_allowance(page_allowance& allowance, uint32_t host_hash, uint32_t limit);

// True when the guest limit of url's seed is used up.
[[nodiscard]] bool is_guest_limit_reached_page_allowance(page_allowance& allowance,
                                                         std::string_view url);
// Counts a page of url's host that is about to be fetched; false when the site's limit is used up.
[[nodiscard]] bool begin_fetch_page_allowance(page_allowance& allowance, std::string_view url);
// Takes that back: the fetch failed.
void cancel_fetch_page_allowance(page_allowance& allowance, std::string_view url);

enum guest_answer : uint32_t {
  GUEST_STORE = 0,       // counted where there is a limit; store it
  GUEST_STORE_LAST = 1,  // counted; this page used the limit up
  GUEST_REFUSE = 2,      // the limit was used up before
};
// Counts a page that is about to be stored.
[[nodiscard]] guest_answer count_guest_page_allowance(page_allowance& allowance,
                                                      std::string_view url);

}  // namespace wk
