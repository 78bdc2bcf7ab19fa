#include "crawler/horizon/urls_aside.h"

#include <algorithm>
#include <utility>

namespace wk {

void set_url_aside(urls_aside& aside, std::string_view host, std::string_view url) {
  auto at = std::find_if(aside.hosts.begin(), aside.hosts.end(),
                         [host](const host_urls& known) { return known.host == host; });
  if (at == aside.hosts.end()) at = aside.hosts.insert(at, {std::string(host), {}});
  at->urls.emplace_back(url);
  ++aside.nb_urls;
}

std::string take_url_aside(urls_aside& aside, size_t index) {
  host_urls& host = aside.hosts[index];
  std::string url = std::move(host.urls.front());
  host.urls.pop_front();
  --aside.nb_urls;
  if (host.urls.empty()) aside.hosts.erase(aside.hosts.begin() + static_cast<ptrdiff_t>(index));
  return url;
}

}  // namespace wk
