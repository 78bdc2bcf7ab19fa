#include "wkskt/skt.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "wkstd/clock.h"

namespace wk {
namespace {

using namespace std::string_literals;

constexpr uint64_t A_DAY_US = 86'400'000'000;  // ends the test program by its own time limit
constexpr skt_terms A_MINUTE = {.limit_us = 60'000'000};

// Two ends of one loopback connection, and what listened for it on every address.
struct connection {
  const int listener = skt_listen("0.0.0.0", 0);
  const uint32_t port = skt_get_bound_port(listener);
  const int client = skt_open_with_timeout("127.0.0.1", port, A_MINUTE);
  uint32_t address = 0;
  int server = skt_accept(listener, &address);
  ~connection() {
    for (const int handle : {client, server, listener}) skt_close(handle);
  }
};

// Sends bytes in parts of the given size, then nothing more.
std::jthread send_in_parts(const connection& pair, const std::string& bytes, size_t part_bytes) {
  return std::jthread([handle = pair.server, bytes, part_bytes] {
    for (size_t at = 0; at < bytes.size(); at += part_bytes) {
      const std::string part = bytes.substr(at, part_bytes);
      EXPECT_EQ(skt_send_all(handle, part), static_cast<int64_t>(part.size()));
    }
    EXPECT_EQ(shutdown(handle, SHUT_WR), 0);
  });
}

int find_free_handle() {
  const int handle = dup(STDERR_FILENO);
  close(handle);
  return handle;
}

TEST(skt_open_with_timeout, connects_in_blocking_mode_or_leaves_no_socket) {
  const connection pair;
  const uint32_t port = pair.port;
  const uint32_t deaf = skt_get_bound_port(pair.client);  // nobody listens there
  const skt_terms not_to_it = {.limit_us = A_DAY_US, .refused_own_port = port};
  const skt_terms not_to_another = {.limit_us = A_DAY_US, .refused_own_port = port - 1};
  const std::tuple<const char*, uint32_t, skt_terms, bool, const char*> cases[] = {
      {"127.0.0.1", deaf, A_MINUTE, false, ""},
      {"127.0.0.1", deaf, {}, false, ""},
      {"", port, A_MINUTE, false, ""},
      {"127.0.0.1", 0, A_MINUTE, false, ""},
      {"127.0.0.1", port + 65'536, A_MINUTE, false, ""},
      {"a..b", 80, A_MINUTE, false, "Socket error: a..b:80\n"},  // no name: no server is asked
      {nullptr, port, {}, false, ""},                            // listens, and the port is taken
      {"127.0.0.1", port, not_to_another, true, ""},
      {"127.0.0.1", port, not_to_it, false, ""},
      {"127.9.8.7", port, not_to_it, false, ""},
      {"0.0.0.0", port, not_to_it, false, ""},
      {"localhost", port, not_to_it, false, ""},
  };
  for (const auto& [host, to_port, terms, connects, message] : cases) {
    SCOPED_TRACE((host == nullptr ? "null" : host) + " "s + std::to_string(to_port));
    testing::internal::CaptureStderr();
    const int before = find_free_handle();
    const int handle = skt_open_with_timeout(host, to_port, terms);
    EXPECT_EQ(handle >= 0, connects);
    EXPECT_EQ(fcntl(handle, F_GETFL) & O_NONBLOCK, connects ? 0 : O_NONBLOCK);
    skt_close(handle);
    EXPECT_EQ(find_free_handle(), before);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), message);
  }
  EXPECT_EQ(pair.address, htonl(INADDR_LOOPBACK));
  EXPECT_EQ(skt_get_bound_address(pair.listener), "0.0.0.0");
  EXPECT_EQ(skt_get_bound_address(pair.server), "127.0.0.1");
  EXPECT_EQ(skt_get_bound_address(-1), "");
  const int listener = skt_listen("127.0.0.1", 0);
  EXPECT_EQ(skt_open("127.0.0.2", skt_get_bound_port(listener)), -1) << "keeps to one address";
  skt_close(listener);
  EXPECT_EQ(skt_listen("a..b", 0), -1);
}

enum reader { LINE, TIMED_LINE, SOURCE, RECV, TIMED_RECV, COUNTED, QUIET, ALL, MESSAGE, NUMBER };

// Reads by any of them; a buffer is made max bytes long before.
int64_t read_by(reader by, skt_line_source& source, std::string& out, skt_terms terms, size_t max) {
  const int handle = source.handle;
  if (by >= RECV && by <= COUNTED) out.assign(max, by == RECV ? '\0' : '#');
  if (by == LINE) return skt_read_line(out, handle, max);
  if (by == TIMED_LINE) return skt_read_line_with_timeout(out, handle, terms, max);
  if (by == RECV) return skt_recv_all(handle, out.data(), max);
  if (by == TIMED_RECV) return skt_recv_all_with_timeout(out.data(), max, handle, terms);
  if (by == COUNTED) return int64_t(skt_read_counted_with_timeout(out.data(), max, handle, terms));
  if (by == QUIET) return int64_t(skt_read_until_quiet(out, handle, terms, max));
  if (by == ALL) return skt_read_all(out, handle, terms, max);
  if (by == MESSAGE) return skt_recv_message(handle, out, terms, max) ? 1 : 0;
  if (by == NUMBER) return skt_recv_uint32_with_timeout(handle, terms);
  std::string_view line;
  const int answer = read_line_skt_line_source(source, line, terms, max);
  out = answer == 1 ? line : source.begun_line;
  return answer;
}

TEST(every_reader, takes_what_was_asked_for_and_no_more) {
  std::string large(1'100'000, '\0');
  for (size_t i = 0; i < large.size(); ++i) large[i] = static_cast<char>(i * 31 % 251);
  std::string lines(20'000, 'l');
  for (size_t i = 0; i < 300; ++i) lines += "\n" + std::string(i * i % 97, 'a') + "\r";
  const std::vector<reader> by_line = {LINE, TIMED_LINE, SOURCE};
  const std::vector<reader> by_block = {RECV, TIMED_RECV, COUNTED, QUIET, ALL};
  const struct {
    const char* name;
    std::vector<reader> readers;
    std::string sent;
    size_t part_bytes, max_bytes;
    int64_t answer;         // of the last line
    std::string out, rest;  // out holds as many lines as are read
  } cases[] = {
      {"CR stays", by_line, "HTTP/1.0 2\r\nA:\r\n", 99, 99, 1, "HTTP/1.0 2\r", "A:\r\n"},
      {"an empty line", by_line, "\nbody", 99, 0, 1, "", "body"},
      {"any bytes", by_line, "a\0\xff\xff\nb\0c"s, 1, 99, 1, "a\0\xff\xff"s, "b\0c"s},
      {"many lines", by_line, lines + "\n\nrest", 99'999, SIZE_MAX, 1, lines, "\nrest"},
      {"many, in parts", by_line, lines + "\n\nrest", 7, SIZE_MAX, 1, lines, "\nrest"},
      {"within the bound", by_line, "12345\nrest", 99, 5, 1, "12345", "rest"},
      {"past the bound", by_line, "123456\nrest", 99, 5, 0, "", "123456\nrest"},
      {"half is kept", by_line, "HTTP/1.0 2", 99, 99, 0, "HTTP/1.0 2", ""},
      {"less in parts", by_block, "abcdef", 1, 4, 4, "abcd", "ef"},
      {"more than comes", by_block, "abc", 1, 6, 3, "abc", ""},
      {"nothing", by_block, "abc", 3, 0, 0, "", "abc"},
      {"a part of much", by_block, large + "rest", 9'999, 1'100'000, 1'100'000, large, "rest"},
      {"much", by_block, large, 9'999'999, 1'100'001, 1'100'000, large, ""},
      {"empty message", {MESSAGE}, "\0\0\0\0z"s, 1, 0, 1, "", "z"},
      {"at the bound", {MESSAGE}, "\0\0\0\3abcd"s, 1, 3, 1, "abc", "d"},
      {"past the bound", {MESSAGE}, "\0\0\0\4abcd"s, 1, 3, 0, "", "abcd"},
      {"large", {MESSAGE}, "\x00\x10\xc8\xe0"s + large, 4'096, SIZE_MAX, 1, large, ""},
      {"length of no number", {MESSAGE}, "\x05\xf5\xe1\x00zz"s, 99, SIZE_MAX, 0, "", ""},
      {"length cut short", {MESSAGE}, "\0\0\0"s, 1, SIZE_MAX, 0, "", ""},
      {"bytes cut short", {MESSAGE}, "\0\0\0\4abc"s, 1, SIZE_MAX, 0, "", ""},
  };
  for (const auto& c : cases) {
    for (const reader by : c.readers) {
      for (const skt_terms& terms : {A_MINUTE, {.limit_us = by < MESSAGE ? SKT_NO_WAIT_US : 0}}) {
        SCOPED_TRACE(c.name + " by "s + std::to_string(by));
        const connection pair;
        const std::jthread sender = send_in_parts(pair, c.sent, c.part_bytes);
        skt_line_source source{.handle = pair.client};
        std::string line, rest, out = "stale";
        int64_t answer = read_by(by, source, out, terms, c.max_bytes);
        while (answer == 1 && by <= SOURCE && out.size() < c.out.size()) {
          answer = read_by(by, source, line, terms, c.max_bytes);
          out += "\n" + line;
        }
        finish_skt_line_source(source);
        std::string wanted = c.out;
        if (by >= RECV && by <= COUNTED) wanted.resize(c.max_bytes);  // zeros behind what came
        EXPECT_EQ(answer, c.answer);
        EXPECT_TRUE(out == wanted) << out.substr(0, 99);
        skt_read_until_quiet(rest, pair.client, A_MINUTE);
        EXPECT_TRUE(rest == c.rest);
      }
    }
  }
}

TEST(every_reader, gives_up_on_a_peer_that_is_silent_or_stopped) {
  const std::atomic<uint32_t> stopped{1};
  const uint64_t soon_us = get_steady_time_us() + 100'000;
  const skt_terms a_moment = {.limit_us = 1'000};
  const std::pair<skt_terms, int> cases[] = {{a_moment, 1},  // 1 when something is there
                                             {{.limit_us = A_DAY_US, .stop = &stopped}, 0},
                                             {{.limit_us = A_DAY_US, .deadline_us = soon_us}, 0}};
  const connection pair;
  skt_line_source source{.handle = pair.client};
  std::string out;
  for (const auto& [terms, _] : cases) {
    for (const reader by : {TIMED_LINE, SOURCE, TIMED_RECV, COUNTED, QUIET, ALL, MESSAGE, NUMBER}) {
      EXPECT_EQ(read_by(by, source, out, terms, 4), by == NUMBER ? SKT_NO_NUMBER : 0) << by;
    }
  }
  EXPECT_TRUE(skt_is_alive(pair.client));
  EXPECT_EQ(skt_send_string(pair.server, "some"), 4);
  ASSERT_EQ(skt_wait_readable(pair.client, A_MINUTE), 1);
  for (const auto& [terms, n] : cases) EXPECT_EQ(skt_wait_readable(pair.client, terms), n);
  EXPECT_EQ(read_by(QUIET, source, out, a_moment, 9), 4) << "what came is kept";
  send_in_parts(pair, "x", 1).join();
  ASSERT_EQ(skt_wait_readable(pair.client, A_MINUTE), 1);
  EXPECT_TRUE(skt_is_alive(pair.client)) << "a byte waits before the close";
  EXPECT_EQ(read_by(RECV, source, out, {}, 9), 1);
  EXPECT_FALSE(skt_is_alive(pair.client));
  EXPECT_FALSE(skt_is_alive(-1));
  EXPECT_EQ(skt_wait_readable(-1, A_MINUTE), 0);
  std::string too_much;
  too_much.resize(64'000'000);
  EXPECT_EQ(skt_send_all_with_timeout(pair.client, too_much, a_moment), 0);
}

TEST(every_sender, sends_all) {
  const connection pair;
  const std::string body(1'000'000, 'b');
  std::string got;
  std::thread receiver([&pair, &got] { skt_read_until_quiet(got, pair.client, A_MINUTE); });
  EXPECT_EQ(skt_send_all(pair.server, body), static_cast<int64_t>(body.size()));
  EXPECT_EQ(skt_send_all_with_timeout(pair.server, body, A_MINUTE), 1);
  for (const skt_terms& terms : {skt_terms{}, A_MINUTE}) {
    EXPECT_EQ(skt_send_message(pair.server, "", terms), 1);
    EXPECT_EQ(skt_send_message(pair.server, "a\0b"s, terms), 1);
  }
  send_in_parts(pair, "", 1).join();
  receiver.join();
  EXPECT_TRUE(got == body + body + "\0\0\0\0\0\0\0\3a\0b\0\0\0\0\0\0\0\3a\0b"s);
}

TEST(every_sender, and_reader_tells_that_the_peer_reset_the_connection) {
  for (const reader by : {RECV, TIMED_RECV, ALL}) {
    connection pair;
    const linger none{1, 0};
    EXPECT_EQ(setsockopt(pair.server, SOL_SOCKET, SO_LINGER, &none, sizeof none), 0);
    EXPECT_EQ(close(std::exchange(pair.server, -1)), 0);  // a shutdown would make it a close
    ASSERT_EQ(skt_wait_readable(pair.client, A_MINUTE), 1);
    skt_line_source source{.handle = pair.client};
    std::string out;
    EXPECT_EQ(read_by(by, source, out, A_MINUTE, 1), -1) << by;
    EXPECT_EQ(skt_send_string(pair.client, "x"), -1);  // and no signal ends the test program
    EXPECT_EQ(skt_send_all_with_timeout(pair.client, "x", A_MINUTE), 0);
  }
}

}  // namespace
}  // namespace wk
