#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

#include "wkskt/skt.h"

namespace wk {
namespace {

// One less than the send buffer, as a large transfer is cut.
size_t get_send_chunk(int handle, size_t count) {
  if (count < SKT_BUFFER_BYTES) return count;  // one call, whatever the buffer
  int size = 0;
  socklen_t length = sizeof size;
  if (::getsockopt(handle, SOL_SOCKET, SO_SNDBUF, &size, &length) != 0 || size <= 1) {
    return SKT_BUFFER_BYTES;
  }
  return static_cast<size_t>(size) - 1;
}

}  // namespace

int64_t skt_send_all(int handle, std::string_view bytes) {
  const size_t chunk = get_send_chunk(handle, bytes.size());
  size_t done = 0;
  while (done < bytes.size()) {
    const size_t part = std::min(chunk, bytes.size() - done);
    const ssize_t sent = ::send(handle, bytes.data() + done, part, MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent < 1) return -1;
    done += static_cast<size_t>(sent);
  }
  return static_cast<int64_t>(done);
}

int64_t skt_send_string(int handle, std::string_view text) { return skt_send_all(handle, text); }

// A peer that takes nothing would hold a blocking send for ever. What is not taken at once waits
// for its turn; a socket's buffer takes most requests whole.
int skt_send_all_with_timeout(int handle, std::string_view bytes, const skt_terms& terms) {
  if (handle < 0 || is_over_skt_terms(terms)) return 0;
  const size_t chunk = get_send_chunk(handle, bytes.size());
  size_t done = 0;
  while (done < bytes.size()) {
    const size_t part = std::min(chunk, bytes.size() - done);
    const ssize_t sent = ::send(handle, bytes.data() + done, part, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent > 0) {
      done += static_cast<size_t>(sent);
    } else if (sent == 0 || (errno != EINTR && errno != EAGAIN)) {
      return 0;
    } else if (errno == EAGAIN && skt_wait_writable(handle, terms) == 0) {
      return 0;
    }
  }
  return 1;
}

}  // namespace wk
