// Links are parts of the page, in its order; the list is each of them resolved, once.
#include <algorithm>
#include <string>
#include <vector>

#include "crawler/content/html_scan.h"
#include "crawler/content/link_extractor.h"
#include "crawler/url/url_resolve.h"
#include "tests/fuzz/fuzz_law.h"

namespace wk {

void test_one_input(std::string_view bytes) {
  const std::string page_url = "http://h.test/a/" + std::string(take_part(bytes));
  const std::string page(bytes);  // ends where its memory does
  std::vector<std::string> expected;
  std::string base = page_url, url;
  size_t behind = 0;
  size_t nb_links = 0;
  html_scan scan = start_html_scan(page);
  for (html_link link; find_next_html_link(scan, link); ++nb_links) {
    const auto at = static_cast<size_t>(link.value.data() - page.data());
    require_law(at >= behind && at + link.value.size() <= scan.at && scan.at <= page.size(),
                "a link stands behind the one before");
    require_law(!link.value.empty() && link.value.find('\0') == std::string::npos, "it has bytes");
    behind = at + link.value.size();
    url.clear();
    if (build_absolute_url(url, link.value, base) == 0 || url.empty()) continue;
    if (std::find(expected.begin(), expected.end(), url) != expected.end()) continue;
    expected.push_back(url);
    if (link.is_base && expected.size() == 1) base = url;
  }
  const auto nb_tags = static_cast<size_t>(std::count(page.begin(), page.end(), '<'));
  require_law(nb_links <= nb_tags, "a tag gives one link at most");

  static const link_context_ptr context = create_link_context();
  static link_list links;
  extract_links(page_url, page, *context, links);
  require_law(links.count == expected.size() &&
                  std::equal(expected.begin(), expected.end(), links.urls.begin()),
              "the list is the page's links, resolved, each once");
}

}  // namespace wk
