#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <cerrno>

#include "wkskt/skt.h"

namespace wk {
namespace {

int64_t read_count(ssize_t count) {
  if (count >= 0) return count;
  return errno == EAGAIN ? SKT_WOULD_WAIT : -1;
}

}  // namespace

int skt_accept_now(int handle, uint32_t* address) {
  if (::fcntl(handle, F_SETFL, O_NONBLOCK) != 0) return -1;  // a socket has no other flag
  struct sockaddr_in client {};
  socklen_t length = sizeof client;
  int accepted = -1;
  do {
    length = sizeof client;
    accepted =
        ::accept4(handle, reinterpret_cast<struct sockaddr*>(&client), &length, SOCK_CLOEXEC);
  } while (accepted < 0 && (errno == EINTR || errno == ECONNABORTED));
  if (accepted < 0) return -1;
  if (address != nullptr) *address = client.sin_addr.s_addr;
  const int on = 1;
  (void)::setsockopt(accepted, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);  // costs speed only
  // The listening socket has handed its own lingering down.
  const struct linger none = {0, 0};
  (void)::setsockopt(accepted, SOL_SOCKET, SO_LINGER, &none, sizeof none);
  return accepted;
}

int64_t skt_recv_now(char* buffer, size_t count, int handle) {
  ssize_t received = -1;
  do {
    received = ::recv(handle, buffer, count, MSG_DONTWAIT);
  } while (received < 0 && errno == EINTR);
  return read_count(received);
}

int64_t skt_send_now(int handle, std::string_view bytes) {
  ssize_t sent = -1;
  do {
    sent = ::send(handle, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
  } while (sent < 0 && errno == EINTR);
  return read_count(sent);
}

void skt_end_sending(int handle) { ::shutdown(handle, SHUT_WR); }

}  // namespace wk
