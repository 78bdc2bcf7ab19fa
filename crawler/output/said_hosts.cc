#include "crawler/output/said_hosts.h"

namespace wk {

bool enter_said_host(said_hosts& said, std::string_view host) {
  constexpr size_t MAX_HOST_BYTES = 300;  // 253 of a name, a port, and who is to be asked there
  if (host.size() > MAX_HOST_BYTES) return false;
  const std::lock_guard guard(said.lock);
  if (said.hosts.contains(host) || said.hosts.size() >= MAX_SAID_HOSTS) return false;
  said.hosts.emplace(host);
  return true;
}

}  // namespace wk
