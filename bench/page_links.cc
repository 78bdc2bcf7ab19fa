// Prints the links that the crawler finds on one page: "tag" and a URL for each link of a tag,
// "script" and a URL for each that only scripts and text hold. The page is fetched like any other,
// its scripts too.
//
//   page_links http://127.0.0.1:8080/page.html

#include <algorithm>
#include <cstdio>
#include <set>
#include <string>

#include "crawler/content/link_extractor.h"
#include "crawler/fetch/http_fetcher.h"

int main(int argc, char** argv) {
  using namespace wk;
  if (argc != 2) {
    std::fprintf(stderr, "Usage: page_links URL\n");
    return 1;
  }
  fetch_settings settings;
  const http_fetcher_ptr page_fetcher = create_http_fetcher(settings);
  const http_fetcher_ptr script_fetcher = create_http_fetcher(settings);
  uint32_t seconds = 0;
  if (fetch_url(*page_fetcher, argv[1], {}, seconds) != 1) {
    std::fprintf(stderr, "%s cannot be had (status %u)\n", argv[1], page_fetcher->response.status);
    return 1;
  }

  const crawl_rules rules{.canonical_urls = true};
  const link_context_ptr context = create_link_context(rules);
  link_list links;
  extract_links(page_fetcher->current_url, page_fetcher->response.body, *context, links);
  const uint32_t nb_of_tags = links.count;
  set_script_fetcher_link_context(*context, script_fetcher.get());
  extract_links(page_fetcher->current_url, page_fetcher->response.body, *context, links);
  std::set<std::string> printed;
  for (uint32_t i = 0; i < links.count; ++i) {
    if (!printed.insert(links.urls[i]).second) continue;
    std::printf("%s %s\n", i < nb_of_tags ? "tag" : "script", links.urls[i].c_str());
  }
  return 0;
}
