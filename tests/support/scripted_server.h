// A loopback HTTP server that says what a test tells it to say, and remembers what it was asked.
//
//   scripted_server server = start_scripted_server();
//   serve_page_scripted_server(server, "/", R"(<a href="/b">b</a>)");
//   serve_redirect_scripted_server(server, "/old", "/");
//   serve_answers_scripted_server(server, "/flaky", {build_status_answer(500),
//   build_page_answer("up")}); serve_answers_scripted_server(server, "/hang", {{.kind =
//   ANSWER_STALL}});
//   ... let the code under test fetch get_url_scripted_server(server, "/") ...
//   EXPECT_EQ(count_requests_scripted_server(server, "/"), 1u);
//
// Each connection has a thread of its own, reads one request's head, gives one answer and closes. A
// path is the request's target as it came, query included; a client that uses the server as its
// proxy asks for "http://host/path", and that whole text is the path. The n-th request for a path
// gets the n-th of its answers, later ones get the last. A path without answers goes to the default
// handler, and without a handler gets a 404 page.
//
// The server speaks through plain sockets, so that it is a peer of its own for the socket layer.
// Owner: the test; the end of the record closes every connection and joins every thread.
// Threads: every operation may be called from any thread while the server runs.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace wk {

struct recorded_request {
  std::string path;         // the request's target
  std::string head;         // all bytes up to and with the empty line
  uint64_t arrival_us = 0;  // steady time (wkstd/clock.h) at which the head was complete
};

enum scripted_answer_kind : uint32_t {
  ANSWER_BYTES = 0,     // the bytes, then a close
  ANSWER_STALL,         // the bytes, then nothing until the server ends
  ANSWER_DRIP,          // the bytes, then one 'x' every drip_ms until the client or the server ends
  ANSWER_RESET,         // the bytes, then a reset of the connection
  ANSWER_ENDLESS_HEAD,  // the bytes, then header lines, each of its own name, without an end
  ANSWER_ENDLESS_BODY,  // the bytes, then as many 'x' as the client takes
};

struct scripted_answer {
  scripted_answer_kind kind = ANSWER_BYTES;
  std::string bytes = {};  // a whole response, a part of one, or nothing: a close at once
  uint32_t drip_ms = 1;    // of ANSWER_DRIP
  uint64_t nb_drips = UINT64_MAX;
};

// Called without a lock, by several threads at once; gives the whole response.
using scripted_handler = std::function<std::string(const recorded_request& request)>;

struct scripted_server_state;
struct destroy_scripted_server_state {
  void operator()(scripted_server_state* state) const;
};
struct scripted_server {
  std::unique_ptr<scripted_server_state, destroy_scripted_server_state> state;
};

// Any address of 127.0.0.0/8; port 0 lets the system choose. A port that cannot be had ends the
// test program: no test could go on.
[[nodiscard]] scripted_server start_scripted_server(const std::string& address = "127.0.0.1",
                                                    uint32_t port = 0);
[[nodiscard]] uint32_t get_port_scripted_server(const scripted_server& server);
// "127.0.0.1:8080", as proxies are given.
[[nodiscard]] std::string get_authority_scripted_server(const scripted_server& server);
// "http://127.0.0.1:8080" and path.
[[nodiscard]] std::string get_url_scripted_server(const scripted_server& server,
                                                  std::string_view path);

// "HTTP/1.0 200 OK", the header lines given (each with its CR LF), Content-Length, and the body.
[[nodiscard]] std::string build_response_text(uint32_t status, std::string_view header_lines,
                                              std::string_view body);
[[nodiscard]] scripted_answer build_page_answer(std::string_view html);
[[nodiscard]] scripted_answer build_status_answer(uint32_t status);

// Each takes the place of the path's answers so far.
void serve_answers_scripted_server(scripted_server& server, const std::string& path,
                                   std::vector<scripted_answer> answers);
void serve_bytes_scripted_server(scripted_server& server, const std::string& path,
                                 std::string bytes);
void serve_page_scripted_server(scripted_server& server, const std::string& path,
                                std::string_view html);
void serve_redirect_scripted_server(scripted_server& server, const std::string& path,
                                    std::string_view location);
void serve_default_scripted_server(scripted_server& server, scripted_handler handler);
// Every client gets the bytes and a close before it was heard; no request is recorded any more.
void serve_greeting_scripted_server(scripted_server& server, std::string bytes);

[[nodiscard]] uint64_t count_requests_scripted_server(const scripted_server& server,
                                                      const std::string& path);
[[nodiscard]] uint64_t count_all_requests_scripted_server(const scripted_server& server);
// In the order in which they came; the second form takes those for one path.
[[nodiscard]] std::vector<recorded_request> get_requests_scripted_server(
    const scripted_server& server);
[[nodiscard]] std::vector<recorded_request> get_requests_scripted_server(
    const scripted_server& server, const std::string& path);
// Waits until the path was asked for that often. False when a minute passes without it.
[[nodiscard]] bool wait_for_request_scripted_server(const scripted_server& server,
                                                    const std::string& path, uint64_t count = 1);

}  // namespace wk
