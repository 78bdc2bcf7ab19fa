// Hosts of which something has been said in the log, so that it is said once of each.
//
// Bounded: of hosts beyond the first 10,000, and of names longer than any name is, nothing is said.
// Owner: the crawler. Threads: any; its own lock is held over one look.
#pragma once

#include <cstddef>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <string_view>

namespace wk {

constexpr size_t MAX_SAID_HOSTS = 10'000;

struct said_hosts {
  std::mutex lock;  // guards all below
  std::set<std::string, std::less<>> hosts;
};

// True when it is to be said of this host; not so again.
[[nodiscard]] bool enter_said_host(said_hosts& said, std::string_view host);

}  // namespace wk
