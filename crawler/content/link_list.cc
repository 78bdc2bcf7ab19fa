// The list of a page's links and the bound on the memory that it keeps from page to page.
#include <algorithm>

#include "crawler/content/link_extractor.h"

namespace wk {
namespace {

// What a list keeps for the next page; the rest of an unusual page is given back.
constexpr size_t MAX_KEPT_LINKS = 8'192;
constexpr size_t MAX_KEPT_LINK_BYTES = 2'048;

}  // namespace

// An assignment of a short text would keep the memory of the long one; a swap gives it back.
void clear_link_list(link_list& links) {
  if (links.urls.size() > MAX_KEPT_LINKS) links.urls.resize(MAX_KEPT_LINKS);
  const size_t nb_used = std::min<size_t>(links.count, links.urls.size());
  for (size_t i = 0; i < nb_used; ++i) {
    if (links.urls[i].capacity() > MAX_KEPT_LINK_BYTES) std::string().swap(links.urls[i]);
  }
  links.count = 0;
}

void append_link_list(link_list& links, std::string_view url) {
  if (links.count == MAX_LINKS_PER_PAGE) return;
  if (links.count == links.urls.size()) {
    links.urls.emplace_back(url);
  } else {
    links.urls[links.count].assign(url);
  }
  ++links.count;
}

}  // namespace wk
