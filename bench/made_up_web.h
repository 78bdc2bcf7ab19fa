// A web that exists only as numbers: which pages its sites have, how they are spelled, and where
// their links lead. It is the same for the same settings, and costs memory per site, not per page.
//
// Sites have sizes by Zipf's law. Pages of a site are numbered as links bring them up. A link leads
//
//   one time in ten    to a page nobody has linked to, of the same site while that has any left
//   else, in ten:  2   to one of the first pages of the same site, as navigation does
//                  6   to a page d links back in the same site, d spread evenly over magnitudes
//                  2   to a page of another site, the larger and the older ones more often
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace wk {

struct made_up_web {
  uint32_t nb_sites = 0;
  bool random_ends = false;         // each URL ends in eight characters of its own
  std::vector<uint32_t> nb_pages;   // of each site: the pages brought up by links so far
  std::vector<uint32_t> max_pages;  // of each site
  uint32_t first_open_site = 0;     // all before it have brought up every page
  std::mt19937_64 random;
};

struct made_up_link {
  std::string url;
  bool is_new = false;
};

void init_made_up_web(made_up_web& web, uint32_t nb_sites, uint32_t nb_urls, bool random_ends);
// A link on a page of this site.
void follow_made_up_link(made_up_web& web, uint32_t site, made_up_link& link);
[[nodiscard]] uint32_t draw_site(made_up_web& web);
[[nodiscard]] uint32_t find_site(const std::string& url);  // whose page a made up URL is

}  // namespace wk
