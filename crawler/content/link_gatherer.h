// Where the extractors of a page put what they find: the list, the base that links are resolved
// against, and the bounds of a page.
//
// A context owns one gatherer and uses it for every page. Threads: one at a time.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "crawler/content/link_extractor.h"
#include "crawler/rules/crawl_rules.h"

namespace wk {

struct link_gatherer {
  const crawl_rules* rules = &DOCUMENTED_RULES;
  std::string_view base;         // of the links to come; outlives their gathering
  link_list* links = nullptr;    // of the page in work
  size_t nb_resolved_bytes = 0;  // of bases and links, for this page
  std::string resolved;          // the link in hand
};

// Begins a page: links is emptied.
void begin_link_gatherer(link_gatherer& gatherer, std::string_view base, link_list& links);
// True when the page gives no more links, whatever it holds.
[[nodiscard]] bool is_exhausted_link_gatherer(const link_gatherer& gatherer);

// Resolves value against the base, into gatherer.resolved. False when it names nothing to crawl.
[[nodiscard]] bool resolve_link(link_gatherer& gatherer, std::string_view value);
// Appends value resolved, whether or not the page has given it before.
void gather_link(link_gatherer& gatherer, std::string_view value);
// Appends an absolute URL as it stands.
void gather_absolute_link(link_gatherer& gatherer, std::string_view url);

// Gives back what an unusual page has blown up.
void trim_link_gatherer(link_gatherer& gatherer);
void trim_kept_text(std::string& text);

}  // namespace wk
