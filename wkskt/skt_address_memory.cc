#include "wkskt/skt_address_memory.h"

#include <mutex>
#include <string>
#include <unordered_map>

namespace wk {
namespace {

struct kept_address {
  struct in_addr address;
  uint64_t until_us;
};

struct address_memory {
  std::mutex lock;  // guards all below
  std::unordered_map<std::string, kept_address> hosts;
};

// Never freed: threads may ask still while the process ends.
address_memory& get_memory() {
  static address_memory& memory = *new address_memory;
  return memory;
}

}  // namespace

bool recall_skt_address(const char* host, uint64_t now_us, struct in_addr& address) {
  address_memory& memory = get_memory();
  const std::lock_guard<std::mutex> hold(memory.lock);
  const auto kept = memory.hosts.find(host);
  if (kept == memory.hosts.end() || kept->second.until_us <= now_us) return false;
  address = kept->second.address;
  return true;
}

void keep_skt_address(const char* host, uint64_t now_us, struct in_addr address) {
  address_memory& memory = get_memory();
  const std::lock_guard<std::mutex> hold(memory.lock);
  if (memory.hosts.size() >= SKT_MAX_ADDRESSES) memory.hosts.clear();
  memory.hosts[host] = {address, now_us + SKT_ADDRESS_LIFE_US};
}

void forget_skt_address(const char* host) {
  address_memory& memory = get_memory();
  const std::lock_guard<std::mutex> hold(memory.lock);
  memory.hosts.erase(host);
}

}  // namespace wk
