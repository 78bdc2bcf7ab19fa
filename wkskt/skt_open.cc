#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "wkskt/skt.h"
#include "wkskt/skt_address_memory.h"
#include "wkskt/skt_own.h"
#include "wkskt/skt_resolve.h"
#include "wkstd/clock.h"
#include "wkstd/error.h"
#include "wkstd/text.h"

namespace wk {
namespace {

constexpr int BACKLOG = 1024;
constexpr uint32_t MAX_PORT = 65'535;

struct sockaddr_in make_address(struct in_addr host, uint32_t port) {
  struct sockaddr_in address {};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(port));
  address.sin_addr = host;
  return address;
}

const struct sockaddr* as_generic(const struct sockaddr_in& address) {
  return reinterpret_cast<const struct sockaddr*>(&address);
}

// Asks the resolver and remembers what it said. A stop says nothing about the host.
skt_fault ask_for_host(const char* host, const skt_terms& terms, struct in_addr& address) {
  switch (look_up_skt_address(host, terms, address)) {
    case SKT_LOOK_UP_FOUND:
      return SKT_NO_FAULT;
    case SKT_LOOK_UP_SHORT:
      return SKT_SHORTAGE_FAULT;
    case SKT_LOOK_UP_FAILED:
      keep_missing_skt_address(host, get_steady_time_us());
      return SKT_NO_ADDRESS_FAULT;
    case SKT_LOOK_UP_STOPPED:
      break;
  }
  return SKT_PEER_FAULT;
}

// An address in digits needs no resolver, and a name none that was asked for a short time ago.
skt_fault resolve_host(const char* host, uint32_t port, const skt_terms& terms,
                       struct in_addr& address) {
  if (read_skt_address(host, address)) return SKT_NO_FAULT;
  skt_fault fault = SKT_NO_ADDRESS_FAULT;
  switch (recall_skt_address(host, get_steady_time_us(), address)) {
    case SKT_ADDRESS_KNOWN:
      return SKT_NO_FAULT;
    case SKT_ADDRESS_MISSING:
      break;
    case SKT_ADDRESS_UNKNOWN:
      fault = ask_for_host(host, terms, address);
  }
  if (fault != SKT_NO_FAULT && fault != SKT_SHORTAGE_FAULT) {
    print_message(format_text("Socket error: %s:%d\n", host, static_cast<int>(port)));
  }
  return fault;
}

void set_option(int handle, int level, int name, int value) {
  // An option that is refused costs speed only.
  (void)::setsockopt(handle, level, name, &value, sizeof value);
}

void set_buffer_options(int handle) {
  set_option(handle, IPPROTO_TCP, TCP_NODELAY, 1);
  set_option(handle, SOL_SOCKET, SO_SNDBUF, SKT_BUFFER_BYTES);
  set_option(handle, SOL_SOCKET, SO_RCVBUF, SKT_BUFFER_BYTES);
}

bool finish_connect(int handle) {
  int error = 0;
  socklen_t length = sizeof error;
  if (::getsockopt(handle, SOL_SOCKET, SO_ERROR, &error, &length) != 0) {
    return ::send(handle, "", 0, MSG_NOSIGNAL) == 0;
  }
  errno = error;
  return error == 0;
}

bool connect_in_blocking_mode(int handle, const struct sockaddr_in& address) {
  if (::connect(handle, as_generic(address), sizeof address) == 0) return true;
  if (errno != EINTR) return false;
  // The system goes on connecting behind the interruption.
  struct pollfd wanted = {handle, POLLOUT, 0};
  while (::poll(&wanted, 1, -1) < 0 && errno == EINTR) {
  }
  return finish_connect(handle);
}

// handle was made non-blocking.
bool connect_within_limit(int handle, const struct sockaddr_in& address, const skt_terms& terms) {
  bool connected = ::connect(handle, as_generic(address), sizeof address) == 0;
  // To a peer on this machine the connection is made by now, and a second call says so.
  if (!connected && errno == EINPROGRESS) {
    connected = ::connect(handle, as_generic(address), sizeof address) == 0;
  }
  const bool pending = !connected && (errno == EALREADY || errno == EINTR);
  if (!connected && !pending) return false;
  if (pending && (skt_wait_writable(handle, terms) == 0 || !finish_connect(handle))) return false;
  return ::fcntl(handle, F_SETFL, 0) == 0;  // blocking again; a socket has no other flag
}

// -1 and the reason in errno.
int connect_to(struct in_addr host, uint32_t port, const skt_terms& terms) {
  const bool limited = terms.limit_us != 0;
  const int handle =
      ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | (limited ? SOCK_NONBLOCK : 0), 0);
  if (handle < 0) return -1;
  // A receive buffer counts from the handshake on, so it is set before.
  set_buffer_options(handle);
  const struct sockaddr_in address = make_address(host, port);
  const bool connected = limited ? connect_within_limit(handle, address, terms)
                                 : connect_in_blocking_mode(handle, address);
  if (connected) return handle;
  const int reason = errno;
  skt_close(handle);
  errno = reason;
  return -1;
}

