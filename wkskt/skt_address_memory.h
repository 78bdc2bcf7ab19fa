// The addresses that the resolver gave, each kept for a minute: a crawl asks for a host once and
// not for every page of it. Only what was found is kept. A host to which no connection can be made
// is forgotten, so that one that has moved is found at its next try.
//
// One memory for the process, with a lock of its own that is never held while the resolver is
// asked.
#pragma once

#include <netinet/in.h>

#include <cstddef>
#include <cstdint>

namespace wk {

constexpr uint64_t SKT_ADDRESS_LIFE_US = 60'000'000;
constexpr size_t SKT_MAX_ADDRESSES = 4'096;  // with one more, all are forgotten

// now_us is of the steady clock.
[[nodiscard]] bool recall_skt_address(const char* host, uint64_t now_us, struct in_addr& address);
void keep_skt_address(const char* host, uint64_t now_us, struct in_addr address);
void forget_skt_address(const char* host);

}  // namespace wk
