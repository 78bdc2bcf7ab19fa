#include "bench/made_up_web.h"

#include <algorithm>
#include <cmath>
#include <string_view>

#include "wkstd/text.h"

namespace wk {
namespace {

constexpr std::string_view HOST_PREFIX = "http://www.site";

constexpr const char* SECTIONS[] = {
    "news", "docs", "library/reference", "blog", "shop", "forum", "people", "archive"};
constexpr const char* TITLES[] = {"getting-started",  "the-long-way-home", "release-notes",
                                  "how-it-works",     "a-short-history",   "questions-and-answers",
                                  "notes-on-harbours"};

// What the URLs of a site end in: most sites spell all of their pages one way.
// What stands before and behind the number of a page.
struct page_form {
  const char* before;
  const char* behind;
};
constexpr page_form PAGE_FORMS[] = {{"-", ".html"}, {"-", ".html"}, {"-", ".html"}, {"-", "/"},
                                    {"-", "/"},     {"?id=", ""},   {"/", ""},      {"-", ".php"}};

// Spreads neighbouring numbers over all of 64 bits, one to one (the last step of MurmurHash3).
uint64_t mix(uint64_t x) {
  x = (x ^ (x >> 33)) * 0xff51afd7ed558ccd;
  x = (x ^ (x >> 33)) * 0xc4ceb9fe1a85ec53;
  return x ^ (x >> 33);
}

double draw(made_up_web& web) {  // 0 to below 1
  return static_cast<double>(web.random() >> 11) * 0x1p-53;
}

// 0 to limit - 1, each magnitude as likely as any other.
uint32_t draw_magnitude(made_up_web& web, uint32_t limit) {
  const double value = std::exp(draw(web) * std::log(static_cast<double>(limit) + 1)) - 1;
  return std::min(static_cast<uint32_t>(value), limit - 1);
}

void append_random_end(std::string& url, uint64_t bits) {
  constexpr std::string_view DIGITS = "0123456789abcdefghijklmnopqrstuvwxyz";
  url.push_back('-');
  for (int i = 0; i < 8; ++i, bits /= DIGITS.size()) url.push_back(DIGITS[bits % DIGITS.size()]);
}

void spell_url(const made_up_web& web, uint32_t site, uint32_t page, std::string& url) {
  const uint64_t bits = mix(uint64_t{site} << 32 | page);
  url.clear();
  const page_form& form = PAGE_FORMS[mix(site) % std::size(PAGE_FORMS)];
  append_formatted_text(url, "http://www.site%u.example/%s/%s%s%u%s", site,
                        SECTIONS[bits % std::size(SECTIONS)], TITLES[page % std::size(TITLES)],
                        form.before, page, form.behind);
  if (web.random_ends) append_random_end(url, bits);
}

bool has_new_page(const made_up_web& web, uint32_t site) {
  return web.nb_pages[site] < web.max_pages[site];
}

uint32_t find_site_with_new_page(made_up_web& web, uint32_t site) {
  constexpr double SHARE_OF_OTHER_SITES = 0.1;
  if (has_new_page(web, site) && draw(web) >= SHARE_OF_OTHER_SITES) return site;
  site = draw_site(web);
  if (has_new_page(web, site)) return site;
  while (!has_new_page(web, web.first_open_site)) ++web.first_open_site;
  return web.first_open_site;
}

void follow_to_known_page(made_up_web& web, uint32_t site, made_up_link& link) {
  constexpr uint32_t NB_NAVIGATION_PAGES = 10;
  const double kind = 10 * draw(web);
  uint32_t from = site;
  if (kind >= 8 || web.nb_pages[from] == 0) from = draw_site(web);
  const uint32_t nb_pages = web.nb_pages[from];
  if (nb_pages == 0) {  // it turns out to be new
    link.is_new = true;
    spell_url(web, from, web.nb_pages[from]++, link.url);
    return;
  }
  link.is_new = false;
  uint32_t page = draw_magnitude(web, nb_pages);
  if (kind < 2)
    page = static_cast<uint32_t>(web.random() % std::min(nb_pages, NB_NAVIGATION_PAGES));
  if (kind >= 2 && kind < 8) page = nb_pages - 1 - page;
  spell_url(web, from, page, link.url);
}

}  // namespace

void init_made_up_web(made_up_web& web, uint32_t nb_sites, uint32_t nb_urls, bool random_ends) {
  constexpr double SPARE_PAGES = 1.25;  // so that the last URLs are not all of the smallest sites
  web = {};
  web.nb_sites = nb_sites;
  web.random_ends = random_ends;
  web.nb_pages.assign(nb_sites, 0);
  const double largest = SPARE_PAGES * nb_urls / (std::log(nb_sites) + 0.5772);
  for (uint32_t site = 0; site < nb_sites; ++site) {
    web.max_pages.push_back(1 + static_cast<uint32_t>(largest / (site + 1)));
  }
}

void follow_made_up_link(made_up_web& web, uint32_t site, made_up_link& link) {
  constexpr double SHARE_OF_NEW = 0.1;
  if (draw(web) >= SHARE_OF_NEW) {
    follow_to_known_page(web, site, link);
    return;
  }
  const uint32_t to = find_site_with_new_page(web, site);
  link.is_new = true;
  spell_url(web, to, web.nb_pages[to]++, link.url);
}

uint32_t draw_site(made_up_web& web) { return draw_magnitude(web, web.nb_sites); }

uint32_t find_site(const std::string& url) {
  return parse_unsigned(std::string_view(url).substr(HOST_PREFIX.size()));
}

}  // namespace wk
