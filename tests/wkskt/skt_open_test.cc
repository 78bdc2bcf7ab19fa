#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

#include "wkskt/skt.h"
#include "wkstd/clock.h"

namespace wk {
namespace {

constexpr uint64_t A_MINUTE_US = 60'000'000;

ptrdiff_t count_open_handles() {
  const std::filesystem::directory_iterator handles("/proc/self/fd");
  return std::distance(begin(handles), end(handles));
}

int get_option(int handle, int level, int name) {
  int value = -1;
  socklen_t length = sizeof value;
  return getsockopt(handle, level, name, &value, &length) == 0 ? value : -1;
}

uint32_t read_system_backlog_bound() {
  uint32_t bound = 0;
  std::ifstream("/proc/sys/net/core/somaxconn") >> bound;
  return bound;
}

// A port of the loopback address on which nobody listens while the record lives: it is bound.
struct deaf_port {
  int handle = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  deaf_port() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(bind(handle, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  }
  ~deaf_port() { skt_close(handle); }
  deaf_port(const deaf_port&) = delete;
  deaf_port& operator=(const deaf_port&) = delete;
};

TEST(skt_open_with_timeout, fails_without_leaving_a_socket) {
  const deaf_port deaf;
  const uint32_t port = skt_get_bound_port(deaf.handle);
  ASSERT_NE(port, 0u);
  const struct {
    const char* name;
    const char* host;
    uint32_t port;
    skt_terms terms;
    std::string message;
  } cases[] = {
      {"nobody listens, limited", "127.0.0.1", port, {.limit_us = A_MINUTE_US}, ""},
      {"nobody listens, unlimited", "127.0.0.1", port, {}, ""},
      {"an empty host", "", port, {.limit_us = A_MINUTE_US}, ""},
      {"port 0", "127.0.0.1", 0, {.limit_us = A_MINUTE_US}, ""},
      {"port 65536", "127.0.0.1", 65536, {.limit_us = A_MINUTE_US}, ""},
      // An empty label is no name, so no server is asked.
      {"no name", "a..b", 80, {.limit_us = A_MINUTE_US}, "Socket error: a..b:80\n"},
      {"an address that is taken", nullptr, port, {}, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const ptrdiff_t before = count_open_handles();
    testing::internal::CaptureStderr();
    EXPECT_EQ(skt_open_with_timeout(c.host, c.port, c.terms), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), c.message);
    EXPECT_EQ(count_open_handles(), before);
  }
}

TEST(skt_open_with_timeout, refuses_its_own_port_on_every_address_of_this_machine) {
  const int listener = skt_listen("0.0.0.0", 0);
  ASSERT_GE(listener, 0);
  const uint32_t port = skt_get_bound_port(listener);
  const struct {
    const char* host;
    uint32_t refused_port;
    bool connects;
  } cases[] = {
      {"127.0.0.1", port, false}, {"127.9.8.7", port, false},    {"127.1", port, false},
      {"0.0.0.0", port, false},   {"2130706433", port, false},   {"localhost", port, false},
      {"127.0.0.1", 0, true},     {"127.0.0.1", port - 1, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.host) + " " + std::to_string(c.refused_port));
    const skt_terms terms{.limit_us = A_MINUTE_US, .refused_own_port = c.refused_port};
    const int handle = skt_open_with_timeout(c.host, port, terms);
    EXPECT_EQ(handle >= 0, c.connects);
    skt_close(handle);
  }
  skt_close(listener);
}

TEST(skt_open_with_timeout, sets_the_options_of_a_socket_that_blocks) {
  const int listener = skt_listen("127.0.0.1", 0);
  for (const uint64_t limit_us : {uint64_t{0}, A_MINUTE_US}) {
    SCOPED_TRACE(limit_us);
    const int client =
        skt_open_with_timeout("127.0.0.1", skt_get_bound_port(listener), {.limit_us = limit_us});
    ASSERT_GE(client, 0);
    uint32_t address = 0;
    const int server = skt_accept(listener, &address);
    ASSERT_GE(server, 0);
    EXPECT_EQ(address, htonl(INADDR_LOOPBACK));
    for (const int handle : {client, server}) {
      EXPECT_EQ(get_option(handle, IPPROTO_TCP, TCP_NODELAY), 1);
      EXPECT_EQ(fcntl(handle, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
      EXPECT_EQ(fcntl(handle, F_GETFL) & O_NONBLOCK, 0);
    }
    // The system keeps twice the size it is told, for its own records.
    EXPECT_EQ(get_option(client, SOL_SOCKET, SO_SNDBUF), 2 * SKT_BUFFER_BYTES);
    EXPECT_EQ(get_option(client, SOL_SOCKET, SO_RCVBUF), 2 * SKT_BUFFER_BYTES);
    skt_close(client);
    skt_close(server);
  }
  skt_close(listener);
}

TEST(skt_listen, lingers_for_a_second_and_keeps_to_one_address) {
  const int listener = skt_listen("127.0.0.1", 0);
  linger lingering{};
  socklen_t length = sizeof lingering;
  ASSERT_EQ(getsockopt(listener, SOL_SOCKET, SO_LINGER, &lingering, &length), 0);
  EXPECT_EQ(lingering.l_onoff, 1);
  EXPECT_EQ(lingering.l_linger, 1);
  tcp_info info{};
  length = sizeof info;
  ASSERT_EQ(getsockopt(listener, IPPROTO_TCP, TCP_INFO, &info, &length), 0);
  // Of a listener the system tells its backlog in this field, bounded by a setting of its own.
  EXPECT_EQ(info.tcpi_sacked, std::min(1024u, read_system_backlog_bound()));
  EXPECT_EQ(skt_open("127.0.0.2", skt_get_bound_port(listener)), -1);
  skt_close(listener);
  EXPECT_EQ(skt_listen("not an address", 0), -1);
  EXPECT_EQ(skt_listen("127.0.0.1", 65536), -1);
  EXPECT_EQ(skt_get_bound_port(-1), 0u);
  EXPECT_EQ(skt_accept(-1, nullptr), -1);
}

TEST(skt_is_alive, is_false_only_without_a_socket_or_behind_the_last_byte_of_a_peer) {
  const int listener = skt_listen("127.0.0.1", 0);
  const int client = skt_open("127.0.0.1", skt_get_bound_port(listener));
  const int server = skt_accept(listener, nullptr);
  EXPECT_FALSE(skt_is_alive(-1));
  EXPECT_TRUE(skt_is_alive(client)) << "nothing has come";
  EXPECT_EQ(skt_send_string(server, "x"), 1);
  skt_close(server);
  ASSERT_EQ(skt_wait_readable(client, {.limit_us = A_MINUTE_US}), 1);
  EXPECT_TRUE(skt_is_alive(client)) << "a byte waits before the close";
  char byte = 0;
  EXPECT_EQ(skt_recv_all(client, &byte, 1), 1);
  ASSERT_EQ(skt_wait_readable(client, {.limit_us = A_MINUTE_US}), 1);
  EXPECT_FALSE(skt_is_alive(client));
  skt_close(client);
  skt_close(listener);
}

TEST(skt_wait_readable, ends_by_limit_deadline_or_stop) {
  const int listener = skt_listen("127.0.0.1", 0);
  const int client = skt_open("127.0.0.1", skt_get_bound_port(listener));
  const int server = skt_accept(listener, nullptr);
  const std::atomic<uint32_t> running{0};
  const std::atomic<uint32_t> stopped{1};
  constexpr uint64_t A_DAY_US = uint64_t{24} * 60 * A_MINUTE_US;
  const struct {
    const char* name;
    skt_terms terms;
    int when_empty;
    int when_filled;
  } cases[] = {
      {"no wait", {}, 0, 1},
      {"a short limit", {.limit_us = 100, .stop = &running}, 0, 1},
      {"the deadline is behind", {.limit_us = A_DAY_US, .deadline_us = 1}, 0, 0},
      {"the deadline comes before the limit",
       {.limit_us = A_DAY_US, .deadline_us = get_steady_time_us() + 100'000},
       0,
       0},
      {"stopped before", {.limit_us = A_DAY_US, .stop = &stopped}, 0, 0},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(skt_wait_readable(client, c.terms), c.when_empty) << c.name;
  }
  EXPECT_EQ(skt_send_string(server, "x"), 1);
  ASSERT_EQ(skt_wait_readable(client, {.limit_us = A_DAY_US}), 1);
  for (const auto& c : cases) {
    EXPECT_EQ(skt_wait_readable(client, c.terms), c.when_filled) << c.name;
  }
  EXPECT_EQ(skt_wait_readable(-1, {.limit_us = A_DAY_US}), 0);
  skt_close(client);
  skt_close(server);
  skt_close(listener);
}

TEST(skt_wait_readable, ends_when_stop_is_set_while_it_waits) {
  const int listener = skt_listen("127.0.0.1", 0);
  std::atomic<uint32_t> stop{0};
  // A day of waiting would end the test program by its own time limit.
  std::thread waiter([listener, &stop] {
    EXPECT_EQ(
        skt_wait_readable(listener, {.limit_us = uint64_t{24} * 60 * A_MINUTE_US, .stop = &stop}),
        0);
  });
  stop = 1;
  waiter.join();
  skt_close(listener);
}

}  // namespace
}  // namespace wk
