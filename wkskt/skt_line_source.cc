#include <sys/socket.h>

#include <cerrno>

#include "wkskt/skt.h"

namespace wk {
namespace {

constexpr size_t PEEK_BYTES = 8'192;

// Looks at what waits in the socket; everything handed out before was taken. False at a close or an
// error.
bool peek_line_source(skt_line_source& source) {
  source.peeked.resize(PEEK_BYTES);
  ssize_t there = -1;
  do {
    there = ::recv(source.handle, source.peeked.data(), PEEK_BYTES, MSG_PEEK | MSG_DONTWAIT);
  } while (there < 0 && errno == EINTR);
  source.peeked.resize(there > 0 ? static_cast<size_t>(there) : 0);
  return there > 0;
}

}  // namespace

int read_line_skt_line_source(skt_line_source& source, std::string_view& line,
                              const skt_terms& terms, size_t max_bytes) {
  source.begun_line.clear();
  for (;;) {
    const std::string_view rest = std::string_view(source.peeked).substr(source.handed_out);
    const size_t feed = rest.find('\n');
    const std::string_view part = rest.substr(0, feed);
    if (part.size() > max_bytes - source.begun_line.size()) return 0;
    if (feed != std::string_view::npos) {
      source.handed_out += feed + 1;
      line = part;
      if (!source.begun_line.empty()) line = source.begun_line.append(part);
      return 1;
    }
    // All that is there belongs to the line, so it is taken, and a wait is for what comes behind
    // it.
    source.begun_line.append(part);
    source.handed_out = source.peeked.size();
    finish_skt_line_source(source);
    if (skt_wait_readable(source.handle, terms) == 0 || !peek_line_source(source)) return 0;
  }
}

void finish_skt_line_source(skt_line_source& source) {
  size_t done = 0;
  while (done < source.handed_out) {
    // The bytes are known already; the socket only has to let them go.
    const ssize_t got =
        ::recv(source.handle, source.peeked.data() + done, source.handed_out - done, 0);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    done += static_cast<size_t>(got);
  }
  source.peeked.clear();
  source.handed_out = 0;
}

}  // namespace wk
