// URLs that a queue has passed over because their host was not to be asked: a list for each host,
// in the order of the queue.
//
// Threads: one at a time, under the horizon's lock.
#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

namespace wk {

struct host_urls {
  std::string host;              // as find_url_host gives it
  std::deque<std::string> urls;  // never empty
};

struct urls_aside {
  std::vector<host_urls> hosts;  // by the first URL of each
  size_t nb_urls = 0;            // of all
};

// Costs time linear in the number of hosts.
void set_url_aside(urls_aside& aside, std::string_view host, std::string_view url);
// Takes the oldest URL of the host with this index.
[[nodiscard]] std::string take_url_aside(urls_aside& aside, size_t index);

}  // namespace wk
