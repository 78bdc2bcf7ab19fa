// A peer on the loopback address that takes one request and answers it with given bytes.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <thread>

#include "wkskt/skt.h"

namespace wk {

struct reply_peer {
  int listener = skt_listen("127.0.0.1", 0);
  uint32_t port = skt_get_bound_port(listener);
};

// Serves one connection beside the caller until the thread is joined: reads until the request ends
// so or has that length, sends the pieces one by one and closes.
[[nodiscard]] inline std::thread reply_once(const reply_peer& peer, std::string_view request_end,
                                            size_t request_size,
                                            std::span<const std::string_view> pieces) {
  return std::thread([=] {
    const int client = skt_accept(peer.listener, nullptr);
    std::string request;
    char byte = 0;
    while (request.size() < request_size &&
           (request_end.empty() || !request.ends_with(request_end)) &&
           skt_recv_all(client, &byte, 1) == 1) {
      request += byte;
    }
    for (const std::string_view piece : pieces) {
      if (!piece.empty() && skt_send_all(client, piece) < 0) break;
    }
    skt_close(client);
  });
}

}  // namespace wk
