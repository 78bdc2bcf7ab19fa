#include "crawler/admin/admin_server.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "crawler/admin/admin_client.h"
#include "crawler/admin/admin_dispatch.h"
#include "crawler/admin/page_frame.h"
#include "crawler/admin/query_fields.h"
#include "wkskt/skt.h"
#include "wkstd/clock.h"

namespace wk {

struct admin_server {
  admin_server(Crawler& of, const admin_limits& within) : crawler(of), limits(within) {}

  // Fixed once opened.
  Crawler& crawler;
  admin_limits limits;
  int listener = -1;
  int end = -1;  // an eventfd, readable when the thread is to end

  // Of the server's thread.
  admin_names names;  // fixed once opened, but for the address that the last request arrived at
  std::vector<admin_client_ptr> clients;  // the oldest first
  bool accepts = true;                    // false: no handle was left for a client
  bool ended = false;
  http_request request;    // of the page that is being built
  http_response response;  // the same
};

namespace {

constexpr std::string_view LOOPBACK = "127.0.0.1";
constexpr std::string_view ALL_ADDRESSES = "0.0.0.0";
constexpr uint64_t US_PER_MS = 1'000;
constexpr uint64_t ACCEPT_PAUSE_US = 100'000;
constexpr uint32_t MAX_ACCEPTED_AT_ONCE = 64;
constexpr std::chrono::milliseconds REFUSED_POLL_PAUSE{10};

void log_opening(Crawler& crawler, int32_t port, const char* what) {
  write_formatted_log(*crawler.log, LOG_STATUS, "s-uri s-comment", "localhost:%d %s", port, what);
  flush_log(*crawler.log);
}

void log_request(admin_server& server, const admin_client& client) {
  Log& log = *server.crawler.log;
  std::string text = "GET " + std::to_string(static_cast<int32_t>(client.address)) + " ";
  text += client.logged_target;
  write_log(log, LOG_STATUS, "cs-method c-ip cs-uri", text);
}

void log_answer(admin_server& server, const admin_client& client) {
  Log& log = *server.crawler.log;
  if (client.state == ADMIN_BROKEN) {
    write_log(log, LOG_STATUS, "cs-method cs-comment", "500 Failed to send a response");
  } else {
    write_log(log, LOG_STATUS, "cs-status cs-uri",
              std::to_string(client.status) + " " + client.logged_target);
  }
  flush_log(log);
}

void set_state_limit(admin_client& client, uint64_t limit_us) {
  client.deadline_us = get_steady_time_us() + limit_us;
}

// Drops the oldest clients whose answers keep all together beyond their bound.
void bound_answers(admin_server& server, const admin_client& last) {
  size_t nb_bytes = 0;
  for (const admin_client_ptr& client : server.clients) nb_bytes += client->output.size();
  for (const admin_client_ptr& client : server.clients) {
    if (nb_bytes <= server.limits.max_answer_bytes || client.get() == &last) return;
    if (client->output.empty()) continue;
    nb_bytes -= client->output.size();
    std::string().swap(client->output);
    client->state = ADMIN_BROKEN;
    log_answer(server, *client);
  }
}

void build_answer(admin_server& server, admin_client& client) {
  reset_http_response(server.response);
  if (client.state == ADMIN_TOO_LARGE) {
    write_status_page(server.response, 413, "Request Entity Too Large");
  } else {
    http_read_stored_request(server.request, client.input);
    const std::string& target = server.request.target.path;
    client.logged_target =
        server.crawler.rules.strict_safety ? mask_password_fields(target) : target;
    log_request(server, client);
    server.names.arrival = skt_get_bound_address(client.handle);
    answer_admin_request(server.crawler, server.names, server.request, server.response);
  }
  start_answer(client, server.response);
  set_state_limit(client, server.limits.answer_us);
  bound_answers(server, client);
}

void send_to_client(admin_server& server, admin_client& client) {
  send_answer(client);
  if (client.state == ADMIN_SENDING) return;
  log_answer(server, client);
  set_state_limit(client, server.limits.close_us);
}

// Does for the client what its socket allows now.
void advance_client(admin_server& server, admin_client& client) {
  if (client.state == ADMIN_RECEIVING) receive_request(client, server.request);
  if (client.state == ADMIN_REQUESTED || client.state == ADMIN_TOO_LARGE) {
    build_answer(server, client);
  }
  if (client.state == ADMIN_SENDING) send_to_client(server, client);
  if (client.state == ADMIN_CLOSING) await_close(client);
}

bool is_finished(const admin_client_ptr& client) {
  return client->state == ADMIN_GONE || client->state == ADMIN_BROKEN;
}

void drop_client(admin_server& server, admin_client& client) {
  if (client.state == ADMIN_SENDING) {
    client.state = ADMIN_BROKEN;
    log_answer(server, client);
  }
  client.state = ADMIN_GONE;
}

// Makes room for one more by dropping who asked for nothing yet, or else anybody, the oldest first.
void make_room(admin_server& server) {
  auto& clients = server.clients;
  auto dropped = std::find_if(clients.begin(), clients.end(),
                              [](const auto& client) { return client->state == ADMIN_RECEIVING; });
  if (dropped == clients.end()) dropped = clients.begin();
  drop_client(server, **dropped);
  clients.erase(dropped);
}

// Without a handle for another client the listener would be readable for ever: it rests a while.
bool accept_client(admin_server& server) {
  auto client = std::make_unique<admin_client>();
  client->handle = skt_accept_now(server.listener, &client->address);
  if (client->handle < 0) {
    const bool out_of_handles = errno != EAGAIN;
    if (out_of_handles && !server.clients.empty()) make_room(server);
    server.accepts = !out_of_handles;
    return false;
  }
  if (server.clients.size() >= server.limits.max_clients) make_room(server);
  set_state_limit(*client, server.limits.request_us);
  server.clients.push_back(std::move(client));
  advance_client(server, *server.clients.back());
  std::erase_if(server.clients, is_finished);
  return true;
}

void accept_clients(admin_server& server) {
  for (uint32_t i = 0; i < MAX_ACCEPTED_AT_ONCE && accept_client(server); ++i) {
  }
}

// Whole milliseconds until the next deadline, not less than it needs; -1: there is none.
int get_wait_ms(const admin_server& server, uint64_t now_us) {
  uint64_t until_us = server.accepts ? UINT64_MAX : now_us + ACCEPT_PAUSE_US;
  for (const admin_client_ptr& client : server.clients) {
    until_us = std::min(until_us, client->deadline_us);
  }
  if (until_us == UINT64_MAX) return -1;
  if (until_us <= now_us) return 0;
  return static_cast<int>((until_us - now_us + US_PER_MS - 1) / US_PER_MS);
}

// What poll is asked: the end, the listener, and then each client.
std::vector<struct pollfd> list_waits(const admin_server& server) {
  std::vector<struct pollfd> waits;
  waits.reserve(server.clients.size() + 2);
  // A negative handle is passed over.
  waits.push_back({server.ended ? -1 : server.end, POLLIN, 0});
  waits.push_back({server.ended || !server.accepts ? -1 : server.listener, POLLIN, 0});
  for (const admin_client_ptr& client : server.clients) {
    const bool sends = client->state == ADMIN_SENDING;
    waits.push_back({client->handle, static_cast<short>(sends ? POLLOUT : POLLIN), 0});
  }
  return waits;
}

// One sleep and what it brought. A deadline counts when it had passed before the sleep: a page that
// takes long to build costs no other client its time.
void serve_round(admin_server& server) {
  const uint64_t now_us = get_steady_time_us();
  std::vector<struct pollfd> waits = list_waits(server);
  if (::poll(waits.data(), waits.size(), get_wait_ms(server, now_us)) < 0) {
    if (errno == EINTR) return;
    // The system has no memory to spare. Nobody counts as ready; deadlines hold.
    for (struct pollfd& wait : waits) wait.revents = 0;
    std::this_thread::sleep_for(REFUSED_POLL_PAUSE);
  }
  server.accepts = true;
  for (size_t i = 0; i + 2 < waits.size(); ++i) {
    admin_client& client = *server.clients[i];
    if (waits[i + 2].revents != 0) advance_client(server, client);
    if (now_us >= client.deadline_us) drop_client(server, client);
  }
  std::erase_if(server.clients, is_finished);
  if (waits[0].revents != 0) server.ended = true;
  if (waits[1].revents != 0) accept_clients(server);
}

// Sends the answers that are on the way, as that of the page that ended the crawl.
void finish_answers(admin_server& server) {
  server.ended = true;
  const uint64_t until_us = get_steady_time_us() + server.limits.close_us;
  for (const admin_client_ptr& client : server.clients) {
    client->deadline_us = std::min(client->deadline_us, until_us);
  }
  const auto has_no_answer = [](const auto& client) { return client->state != ADMIN_SENDING; };
  for (;;) {
    std::erase_if(server.clients, has_no_answer);
    if (server.clients.empty()) return;
    serve_round(server);
  }
}

std::string choose_address(const Crawler& crawler) {
  const std::string& address = crawler.profile.admin_address;
  return address.empty() ? std::string(LOOPBACK) : address;
}

// An address that stands for all names none: no connection arrives at it.
void name_server(admin_server& server) {
  const config_values& profile = server.crawler.profile;
  server.names.others = profile.admin_hosts;
  const bool stands_for_all = skt_get_bound_address(server.listener) == ALL_ADDRESSES;
  if (!stands_for_all) server.names.others.push_back(profile.admin_address);
}

}  // namespace

void destroy_admin_server::operator()(admin_server* server) const {
  if (server == nullptr) return;
  server->clients.clear();
  skt_close(server->listener);
  if (server->end >= 0) ::close(server->end);
  delete server;
}

admin_server_ptr open_admin_server(Crawler& crawler, const admin_limits& limits) {
  int32_t port = -1;
  {
    const std::lock_guard<std::mutex> hold(crawler.gate.lock);
    port = crawler.admin_port;
  }
  if (port == -1) return nullptr;
  admin_server_ptr server(new admin_server(crawler, limits));
  server->listener = skt_listen(choose_address(crawler).c_str(), static_cast<uint32_t>(port));
  server->end = ::eventfd(0, EFD_CLOEXEC);
  if (server->listener < 0 || server->end < 0) {
    log_opening(crawler, port, "Couldn't open admin socket");
    return nullptr;
  }
  name_server(*server);
  const uint32_t bound_port = get_port_admin_server(*server);
  {
    const std::lock_guard<std::shared_mutex> hold(crawler.fetch.lock);
    crawler.fetch.own_port = bound_port;
  }
  log_opening(crawler, static_cast<int32_t>(bound_port), "Opened admin socket");
  return server;
}

void run_admin_server(admin_server& server) {
  while (!server.ended && !is_stopped(server.crawler.gate)) serve_round(server);
  skt_close(server.listener);
  server.listener = -1;
  finish_answers(server);
}

void end_admin_server(admin_server& server) {
  const uint64_t one = 1;
  while (::write(server.end, &one, sizeof one) < 0 && errno == EINTR) {
  }
}

uint32_t get_port_admin_server(const admin_server& server) {
  return skt_get_bound_port(server.listener);
}

}  // namespace wk
