// What the resolver said of hosts: a crawl asks for a host once and not for every page of it.
//
// An address is kept for a minute. A host to which no connection can be made is forgotten, so that
// one that has moved is found at its next try. A name that was not found, or not in time, is not
// asked for again for a minute; each further failure doubles that, up to an hour.
//
// One memory for the process, with a lock of its own that is never held while the resolver is
// asked. now_us is of the steady clock.
#pragma once

#include <netinet/in.h>

#include <cstddef>
#include <cstdint>

namespace wk {

constexpr uint64_t SKT_ADDRESS_LIFE_US = 60'000'000;
constexpr size_t SKT_MAX_ADDRESSES = 4'096;  // with one more, all are forgotten
constexpr uint64_t SKT_MISSING_LIFE_US = 60'000'000;
constexpr uint64_t SKT_LONGEST_MISSING_LIFE_US = 3'600'000'000;
constexpr size_t SKT_MAX_MISSING = 65'536;  // with one more, all are forgotten

enum skt_recalled : uint32_t {
  SKT_ADDRESS_UNKNOWN = 0,
  SKT_ADDRESS_KNOWN = 1,
  SKT_ADDRESS_MISSING = 2,  // it failed a short time ago
};

[[nodiscard]] skt_recalled recall_skt_address(const char* host, uint64_t now_us,
                                              struct in_addr& address);
void keep_skt_address(const char* host, uint64_t now_us, struct in_addr address);
void forget_skt_address(const char* host);
// The name was asked for, and in vain.
void keep_missing_skt_address(const char* host, uint64_t now_us);
// For how long the host still counts as missing, in µs; 0: it may be asked for.
[[nodiscard]] uint64_t get_missing_time_skt_address(const char* host, uint64_t now_us);

}  // namespace wk
