#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "wkskt/skt.h"

namespace wk {
namespace {

using namespace std::string_literals;

constexpr skt_terms A_MINUTE = {.limit_us = 60'000'000};
constexpr skt_terms AT_ONCE = {.limit_us = 1'000};

// Two ends of one loopback connection.
struct connection {
  int client = -1;
  int server = -1;
  connection() {
    const int listener = skt_listen("127.0.0.1", 0);
    client = skt_open_with_timeout("127.0.0.1", skt_get_bound_port(listener), A_MINUTE);
    server = skt_accept(listener, nullptr);
    skt_close(listener);
    EXPECT_GE(client, 0);
    EXPECT_GE(server, 0);
  }
  ~connection() {
    skt_close(client);
    skt_close(server);
  }
  connection(const connection&) = delete;
  connection& operator=(const connection&) = delete;
};

void end_sending(connection& pair) { EXPECT_EQ(shutdown(pair.server, SHUT_WR), 0); }

// The peer resets instead of closing, so that the client's next receive fails.
void reset_by_peer(connection& pair) {
  const linger none{1, 0};
  EXPECT_EQ(setsockopt(pair.server, SOL_SOCKET, SO_LINGER, &none, sizeof none), 0);
  // Without shutdown, which skt_close would make.
  EXPECT_EQ(close(std::exchange(pair.server, -1)), 0);
}

// Sends bytes in parts of the given size; the client sees one more part each time it waits.
std::thread send_in_parts(const connection& pair, std::string bytes, size_t part_bytes) {
  return std::thread([handle = pair.server, bytes = std::move(bytes), part_bytes] {
    for (size_t at = 0; at < bytes.size(); at += part_bytes) {
      const std::string part = bytes.substr(at, part_bytes);
      EXPECT_EQ(skt_send_all(handle, part), static_cast<int64_t>(part.size()));
    }
    EXPECT_EQ(shutdown(handle, SHUT_WR), 0);
  });
}

std::string read_rest(int handle) {
  std::string rest;
  skt_read_until_quiet(rest, handle, A_MINUTE);
  return rest;
}

int read_line_by_source(std::string& line, int handle, const skt_terms& terms, size_t max_bytes) {
  skt_line_source source;
  source.handle = handle;
  std::string_view view;
  line.clear();
  const int answer = read_line_skt_line_source(source, view, terms, max_bytes);
  if (answer == 1) line = view;
  finish_skt_line_source(source);
  return answer;
}

int read_line_without_limit(std::string& line, int handle, const skt_terms&, size_t max_bytes) {
  return skt_read_line(line, handle, max_bytes);
}

struct line_reader {
  const char* name;
  int (*read)(std::string& line, int handle, const skt_terms& terms, size_t max_bytes);
};
constexpr line_reader LINE_READERS[] = {
    {"skt_read_line", read_line_without_limit},
    {"skt_read_line_with_timeout", skt_read_line_with_timeout},
    {"skt_line_source", read_line_by_source},
};

TEST(every_line_reader, takes_one_line_and_leaves_what_follows) {
  const std::string long_line(20'000, 'l');
  const struct {
    const char* name;
    std::string sent;
    size_t max_bytes;
    int answer;
    std::string line;  // when the answer is 1
    std::string rest;
  } cases[] = {
      {"a carriage return stays", "HTTP/1.0 200 OK\r\nServer: x\r\n", SIZE_MAX, 1,
       "HTTP/1.0 200 OK\r", "Server: x\r\n"},
      {"an empty line", "\nbody", SIZE_MAX, 1, "", "body"},
      {"NUL and high bytes", "a\0\xff\xff\nb\0c"s, SIZE_MAX, 1, "a\0\xff\xff"s, "b\0c"s},
      {"longer than one look", long_line + "\n\nrest", SIZE_MAX, 1, long_line, "\nrest"},
      {"just within the bound", "12345\nrest", 5, 1, "12345", "rest"},
      {"an empty line within a bound of nothing", "\nrest", 0, 1, "", "rest"},
      {"past the bound", "123456\nrest", 5, 0, "", "123456\nrest"},
      {"a close within the line", "HTTP/1.0 2", SIZE_MAX, 0, "", ""},
      {"a close at once", "", SIZE_MAX, 0, "", ""},
  };
  for (const line_reader& reader : LINE_READERS) {
    for (const auto& c : cases) {
      SCOPED_TRACE(std::string(reader.name) + ": " + c.name);
      connection pair;
      std::thread sender = send_in_parts(pair, c.sent, SIZE_MAX / 2);
      std::string line = "stale";
      EXPECT_EQ(reader.read(line, pair.client, A_MINUTE, c.max_bytes), c.answer);
      if (c.answer == 1) {
        EXPECT_EQ(line, c.line);
      }
      EXPECT_EQ(read_rest(pair.client), c.rest);
      sender.join();
    }
  }
}

TEST(every_line_reader, joins_lines_from_segments_of_any_size) {
  std::vector<std::string> lines;
  std::string sent;
  for (size_t i = 0; i < 60; ++i) {
    lines.push_back(std::string(i * i % 97, static_cast<char>('a' + i % 26)) + "\r");
    sent += lines.back() + "\n";
  }
  sent += "body";
  for (const line_reader& reader : LINE_READERS) {
    for (const size_t part_bytes : {1u, 7u, 1000u}) {
      SCOPED_TRACE(reader.name + " "s + std::to_string(part_bytes));
      connection pair;
      std::thread sender = send_in_parts(pair, sent, part_bytes);
      for (const std::string& expected : lines) {
        std::string line;
        EXPECT_EQ(reader.read(line, pair.client, A_MINUTE, SIZE_MAX), 1);
        EXPECT_EQ(line, expected);
      }
      EXPECT_EQ(read_rest(pair.client), "body");
      sender.join();
    }
  }
}

TEST(skt_read_line, keeps_what_came_before_a_close) {
  connection pair;
  EXPECT_EQ(skt_send_string(pair.server, "half"), 4);
  end_sending(pair);
  std::string line;
  EXPECT_EQ(skt_read_line(line, pair.client), 0);
  EXPECT_EQ(line, "half");
}

TEST(skt_line_source, hands_out_many_lines_and_gives_the_socket_back_behind_them) {
  for (const size_t part_bytes : {3u, 100'000u}) {
    SCOPED_TRACE(part_bytes);
    connection pair;
    std::string sent;
    for (int i = 0; i < 3000; ++i) sent += "line " + std::to_string(i) + "\n";
    std::thread sender = send_in_parts(pair, sent + "the body\nof it", part_bytes);
    skt_line_source source;
    source.handle = pair.client;
    std::string_view line;
    for (int i = 0; i < 3000; ++i) {
      ASSERT_EQ(read_line_skt_line_source(source, line, A_MINUTE), 1);
      ASSERT_EQ(line, "line " + std::to_string(i));
    }
    finish_skt_line_source(source);
    EXPECT_EQ(read_rest(pair.client), "the body\nof it");
    sender.join();
  }
}

TEST(every_reader, gives_up_on_a_peer_that_is_silent_or_stopped) {
  const std::atomic<uint32_t> stopped{1};
  const skt_terms silent_cases[] = {
      AT_ONCE,
      {.limit_us = A_MINUTE.limit_us, .stop = &stopped},
      {.limit_us = A_MINUTE.limit_us, .deadline_us = 1},
  };
  for (const skt_terms& terms : silent_cases) {
    SCOPED_TRACE(&terms - silent_cases);
    connection pair;
    std::string text = "stale";
    char buffer[4] = {'a', 'b', 'c', 'd'};
    EXPECT_EQ(skt_read_line_with_timeout(text, pair.client, terms), 0);
    EXPECT_EQ(read_line_by_source(text, pair.client, terms, SIZE_MAX), 0);
    EXPECT_EQ(skt_recv_all_with_timeout(buffer, sizeof buffer, pair.client, terms), 0);
    EXPECT_EQ(std::string(buffer, sizeof buffer), std::string(4, '\0'));
    EXPECT_EQ(skt_read_counted_with_timeout(buffer, sizeof buffer, pair.client, terms), 0u);
    EXPECT_EQ(skt_read_until_quiet(text, pair.client, terms), 0u);
    EXPECT_EQ(skt_read_all(text, pair.client, terms), 0);
    EXPECT_EQ(skt_recv_uint32_with_timeout(pair.client, terms), SKT_NO_NUMBER);
    EXPECT_FALSE(skt_recv_message(pair.client, text, terms, SIZE_MAX));
  }
}

TEST(skt_read_counted_with_timeout, takes_what_was_asked_for_and_no_more) {
  const struct {
    const char* name;
    std::string sent;
    size_t count;
    std::string got;
    std::string rest;
  } cases[] = {
      {"less than there is", "abcdef", 4, "abcd", "ef"},
      {"all there is", "abcdef", 6, "abcdef", ""},
      {"more than there is", "abc", 6, "abc\0\0\0"s, ""},
  };
  for (const auto& c : cases) {
    for (const size_t part_bytes : {1u, 100u}) {
      SCOPED_TRACE(c.name);
      connection pair;
      std::thread sender = send_in_parts(pair, c.sent, part_bytes);
      std::string buffer(c.count, '#');
      EXPECT_EQ(skt_read_counted_with_timeout(buffer.data(), c.count, pair.client, A_MINUTE),
                std::min(c.count, c.sent.size()));
      EXPECT_EQ(buffer, c.got);
      EXPECT_EQ(read_rest(pair.client), c.rest);
      sender.join();
    }
  }
}

std::string build_large_body() {
  std::string body(1'000'000, '\0');
  for (size_t i = 0; i < body.size(); ++i) body[i] = static_cast<char>(i * 31 % 251);
  return body;
}

TEST(skt_read_until_quiet, takes_a_large_body_whole_or_up_to_the_bound) {
  const std::string body = build_large_body();
  const struct {
    const char* name;
    size_t max_bytes;
  } cases[] = {{"nothing", 0},
               {"one byte", 1},
               {"a part", 65'537},
               {"all", 1'000'000},
               {"no bound", SIZE_MAX}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    connection pair;
    std::thread sender = send_in_parts(pair, body, body.size());
    std::string out = "stale";
    const size_t expected = std::min(c.max_bytes, body.size());
    EXPECT_EQ(skt_read_until_quiet(out, pair.client, A_MINUTE, c.max_bytes), expected);
    EXPECT_TRUE(out == body.substr(0, expected));
    EXPECT_TRUE(read_rest(pair.client) == body.substr(expected));
    sender.join();
  }
}

TEST(skt_read_until_quiet, keeps_what_came_when_the_peer_falls_silent) {
  connection pair;
  EXPECT_EQ(skt_send_string(pair.server, "some"), 4);
  ASSERT_EQ(skt_wait_readable(pair.client, A_MINUTE), 1);
  std::string out;
  EXPECT_EQ(skt_read_until_quiet(out, pair.client, AT_ONCE), 4u);
  EXPECT_EQ(out, "some");
}

TEST(skt_read_all, reads_to_the_close_with_and_without_waits) {
  const std::string body = build_large_body();
  for (const skt_terms& terms : {A_MINUTE, skt_terms{.limit_us = SKT_NO_WAIT_US}}) {
    SCOPED_TRACE(terms.limit_us);
    connection pair;
    std::thread sender = send_in_parts(pair, body, 10'000);
    std::string out = "stale";
    EXPECT_EQ(skt_read_all(out, pair.client, terms, 5), 5);
    EXPECT_EQ(out, body.substr(0, 5));
    EXPECT_EQ(skt_read_all(out, pair.client, terms), static_cast<int64_t>(body.size()) - 5);
    EXPECT_TRUE(out == body.substr(5));
    sender.join();
  }
}

TEST(every_receive, tells_a_reset_from_a_close) {
  const auto receive_after = [](void (*end)(connection & pair)) {
    connection pair;
    end(pair);
    EXPECT_EQ(skt_wait_readable(pair.client, A_MINUTE), 1);
    char byte = 0;
    return skt_recv_all(pair.client, &byte, 1);
  };
  const auto read_after = [](void (*end)(connection & pair)) {
    connection pair;
    end(pair);
    EXPECT_EQ(skt_wait_readable(pair.client, A_MINUTE), 1);
    std::string out;
    return skt_read_all(out, pair.client, A_MINUTE);
  };
  EXPECT_EQ(receive_after(end_sending), 0);
  EXPECT_EQ(receive_after(reset_by_peer), -1);
  EXPECT_EQ(read_after(end_sending), 0);
  EXPECT_EQ(read_after(reset_by_peer), -1);
}

TEST(skt_recv_all, counts_what_came_before_a_close) {
  for (const uint64_t limit_us : {SKT_NO_WAIT_US, A_MINUTE.limit_us}) {
    connection pair;
    std::thread sender = send_in_parts(pair, "abc", 1);
    std::array<char, 8> buffer{};
    EXPECT_EQ(skt_recv_all_with_timeout(buffer.data(), buffer.size(), pair.client,
                                        {.limit_us = limit_us}),
              3);
    EXPECT_EQ(std::string(buffer.data(), 4), "abc\0"s);
    EXPECT_EQ(skt_recv_all(pair.client, buffer.data(), buffer.size()), 0);
    sender.join();
  }
}

TEST(every_sender, sends_all_or_says_that_it_did_not) {
  const std::string body = build_large_body();
  {
    connection pair;
    std::string got;
    std::thread reader([&pair, &got] { got = read_rest(pair.client); });
    EXPECT_EQ(skt_send_all(pair.server, ""), 0);
    EXPECT_EQ(skt_send_all(pair.server, body), static_cast<int64_t>(body.size()));
    EXPECT_EQ(skt_send_all_with_timeout(pair.server, body, A_MINUTE), 1);
    end_sending(pair);
    reader.join();
    EXPECT_TRUE(got == body + body);
  }
  {
    connection pair;
    std::string too_much;
    too_much.resize(64'000'000);
    EXPECT_EQ(skt_send_all_with_timeout(pair.server, too_much, AT_ONCE), 0)
        << "the peer takes nothing";
  }
  {
    connection pair;
    reset_by_peer(pair);
    ASSERT_EQ(skt_wait_readable(pair.client, A_MINUTE), 1);
    // No signal ends the test program. The first send meets the reset, the second a broken pipe.
    EXPECT_EQ(skt_send_string(pair.client, "x"), -1);
    EXPECT_EQ(skt_send_string(pair.client, "x"), -1);
    EXPECT_EQ(skt_send_all_with_timeout(pair.client, "x", A_MINUTE), 0);
  }
  EXPECT_EQ(skt_send_all(-1, "x"), -1);
  EXPECT_EQ(skt_send_all_with_timeout(-1, "x", A_MINUTE), 0);
}

TEST(skt_send_message, writes_a_big_endian_length_and_the_bytes) {
  for (const skt_terms& terms : {skt_terms{}, A_MINUTE}) {
    SCOPED_TRACE(terms.limit_us);
    connection pair;
    EXPECT_EQ(skt_send_message(pair.server, "", terms), 1);
    EXPECT_EQ(skt_send_message(pair.server, "a\0b"s, terms), 1);
    EXPECT_EQ(skt_send_uint32_with_timeout(pair.server, 0x01020304, terms), 1);
    skt_send_uint32(pair.server, 0xfffefdfc);
    end_sending(pair);
    EXPECT_EQ(read_rest(pair.client), "\0\0\0\0\0\0\0\3a\0b\1\2\3\4\xff\xfe\xfd\xfc"s);
  }
}

TEST(skt_recv_uint32, is_the_number_of_four_bytes) {
  const struct {
    std::string sent;
    uint32_t value;
  } cases[] = {{"\1\2\3\4"s, 0x01020304},
               {"\xff\xff\xff\xff"s, UINT32_MAX},
               {"\0\0\0\0"s, 0},
               {"\1\2\3"s, SKT_NO_NUMBER},
               {""s, SKT_NO_NUMBER}};
  for (const auto& c : cases) {
    for (const skt_terms& terms : {skt_terms{}, A_MINUTE}) {
      connection pair;
      std::thread sender = send_in_parts(pair, c.sent, 1);
      EXPECT_EQ(skt_recv_uint32_with_timeout(pair.client, terms), c.value) << c.sent.size();
      sender.join();
    }
  }
}

TEST(skt_recv_message, answers_for_every_kind_of_bytes) {
  const std::string body = build_large_body();
  const struct {
    const char* name;
    std::string sent;
    size_t max_bytes;
    bool answer;
    std::string text;  // when the answer is true
  } cases[] = {
      {"empty", "\0\0\0\0"s, 0, true, ""},
      {"at the bound", "\0\0\0\3abcd"s, 3, true, "abc"},
      {"past the bound", "\0\0\0\4abcd"s, 3, false, ""},
      {"large", "\x00\x0f\x42\x40"s + body, SIZE_MAX, true, body},
      {"the length that a failed receive answers, and little behind it", "\x05\xf5\xe1\x00zz"s,
       SIZE_MAX, false, ""},
      {"length cut short", "\0\0\0"s, SIZE_MAX, false, ""},
      {"bytes cut short", "\0\0\0\4abc"s, SIZE_MAX, false, ""},
  };
  for (const auto& c : cases) {
    for (const skt_terms& terms : {skt_terms{}, A_MINUTE}) {
      SCOPED_TRACE(c.name);
      connection pair;
      std::thread sender = send_in_parts(pair, c.sent, 4096);
      std::string text = "stale";
      EXPECT_EQ(skt_recv_message(pair.client, text, terms, c.max_bytes), c.answer);
      if (c.answer) {
        EXPECT_TRUE(text == c.text);
      }
      sender.join();
    }
  }
}

}  // namespace
}  // namespace wk
