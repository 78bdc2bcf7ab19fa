// One connection to the administration server: how far its request and its answer have come.
//
// Nothing here waits: each step does what the socket allows now.
//
//   RECEIVING --receive_request--> REQUESTED | TOO_LARGE | GONE
//   REQUESTED, TOO_LARGE --start_answer--> SENDING --send_answer--> CLOSING | BROKEN
//   CLOSING --await_close--> GONE
//
// Owner: the server. Threads: the administration thread.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "crawler/fetch/http_message.h"

namespace wk {

constexpr size_t ADMIN_MAX_HEAD_BYTES = 16'384;
constexpr size_t ADMIN_MAX_HEAD_LINES = 100;  // without the empty one at its end
constexpr size_t ADMIN_MAX_BODY_BYTES = 65'536;

enum admin_client_state : uint32_t {
  ADMIN_RECEIVING = 0,  // its request is on the way
  ADMIN_REQUESTED,      // the request is whole
  ADMIN_TOO_LARGE,      // the request passed a bound
  ADMIN_SENDING,        // its answer is on the way
  ADMIN_CLOSING,        // the answer was sent; the client is to close
  ADMIN_BROKEN,         // the answer could not be sent
  ADMIN_GONE,           // nothing is left to do
};

struct admin_client {
  int handle = -1;
  uint32_t address = 0;      // IPv4, in network byte order
  uint64_t deadline_us = 0;  // of the present state, steady time
  admin_client_state state = ADMIN_RECEIVING;

  // The request so far: at most a head and a body of the greatest size.
  std::string input;
  size_t line_start = 0;  // of the first line of the head that is not whole yet
  size_t nb_lines = 0;    // of the head, so far
  bool has_request_line = false;
  size_t wanted_bytes = 0;  // of the whole request, once its head is there; before: 0

  // The answer.
  std::string output;
  size_t nb_sent = 0;
  uint32_t status = 0;
  std::string logged_target;

  admin_client() = default;
  ~admin_client();  // closes the socket
  admin_client(const admin_client&) = delete;
  admin_client& operator=(const admin_client&) = delete;
};
using admin_client_ptr = std::unique_ptr<admin_client>;

// Takes what has come of the request. A client that stops sending after a request line has made its
// request; before, it is GONE. scratch is overwritten.
void receive_request(admin_client& client, http_request& scratch);
// Formats response; what is sent is the client's own from here on.
void start_answer(admin_client& client, http_response& response);
void send_answer(admin_client& client);
// Drops what a client still sends: a socket that is closed before would cut its answer off.
void await_close(admin_client& client);

}  // namespace wk