bool is_refused_own(struct in_addr address, uint32_t port, const skt_terms& terms) {
  const bool is_refused_port = terms.refused_own_port != 0 && port == terms.refused_own_port;
  return (is_refused_port || terms.refuses_own_addresses) && is_own_skt_address(address);
}

skt_fault open_connection(int& handle, const char* host, uint32_t port, const skt_terms& terms) {
  struct in_addr address {};
  const skt_fault fault = resolve_host(host, port, terms, address);
  if (fault != SKT_NO_FAULT) return fault;
  if (is_refused_own(address, port, terms)) return SKT_OWN_FAULT;
  errno = 0;
  handle = connect_to(address, port, terms);
  if (handle >= 0) return SKT_NO_FAULT;
  // "Again" is a connect's way to say that there is no client port or route left.
  if (is_skt_shortage(errno) || errno == EAGAIN) return SKT_SHORTAGE_FAULT;
  forget_skt_address(host);
  return SKT_PEER_FAULT;
}

bool get_bound(int handle, struct sockaddr_in& address) {
  socklen_t length = sizeof address;
  return ::getsockname(handle, reinterpret_cast<struct sockaddr*>(&address), &length) == 0 &&
         address.sin_family == AF_INET;
}

}  // namespace

// The system's sockets are there without being asked for.
void skt_startup() {}

void skt_cleanup() {}

int skt_open_with_timeout(const char* host, uint32_t port, const skt_terms& terms) {
  int handle = -1;
  skt_fault fault = SKT_PEER_FAULT;
  if (port != 0 && port <= MAX_PORT) {
    if (host == nullptr) return skt_listen("0.0.0.0", port);
    if (*host != '\0') fault = open_connection(handle, host, port, terms);
  }
  if (terms.fault != nullptr) *terms.fault = fault;
  return handle;
}

int skt_open(const char* host, uint32_t port) { return skt_open_with_timeout(host, port, {}); }

int skt_listen(const char* address, uint32_t port) {
  struct in_addr host {};
  if (port > MAX_PORT) return -1;
  if (!read_skt_address(address, host) &&
      look_up_skt_address(address, {}, host) != SKT_LOOK_UP_FOUND) {
    return -1;
  }
  const int handle = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (handle < 0) return -1;
  const struct linger one_second = {1, 1};
  (void)::setsockopt(handle, SOL_SOCKET, SO_LINGER, &one_second, sizeof one_second);
  // A crawler that is started again gets its port though old connections still fade away.
  set_option(handle, SOL_SOCKET, SO_REUSEADDR, 1);
  set_buffer_options(handle);  // before a client can come: an accepted socket takes them over
  const struct sockaddr_in own = make_address(host, port);
  if (::bind(handle, as_generic(own), sizeof own) != 0 || ::listen(handle, BACKLOG) != 0) {
    const int reason = errno;
    skt_close(handle);
    errno = reason;
    return -1;
  }
  return handle;
}

bool is_skt_shortage(int error) {
  switch (error) {
    case EMFILE:
    case ENFILE:
    case ENOBUFS:
    case ENOMEM:
    case EADDRNOTAVAIL:
      return true;
    default:
      return false;
  }
}

uint32_t skt_get_bound_port(int handle) {
  struct sockaddr_in address {};
  return get_bound(handle, address) ? ntohs(address.sin_port) : 0;
}

std::string skt_get_bound_address(int handle) {
  struct sockaddr_in address {};
  char digits[INET_ADDRSTRLEN] = "";
  if (!get_bound(handle, address)) return {};
  (void)::inet_ntop(AF_INET, &address.sin_addr, digits, sizeof digits);  // there is room
  return digits;
}

int skt_accept(int handle, uint32_t* address) {
  struct sockaddr_in client {};
  socklen_t length = sizeof client;
  int accepted = -1;
  do {
    length = sizeof client;
    accepted =
        ::accept4(handle, reinterpret_cast<struct sockaddr*>(&client), &length, SOCK_CLOEXEC);
  } while (accepted < 0 && (errno == EINTR || errno == EAGAIN));
  if (accepted < 0) return accepted;
  if (address != nullptr) *address = client.sin_addr.s_addr;
  set_option(accepted, IPPROTO_TCP, TCP_NODELAY, 1);
  return accepted;
}

void skt_close(int handle) {
  if (handle < 0) return;
  ::shutdown(handle, SHUT_RDWR);
  ::close(handle);
}

bool skt_is_alive(int handle) {
  if (handle < 0) return false;
  char byte = 0;
  const ssize_t there = ::recv(handle, &byte, 1, MSG_PEEK | MSG_DONTWAIT);
  return there > 0 || (there < 0 && errno != EBADF && errno != ENOTSOCK);
}

}  // namespace wk
