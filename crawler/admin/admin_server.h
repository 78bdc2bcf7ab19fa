// The administration server: one thread that answers an operator's HTTP/1.0 requests while the
// crawl runs.
//
// All connections are served by poll: many requests come in at once, one page is built at a time,
// and who is slow to ask or to take its answer delays nobody. An idle server sleeps without waking.
// Owner: the control loop, which opens the server before any spider starts, so that no spider ever
// connects to its port, and joins its thread before the record ends.
#pragma once

#include <cstdint>
#include <memory>

#include "crawler/core/crawler.h"

namespace wk {

struct admin_limits {
  uint64_t request_us = 5'000'000;  // from the connection to the whole request
  uint64_t answer_us = 30'000'000;  // to take an answer
  uint64_t close_us = 1'000'000;    // to close after the answer; to take an answer after the crawl
  size_t max_clients = 256;         // the one that has been silent longest goes
  size_t max_answer_bytes = 64 << 20;  // of all that wait to be sent
};

struct admin_server;
struct destroy_admin_server {
  void operator()(admin_server* server) const;
};
using admin_server_ptr = std::unique_ptr<admin_server, destroy_admin_server>;

// Listens on the crawler's port, 0 letting the system choose, and tells the fetch settings which it
// is. Null when no server is wanted (port -1) or when the port can't be had; the log says so.
[[nodiscard]] admin_server_ptr open_admin_server(Crawler& crawler, const admin_limits& limits = {});
// The thread's body: returns soon after the crawl has stopped or the server is ended.
void run_admin_server(admin_server& server);
// Wakes and ends the thread; any thread may call it.
void end_admin_server(admin_server& server);

[[nodiscard]] uint32_t get_port_admin_server(const admin_server& server);

}  // namespace wk
