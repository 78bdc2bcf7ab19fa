#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "wkskt/skt.h"

namespace wk {
namespace {

constexpr size_t BLOCK_BYTES = 32'768;
constexpr size_t PEEK_BYTES = 4'096;

// As recv, without interruptions.
ssize_t receive(int handle, char* buffer, size_t count, int flags) {
  ssize_t got = -1;
  do {
    got = ::recv(handle, buffer, count, flags);
  } while (got < 0 && errno == EINTR);
  return got;
}

// Makes out larger than the bytes it holds so far, unless that is max_bytes; grown by a part of
// what it is, the whole costs time linear in the bytes that come.
bool make_room(std::string& out, size_t done, size_t max_bytes) {
  if (done == out.size()) {
    out.resize(done + std::min(max_bytes - done, std::max(BLOCK_BYTES, done / 2)));
  }
  return done < out.size();
}

// Takes the line's next part: what is there up to a line feed. 1 when the line feed was taken, 0
// when the line goes on, -1 at a close, an error, or past max_bytes.
int take_line_part(std::string& line, int handle, size_t max_bytes) {
  char peeked[PEEK_BYTES];
  const ssize_t there = receive(handle, peeked, sizeof peeked, MSG_PEEK);
  if (there <= 0) return -1;
  const void* feed = std::memchr(peeked, '\n', static_cast<size_t>(there));
  const size_t length = feed != nullptr
                            ? static_cast<size_t>(static_cast<const char*>(feed) - peeked)
                            : static_cast<size_t>(there);
  if (length > max_bytes - line.size()) return -1;
  const size_t taken = length + (feed != nullptr ? 1 : 0);
  if (receive(handle, peeked, taken, 0) != static_cast<ssize_t>(taken)) return -1;
  line.append(peeked, length);
  return feed != nullptr ? 1 : 0;
}

}  // namespace

int64_t skt_recv_all(int handle, char* buffer, size_t count) {
  size_t done = 0;
  while (done < count) {
    const ssize_t got = receive(handle, buffer + done, std::min(count - done, BLOCK_BYTES - 1), 0);
    if (got < 0) return -1;
    if (got == 0) break;
    done += static_cast<size_t>(got);
  }
  return static_cast<int64_t>(done);
}

int64_t skt_recv_all_with_timeout(char* buffer, size_t count, int handle, const skt_terms& terms) {
  if (count == 0) return 0;
  std::memset(buffer, 0, count);
  if (terms.limit_us == SKT_NO_WAIT_US) return skt_recv_all(handle, buffer, count);
  size_t done = 0;
  while (done < count && skt_wait_readable(handle, terms) == 1) {
    const ssize_t got = receive(handle, buffer + done, count - done, MSG_DONTWAIT);
    if (got < 0 && errno == EAGAIN) continue;
    if (got < 0) return -1;
    if (got == 0) break;
    done += static_cast<size_t>(got);
  }
  return static_cast<int64_t>(done);
}

int skt_read_line(std::string& line, int handle, size_t max_bytes) {
  line.clear();
  for (;;) {
    const int part = take_line_part(line, handle, max_bytes);
    if (part != 0) return part == 1 ? 1 : 0;
  }
}

int skt_read_line_with_timeout(std::string& line, int handle, const skt_terms& terms,
                               size_t max_bytes) {
  line.clear();
  for (;;) {
    if (skt_wait_readable(handle, terms) == 0) return 0;
    const int part = take_line_part(line, handle, max_bytes);
    if (part != 0) return part == 1 ? 1 : 0;
  }
}

// An error ends the reading as a close does.
size_t skt_read_counted_with_timeout(char* buffer, size_t count, int handle,
                                     const skt_terms& terms) {
  if (count == 0) return 0;
  std::memset(buffer, 0, count);
  size_t done = 0;
  while (done < count && skt_wait_readable(handle, terms) == 1) {
    const ssize_t got = receive(handle, buffer + done, count - done, MSG_DONTWAIT);
    if (got < 0 && errno == EAGAIN) continue;
    if (got <= 0) break;
    done += static_cast<size_t>(got);
  }
  return done;
}

// Waits only where nothing is there yet: the rest of an answer has mostly come with its head.
size_t skt_read_until_quiet(std::string& out, int handle, const skt_terms& terms,
                            size_t max_bytes) {
  out.clear();
  size_t done = 0;
  while (done < max_bytes && !is_over_skt_terms(terms)) {
    if (!make_room(out, done, max_bytes)) break;
    const ssize_t got = receive(handle, out.data() + done, out.size() - done, MSG_DONTWAIT);
    if (got < 0 && errno == EAGAIN) {
      if (skt_wait_readable(handle, terms) == 0) break;
      continue;
    }
    if (got <= 0) break;
    done += static_cast<size_t>(got);
  }
  out.resize(done);
  return done;
}

int64_t skt_read_all(std::string& out, int handle, const skt_terms& terms, size_t max_bytes) {
  out.clear();
  size_t done = 0;
  ssize_t got = 1;
  while (done < max_bytes && got > 0) {
    if (terms.limit_us != SKT_NO_WAIT_US && skt_wait_readable(handle, terms) == 0) break;
    if (!make_room(out, done, max_bytes)) break;
    got = receive(handle, out.data() + done, std::min(out.size() - done, BLOCK_BYTES), 0);
    if (got > 0) done += static_cast<size_t>(got);
  }
  out.resize(done);
  return got < 0 ? -1 : static_cast<int64_t>(done);
}

}  // namespace wk
