// Which rules a crawl goes by, in one record: it is filled when the crawler is built and fixed from
// then on, and whoever acts by a rule asks it.
//
// Owner: the crawler. Threads: any, no lock.
#pragma once

namespace wk {

struct crawl_rules {
  // One spelling of one page: URLs lose fragments and default ports before they are filtered.
  bool canonical_urls = false;
  // What is meant for one site goes to no other: cookies, credentials and passwords; redirects meet
  // filter and robots rules; nobody is led to an administration.
  bool strict_safety = false;
};

// What holds where no crawler is built: the documented rules.
inline constexpr crawl_rules DOCUMENTED_RULES;

}  // namespace wk
