#include <arpa/inet.h>

#include <cstring>

#include "wkskt/skt.h"

namespace wk {
namespace {

// With a limit of 0 nothing is waited for.
bool may_receive(int handle, const skt_terms& terms) {
  return terms.limit_us == 0 || skt_wait_readable(handle, terms) == 1;
}

// A sender that stops within its own bytes does not hold the receiver beyond the limit.
size_t receive_bytes(int handle, char* buffer, size_t count, const skt_terms& terms) {
  if (terms.limit_us != 0) return skt_read_counted_with_timeout(buffer, count, handle, terms);
  const int64_t got = skt_recv_all(handle, buffer, count);
  return got < 0 ? 0 : static_cast<size_t>(got);
}

bool receive_number(int handle, uint32_t& value, const skt_terms& terms) {
  uint32_t wire = 0;
  char bytes[sizeof wire];
  if (receive_bytes(handle, bytes, sizeof bytes, terms) != sizeof bytes) return false;
  std::memcpy(&wire, bytes, sizeof wire);
  value = ntohl(wire);
  return true;
}

std::string_view as_bytes(const uint32_t& wire) {
  return {reinterpret_cast<const char*>(&wire), sizeof wire};
}

int send_bytes(int handle, std::string_view bytes, const skt_terms& terms) {
  if (terms.limit_us != 0) return skt_send_all_with_timeout(handle, bytes, terms);
  return skt_send_all(handle, bytes) == static_cast<int64_t>(bytes.size()) ? 1 : 0;
}

}  // namespace

void skt_send_uint32(int handle, uint32_t value) {
  const uint32_t wire = htonl(value);
  (void)skt_send_all(handle, as_bytes(wire));  // an error shows when an answer is waited for
}

int skt_send_uint32_with_timeout(int handle, uint32_t value, const skt_terms& terms) {
  const uint32_t wire = htonl(value);
  return send_bytes(handle, as_bytes(wire), terms);
}

uint32_t skt_recv_uint32(int handle) {
  uint32_t value = 0;
  return receive_number(handle, value, {}) ? value : SKT_NO_NUMBER;
}

uint32_t skt_recv_uint32_with_timeout(int handle, const skt_terms& terms) {
  uint32_t value = 0;
  return receive_number(handle, value, terms) ? value : SKT_NO_NUMBER;
}

int skt_send_message(int handle, std::string_view text, const skt_terms& terms) {
  if (text.size() > UINT32_MAX) return 0;
  const uint32_t wire = htonl(static_cast<uint32_t>(text.size()));
  if (send_bytes(handle, as_bytes(wire), terms) == 0) return 0;
  return text.empty() ? 1 : send_bytes(handle, text, terms);
}

bool skt_recv_message(int handle, std::string& text, const skt_terms& terms, size_t max_bytes) {
  text.clear();
  uint32_t length = 0;
  if (!may_receive(handle, terms) || !receive_number(handle, length, terms)) return false;
  // The length is announced by the peer: memory is spent only as bytes come.
  constexpr size_t STEP_BYTES = 1 << 20;
  if (length > max_bytes) return false;
  while (text.size() < length) {
    const size_t before = text.size();
    const size_t step = length - before < STEP_BYTES ? length - before : STEP_BYTES;
    text.resize(before + step);
    const size_t got = receive_bytes(handle, text.data() + before, step, terms);
    if (got == step) continue;
    text.clear();
    return false;
  }
  return true;
}

}  // namespace wk
