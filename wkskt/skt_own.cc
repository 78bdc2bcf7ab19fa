#include "wkskt/skt_own.h"

#include <ifaddrs.h>
#include <unistd.h>

#include <climits>
#include <string>

#include "wkskt/skt_resolve.h"
#include "wkstd/text.h"

namespace wk {
namespace {

bool is_own_name(std::string_view name) {
  // Every name below localhost means the same (RFC 6761).
  const std::string_view last = name.substr(name.rfind('.') + 1);
  if (equals_ignoring_case(last, "localhost")) return true;
  char own[HOST_NAME_MAX + 1] = {};
  return ::gethostname(own, sizeof own - 1) == 0 && *own != '\0' && equals_ignoring_case(name, own);
}

}  // namespace

bool is_own_skt_address(struct in_addr address) {
  const uint32_t number = ntohl(address.s_addr);
  if (number >> 24 == 127 || number == INADDR_ANY) return true;
  struct ifaddrs* interfaces = nullptr;
  if (::getifaddrs(&interfaces) != 0) return true;  // who can't be asked is not trusted
  bool own = false;
  for (const struct ifaddrs* i = interfaces; i != nullptr && !own; i = i->ifa_next) {
    if (i->ifa_addr == nullptr || i->ifa_addr->sa_family != AF_INET) continue;
    own =
        reinterpret_cast<const struct sockaddr_in*>(i->ifa_addr)->sin_addr.s_addr == address.s_addr;
  }
  ::freeifaddrs(interfaces);
  return own;
}

bool is_own_skt_host(std::string_view host) {
  host.remove_prefix(host.rfind('@') + 1);  // none: nothing
  while (host.ends_with('.')) host.remove_suffix(1);
  if (host.find('%') != std::string_view::npos) return true;
  struct in_addr address {};
  if (read_skt_address(std::string(host).c_str(), address)) return is_own_skt_address(address);
  return is_own_name(host);
}

}  // namespace wk
