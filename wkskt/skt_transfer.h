// The single receive and send that every reading and sending function is made of.
//
// No call blocks in the system except in the wait of skt_wait.cc, whatever mode a handle is in: a
// transfer is tried first, and only when the socket has nothing to give or no room is it waited
// for. So what is there already costs one system call, and every wait sees stop and deadline.
#pragma once

#include <cstddef>
#include <cstdint>

#include "wkskt/skt.h"

namespace wk {

constexpr uint64_t SKT_UNLIMITED_US = UINT64_MAX;

constexpr int64_t SKT_PART_CLOSED = 0;
constexpr int64_t SKT_PART_FAILED = -1;
constexpr int64_t SKT_PART_TIMED_OUT = -2;

// The same terms, their limit taken away; stop and deadline stay.
[[nodiscard]] skt_terms build_unlimited_skt_terms(const skt_terms& terms);
// Stopped, or past the deadline.
[[nodiscard]] bool is_over_skt_terms(const skt_terms& terms);

// Receives at most count bytes, at least one: their number, or one of the three above. REQUIRES:
// count > 0.
[[nodiscard]] int64_t receive_skt_part(int handle, char* buffer, size_t count,
                                       const skt_terms& terms);
// The same bytes without taking them. It waits before it looks, for its callers have mostly read
// the socket empty.
[[nodiscard]] int64_t peek_skt_part(int handle, char* buffer, size_t count, const skt_terms& terms);
// Takes count bytes that were peeked at and drops them.
[[nodiscard]] bool drop_peeked_skt_bytes(int handle, size_t count);

// Receives until count bytes are there or a part does not come; last tells how that part ended.
[[nodiscard]] size_t receive_skt_bytes(int handle, char* buffer, size_t count,
                                       const skt_terms& terms, int64_t& last);
// Replaces out by what comes until max_bytes are there or a part does not come; answers how the
// last part ended. Memory grows with what has come, never with max_bytes alone.
[[nodiscard]] int64_t receive_skt_blocks(std::string& out, int handle, const skt_terms& terms,
                                         size_t max_bytes);

// True when all was sent. more: further bytes follow at once, and may share a segment with these.
[[nodiscard]] bool send_skt_bytes(int handle, std::string_view bytes, const skt_terms& terms,
                                  bool more = false);

}  // namespace wk
