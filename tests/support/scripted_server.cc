#include "tests/support/scripted_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <list>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <utility>

#include "wkstd/clock.h"
#include "wkstd/error.h"
#include "wkstd/text.h"

namespace wk {

struct scripted_connection {
  int handle = -1;
  std::thread thread;
};
using connection_place = std::list<scripted_connection>::iterator;

struct path_script {
  std::vector<scripted_answer> answers;
  uint64_t nb_requests = 0;
};

struct scripted_server_state {
  // Fixed once the server has started.
  std::string address;
  uint32_t port = 0;
  int listener = -1;
  std::thread accepting;

  // Guards all below.
  std::mutex lock;
  std::condition_variable changed;  // at every request and when the server ends
  bool ending = false;
  std::unordered_map<std::string, path_script> scripts;
  std::shared_ptr<const scripted_handler> handler;
  std::string greeting;  // not empty: all that a client gets
  std::vector<recorded_request> requests;
  std::list<scripted_connection> connections;
  std::vector<connection_place> finished;  // threads at their end, to be joined
};

namespace {

constexpr size_t MAX_REQUEST_BYTES = size_t{1024} * 1024;
constexpr size_t MAX_ENDLESS_BYTES = size_t{256} * 1024 * 1024;  // the end of what never ends
constexpr int BACKLOG = 4'096;
constexpr std::chrono::seconds LONGEST_WAIT{60};

bool send_bytes(int handle, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = send(handle, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent <= 0) return false;
    bytes.remove_prefix(static_cast<size_t>(sent));
  }
  return true;
}

// Appends what comes; false at a close.
bool receive_bytes(int handle, std::string& text) {
  char block[16 * 1024];
  const ssize_t received = recv(handle, block, sizeof block, 0);
  if (received <= 0) return false;
  text.append(block, static_cast<size_t>(received));
  return true;
}

// False when the client goes away before its request is complete. A body is nobody's.
bool receive_request(int handle, recorded_request& request) {
  std::string text;
  size_t end = std::string::npos;
  while (end == std::string::npos) {
    const size_t searched = text.size() < 3 ? 0 : text.size() - 3;
    if (text.size() > MAX_REQUEST_BYTES || !receive_bytes(handle, text)) return false;
    end = text.find("\r\n\r\n", searched);
  }
  request.arrival_us = get_steady_time_us();
  request.head = text.substr(0, end + 4);
  const std::string_view line = std::string_view(text).substr(0, text.find("\r\n"));
  const size_t first = std::min(line.find(' '), line.size());
  const size_t last = std::max(first, std::min(line.rfind(' '), line.size()));
  request.path = line.substr(std::min(first + 1, last), last - std::min(first + 1, last));
  return true;
}

// Records the request and gives its answer; the handler is called without the lock.
scripted_answer choose_answer(scripted_server_state& state, recorded_request& request) {
  std::shared_ptr<const scripted_handler> handler;
  {
    const std::lock_guard<std::mutex> hold(state.lock);
    state.requests.push_back(request);
    path_script& script = state.scripts[request.path];
    const uint64_t number = script.nb_requests++;
    state.changed.notify_all();
    if (!script.answers.empty()) {
      return script.answers[std::min<uint64_t>(number, script.answers.size() - 1)];
    }
    handler = state.handler;
  }
  if (handler == nullptr) return build_status_answer(404);
  return {.bytes = (*handler)(request)};
}

bool wait_for_end(scripted_server_state& state, std::chrono::milliseconds longest) {
  std::unique_lock<std::mutex> hold(state.lock);
  return state.changed.wait_for(hold, longest, [&state] { return state.ending; });
}

void give_endless_head(int handle) {
  size_t sent = 0;
  for (uint32_t i = 0; sent < MAX_ENDLESS_BYTES; ++i) {
    const std::string line = format_text("X-%u: %032u\r\n", i, i);
    if (!send_bytes(handle, line)) return;
    sent += line.size();
  }
}

void give_endless_body(int handle) {
  const std::string block(65'536, 'x');
  for (size_t sent = 0; sent < MAX_ENDLESS_BYTES; sent += block.size()) {
    if (!send_bytes(handle, block)) return;
  }
}

void give_answer(scripted_server_state& state, int handle, const scripted_answer& answer) {
  if (!send_bytes(handle, answer.bytes)) return;
  switch (answer.kind) {
    case ANSWER_BYTES:
      break;
    case ANSWER_STALL:
      while (!wait_for_end(state, LONGEST_WAIT)) {
      }
      break;
    case ANSWER_DRIP:
      for (uint64_t i = 0; i < answer.nb_drips; ++i) {
        if (wait_for_end(state, std::chrono::milliseconds(answer.drip_ms))) return;
        if (!send_bytes(handle, "x")) return;
      }
      break;
    case ANSWER_RESET: {
      const struct linger at_once = {1, 0};
      setsockopt(handle, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
      break;
    }
    case ANSWER_ENDLESS_HEAD:
      give_endless_head(handle);
      break;
    case ANSWER_ENDLESS_BODY:
      give_endless_body(handle);
      break;
  }
}

std::string get_greeting(scripted_server_state& state) {
  const std::lock_guard<std::mutex> hold(state.lock);
  return state.greeting;
}

void serve_connection(scripted_server_state& state, connection_place place) {
  const int handle = place->handle;
  recorded_request request;
  const std::string greeting = get_greeting(state);
  if (!greeting.empty()) {
    (void)send_bytes(handle, greeting);
  } else if (receive_request(handle, request)) {
    give_answer(state, handle, choose_answer(state, request));
  }
  const std::lock_guard<std::mutex> hold(state.lock);
  close(handle);
  place->handle = -1;
  state.finished.push_back(place);
}

// Joins the threads that have nothing left to do but to return. The caller holds no lock.
void join_finished(scripted_server_state& state) {
  std::list<scripted_connection> done;
  {
    const std::lock_guard<std::mutex> hold(state.lock);
    for (const connection_place place : state.finished) {
      done.splice(done.end(), state.connections, place);
    }
    state.finished.clear();
  }
  for (scripted_connection& connection : done) connection.thread.join();
}

void accept_connections(scripted_server_state& state) {
  for (;;) {
    const int handle = accept4(state.listener, nullptr, nullptr, SOCK_CLOEXEC);
    join_finished(state);
    const std::lock_guard<std::mutex> hold(state.lock);
    if (state.ending) {
      if (handle >= 0) close(handle);
      return;
    }
    if (handle < 0) continue;  // a client that gave up before it was accepted
    const int on = 1;
    setsockopt(handle, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    const connection_place place = state.connections.emplace(state.connections.end());
    place->handle = handle;
    place->thread = std::thread([&state, place] { serve_connection(state, place); });
  }
}

void listen_at(scripted_server_state& state) {
  sockaddr_in where{};
  where.sin_family = AF_INET;
  where.sin_port = htons(static_cast<uint16_t>(state.port));
  socklen_t length = sizeof where;
  state.listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  auto* plain = reinterpret_cast<sockaddr*>(&where);
  const bool listens =
      state.listener >= 0 && inet_pton(AF_INET, state.address.c_str(), &where.sin_addr) == 1 &&
      bind(state.listener, plain, length) == 0 && listen(state.listener, BACKLOG) == 0 &&
      getsockname(state.listener, plain, &length) == 0;
  if (!listens) report_fatal_error("scripted server: cannot listen at " + state.address);
  state.port = ntohs(where.sin_port);
}

}  // namespace

void destroy_scripted_server_state::operator()(scripted_server_state* state) const {
  {
    const std::lock_guard<std::mutex> hold(state->lock);
    state->ending = true;
    state->changed.notify_all();
    // Wakes every thread out of its socket; the handles stay open until their threads close them.
    shutdown(state->listener, SHUT_RDWR);
    for (const scripted_connection& connection : state->connections) {
      if (connection.handle >= 0) shutdown(connection.handle, SHUT_RDWR);
    }
  }
  state->accepting.join();
  for (scripted_connection& connection : state->connections) connection.thread.join();
  close(state->listener);
  delete state;
}

scripted_server start_scripted_server(const std::string& address, uint32_t port) {
  scripted_server server{decltype(scripted_server::state)(new scripted_server_state)};
  scripted_server_state& state = *server.state;
  state.address = address;
  state.port = port;
  listen_at(state);
  state.accepting = std::thread([&state] { accept_connections(state); });
  return server;
}

uint32_t get_port_scripted_server(const scripted_server& server) { return server.state->port; }

std::string get_authority_scripted_server(const scripted_server& server) {
  return server.state->address + ":" + std::to_string(server.state->port);
}

std::string get_url_scripted_server(const scripted_server& server, std::string_view path) {
  return "http://" + get_authority_scripted_server(server) + std::string(path);
}

std::string build_response_text(uint32_t status, std::string_view header_lines,
                                std::string_view body) {
  std::string text = format_text("HTTP/1.0 %u %s\r\n", status, status == 200 ? "OK" : "Scripted");
  text += header_lines;
  append_formatted_text(text, "Content-Length: %zu\r\n\r\n", body.size());
  text += body;
  return text;
}

scripted_answer build_page_answer(std::string_view html) {
  return {.bytes = build_response_text(200, "Content-Type: text/html\r\n", html)};
}

scripted_answer build_status_answer(uint32_t status) {
  return {.bytes = build_response_text(status, "Content-Type: text/html\r\n", "<p>no page</p>")};
}

void serve_answers_scripted_server(scripted_server& server, const std::string& path,
                                   std::vector<scripted_answer> answers) {
  const std::lock_guard<std::mutex> hold(server.state->lock);
  server.state->scripts[path].answers = std::move(answers);
}

void serve_bytes_scripted_server(scripted_server& server, const std::string& path,
                                 std::string bytes) {
  serve_answers_scripted_server(server, path, {{.bytes = std::move(bytes)}});
}

void serve_page_scripted_server(scripted_server& server, const std::string& path,
                                std::string_view html) {
  serve_answers_scripted_server(server, path, {build_page_answer(html)});
}

void serve_redirect_scripted_server(scripted_server& server, const std::string& path,
                                    std::string_view location) {
  const std::string line = "Location: " + std::string(location) + "\r\n";
  serve_bytes_scripted_server(server, path, build_response_text(302, line, "<p>moved</p>"));
}

void serve_default_scripted_server(scripted_server& server, scripted_handler handler) {
  const std::lock_guard<std::mutex> hold(server.state->lock);
  server.state->handler = std::make_shared<const scripted_handler>(std::move(handler));
}

void serve_greeting_scripted_server(scripted_server& server, std::string bytes) {
  const std::lock_guard<std::mutex> hold(server.state->lock);
  server.state->greeting = std::move(bytes);
}

uint64_t count_requests_scripted_server(const scripted_server& server, const std::string& path) {
  const std::lock_guard<std::mutex> hold(server.state->lock);
  const auto found = server.state->scripts.find(path);
  return found == server.state->scripts.end() ? 0 : found->second.nb_requests;
}

uint64_t count_all_requests_scripted_server(const scripted_server& server) {
  const std::lock_guard<std::mutex> hold(server.state->lock);
  return server.state->requests.size();
}

std::vector<recorded_request> get_requests_scripted_server(const scripted_server& server) {
  const std::lock_guard<std::mutex> hold(server.state->lock);
  return server.state->requests;
}

std::vector<recorded_request> get_requests_scripted_server(const scripted_server& server,
                                                           const std::string& path) {
  std::vector<recorded_request> requests = get_requests_scripted_server(server);
  std::erase_if(requests, [&path](const recorded_request& one) { return one.path != path; });
  return requests;
}

bool wait_for_request_scripted_server(const scripted_server& server, const std::string& path,
                                      uint64_t count) {
  scripted_server_state& state = *server.state;
  std::unique_lock<std::mutex> hold(state.lock);
  return state.changed.wait_for(hold, LONGEST_WAIT,
                                [&] { return state.scripts[path].nb_requests >= count; });
}

}  // namespace wk
