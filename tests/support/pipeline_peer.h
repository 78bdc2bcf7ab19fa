// A loopback server that takes items as a news pipeline does, one connection after the other. It
// speaks through plain sockets, so that it is a peer of its own for the socket layer.
#pragma once

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace wk {

// What an item gets, beside an answer code.
constexpr int PEER_CLOSES = -1;     // at once, with the item on its way; it is not among items
constexpr int PEER_IS_SILENT = -2;  // for ten seconds or until the crawler closes, then stores

struct received_item {
  uint32_t numbers[2] = {};
  std::string url;
  std::string text;
  int answer = 0;
};

struct pipeline_peer {
  std::function<int(size_t number)> answer_item;  // the n-th, from 1
  std::function<void()> on_item = [] {};          // when one has come whole
  uint32_t port = 0;
  int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  std::vector<received_item> items = {};  // to be read when the peer has ended
  std::jthread thread = {};
};

inline uint32_t take_number(int handle) {
  uint32_t number = 0;
  return ::recv(handle, &number, sizeof number, MSG_WAITALL) == sizeof number ? ntohl(number) : 0;
}

inline bool take_text(int handle, std::string& text) {
  text.resize(take_number(handle));
  return ::recv(handle, text.data(), text.size(), MSG_WAITALL) == ssize_t(text.size());
}

inline void serve_connection(pipeline_peer& peer, int handle, size_t number) {
  received_item item = {{take_number(handle), take_number(handle)}, "", "", 0};
  const bool has_url = take_text(handle, item.url);
  item.answer = peer.answer_item(number);
  if (item.answer == PEER_CLOSES || !has_url || !take_text(handle, item.text)) return;
  peer.items.push_back(item);
  peer.on_item();
  uint32_t code = htonl(uint32_t(item.answer));
  if (item.answer == PEER_IS_SILENT) {
    const struct timeval ten_seconds = {10, 0};
    (void)::setsockopt(handle, SOL_SOCKET, SO_RCVTIMEO, &ten_seconds, sizeof ten_seconds);
    if (::recv(handle, &code, 1, 0) >= 0) return;
    code = 0;
  }
  (void)::send(handle, &code, sizeof code, MSG_NOSIGNAL);
  if (item.answer == 1) (void)::send(handle, "\0\0\0\2no", 6, MSG_NOSIGNAL);
}

inline void start_pipeline_peer(pipeline_peer& peer) {
  struct sockaddr_in address = {AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
  auto* generic = reinterpret_cast<struct sockaddr*>(&address);
  socklen_t length = sizeof address;
  if (::bind(peer.listener, generic, length) != 0 || ::listen(peer.listener, 64) != 0) std::abort();
  if (::getsockname(peer.listener, generic, &length) != 0) std::abort();
  peer.port = ntohs(address.sin_port);
  peer.thread = std::jthread([&peer] {
    for (size_t number = 1;; ++number) {
      const int handle = ::accept(peer.listener, nullptr, nullptr);
      if (handle < 0) return;
      serve_connection(peer, handle, number);
      ::close(handle);
    }
  });
}

inline void end_pipeline_peer(pipeline_peer& peer) {
  ::shutdown(peer.listener, SHUT_RDWR);
  peer.thread.join();
  ::close(peer.listener);
}

}  // namespace wk
