// The links of a document: an HTML page, with or without its scripts, a Flash movie, a feed.
//
// A spider owns one link_context and uses it for every page; once it is warm, a page costs no
// allocation but the growth of its results. Threads: one at a time per context.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "crawler/rules/crawl_rules.h"

namespace wk {

struct http_fetcher;

constexpr size_t MAX_LINKS_PER_PAGE = 200'000;

// Links of one page in order of first appearance. The strings are kept over pages for their memory;
// only the first count are of this page.
struct link_list {
  std::vector<std::string> urls;
  uint32_t count = 0;
};
void clear_link_list(link_list& links);
void append_link_list(link_list& links, std::string_view url);

struct link_context;
struct destroy_link_context {
  void operator()(link_context* context) const;
};
using link_context_ptr = std::unique_ptr<link_context, destroy_link_context>;

// By the rules links are given in their canonical spelling or not (crawler/url/url_form.h): with it
// a page that links to one page by many fragments gives one link. The rules outlive the context.
[[nodiscard]] link_context_ptr create_link_context(const crawl_rules& rules = DOCUMENTED_RULES);
// The base of all links; empty (as at first): the page's own URL.
void set_base_link_context(link_context& context, std::string_view base_url);

// Turns links of scripts and movies on: pages then load their scripts through fetcher, whose
// response is overwritten, so no page may lie in it. Null (as at first) turns them off.
void set_script_fetcher_link_context(link_context& context, http_fetcher* fetcher);

// Replaces links by those of page: those of its tags, each once, then those of its scripts and of a
// movie where they are on. Malformed pages are said on standard error and give the links found so
// far. Linear in page and in the scripts it loads.
void extract_links(std::string_view page_url, std::string_view page, link_context& context,
                   link_list& links);
// Replaces links by those of a movie that is no page; none when its URL or its data says that there
// is no movie.
void extract_flash_links(std::string_view url, std::string_view data, link_context& context,
                         link_list& links);
// Replaces links by those of a feed's items.
void extract_feed_links(std::string_view url, std::string_view feed, link_context& context,
                        link_list& links);

}  // namespace wk
