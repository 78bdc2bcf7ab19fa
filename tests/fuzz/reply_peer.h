// The other end of a connection: a thread that serves one of them for each input.
#pragma once

#include <sys/socket.h>

#include <array>
#include <functional>
#include <semaphore>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "wkskt/skt.h"

namespace wk {

// Lives to the end of the process, as its thread does.
struct peer_thread {
  std::binary_semaphore begun{0}, ended{0};
  std::function<void()> work;
};

[[nodiscard]] inline peer_thread& start_peer_thread() {
  auto* peer = new peer_thread;
  std::thread([peer] {
    for (;;) {
      peer->begun.acquire();
      peer->work();
      peer->ended.release();
    }
  }).detach();
  return *peer;
}

// Work of a peer beside the caller; its end waits for the work's.
struct peer_work {
  peer_thread& peer;
  peer_work(peer_thread& thread, std::function<void()> work) : peer(thread) {
    peer.work = std::move(work);
    peer.begun.release();
  }
  ~peer_work() { peer.ended.acquire(); }
  peer_work(const peer_work&) = delete;
  peer_work& operator=(const peer_work&) = delete;
};

// A peer on the loopback address that takes one request and answers it with given bytes.
struct reply_peer {
  int listener = skt_listen("127.0.0.1", 0);
  uint32_t port = skt_get_bound_port(listener);
  peer_thread& thread = start_peer_thread();
};

// Serves one connection: reads until the request ends so or has
// that length, sends the pieces one by one and closes.
[[nodiscard]] inline peer_work reply_once(const reply_peer& peer, std::string_view request_end,
                                          size_t request_size,
                                          std::span<const std::string_view> pieces) {
  return peer_work(peer.thread, [=, &peer] {
    const int client = skt_accept(peer.listener, nullptr);
    std::string request;
    std::array<char, 4096> block;
    int64_t nb_bytes = 1;
    while (nb_bytes > 0 && request.size() < request_size &&
           (request_end.empty() || !request.ends_with(request_end))) {
      nb_bytes = ::recv(client, block.data(), block.size(), 0);
      if (nb_bytes > 0) request.append(block.data(), static_cast<size_t>(nb_bytes));
    }
    for (const std::string_view piece : pieces) {
      if (!piece.empty() && skt_send_all(client, piece) < 0) break;
    }
    skt_close(client);
  });
}

}  // namespace wk
