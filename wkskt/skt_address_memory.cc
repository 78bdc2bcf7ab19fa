#include "wkskt/skt_address_memory.h"

#include <algorithm>
#include <mutex>
#include <string>
#include <unordered_map>

namespace wk {
namespace {

struct kept_address {
  struct in_addr address;
  uint64_t until_us;
};

struct missing_address {
  uint64_t until_us;
  uint64_t life_us;  // of this failure; the next one's is twice as long
};

struct address_memory {
  std::mutex lock;  // guards all below
  std::unordered_map<std::string, kept_address> hosts;
  std::unordered_map<std::string, missing_address> missing;
};

// Never freed: threads may ask still while the process ends.
address_memory& get_memory() {
  static address_memory& memory = *new address_memory;
  return memory;
}

// Caller holds the lock.
uint64_t find_missing_time(const address_memory& memory, const char* host, uint64_t now_us) {
  const auto missing = memory.missing.find(host);
  if (missing == memory.missing.end() || missing->second.until_us <= now_us) return 0;
  return missing->second.until_us - now_us;
}

}  // namespace

skt_recalled recall_skt_address(const char* host, uint64_t now_us, struct in_addr& address) {
  address_memory& memory = get_memory();
  const std::lock_guard<std::mutex> hold(memory.lock);
  const auto kept = memory.hosts.find(host);
  if (kept != memory.hosts.end() && kept->second.until_us > now_us) {
    address = kept->second.address;
    return SKT_ADDRESS_KNOWN;
  }
  return find_missing_time(memory, host, now_us) > 0 ? SKT_ADDRESS_MISSING : SKT_ADDRESS_UNKNOWN;
}

void keep_skt_address(const char* host, uint64_t now_us, struct in_addr address) {
  address_memory& memory = get_memory();
  const std::lock_guard<std::mutex> hold(memory.lock);
  if (memory.hosts.size() >= SKT_MAX_ADDRESSES) memory.hosts.clear();
  memory.hosts[host] = {address, now_us + SKT_ADDRESS_LIFE_US};
  memory.missing.erase(host);
}

void forget_skt_address(const char* host) {
  address_memory& memory = get_memory();
  const std::lock_guard<std::mutex> hold(memory.lock);
  memory.hosts.erase(host);
}

void keep_missing_skt_address(const char* host, uint64_t now_us) {
  address_memory& memory = get_memory();
  const std::lock_guard<std::mutex> hold(memory.lock);
  if (memory.missing.size() >= SKT_MAX_MISSING) memory.missing.clear();
  const auto [at, is_new] = memory.missing.try_emplace(host);
  missing_address& missing = at->second;
  // Several who asked at the same time have failed once.
  if (!is_new && missing.until_us > now_us) return;
  missing.life_us =
      is_new ? SKT_MISSING_LIFE_US : std::min(2 * missing.life_us, SKT_LONGEST_MISSING_LIFE_US);
  missing.until_us = now_us + missing.life_us;
}

uint64_t get_missing_time_skt_address(const char* host, uint64_t now_us) {
  address_memory& memory = get_memory();
  const std::lock_guard<std::mutex> hold(memory.lock);
  return find_missing_time(memory, host, now_us);
}

}  // namespace wk
