// The server's thread against clients that are slow, silent, oversized or many.

#include "crawler/admin/admin_server.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "tests/crawler/core/built_crawler.h"
#include "wkskt/skt.h"
#include "wkstd/text.h"

namespace wk {
namespace {

constexpr std::string_view STATS = "GET /webadmin/GetStats HTTP/1.0\r\n\r\n";
constexpr uint64_t NEVER_US = 3'600'000'000;

struct running_server {
  crawler_place place;
  crawler_ptr crawler;
  admin_server_ptr server;
  uint32_t port = 0;
  std::thread thread;

  explicit running_server(const admin_limits& limits = {}, const char* address = "") {
    place.profile.admin_port = 0;
    place.profile.admin_address = address;
    place.profile.admin_hosts = {"crawl.test"};
    place.profile.log_filter = 7;
    crawler = build(place);
    server = open_admin_server(*crawler, limits);
    port = get_port_admin_server(*server);
    thread = std::thread(run_admin_server, std::ref(*server));
  }
  ~running_server() {
    end_admin_server(*server);
    if (thread.joinable()) thread.join();
  }
};

struct client {
  int handle;
  explicit client(const running_server& running, const char* address = "127.0.0.1")
      : handle(skt_open(address, running.port)) {}
  ~client() { skt_close(handle); }
  client(const client&) = delete;

  void send(std::string_view bytes) const { (void)skt_send_all(handle, bytes); }
  // What the server sends up to its close.
  [[nodiscard]] std::string read() const {
    std::string answer;
    skt_read_until_quiet(answer, handle, {.limit_us = 60'000'000});
    return answer;
  }
};

std::string write_lines(int count) {
  std::string lines;
  for (int i = 0; i < count; ++i) lines += "X" + std::to_string(i) + ": y\r\n";
  return lines;
}

bool is_answered(const running_server& running) {
  const client asking(running);
  asking.send(STATS);
  return asking.read().starts_with("HTTP/1.0 200 OK\r\n");
}

TEST(admin_server, answers_requests_of_every_shape) {
  const std::string post = "POST /webadmin/GetStats HTTP/1.0\r\nContent-Length: ";
  const std::string head = "GET / HTTP/1.0\r\nX: ";
  const std::tuple<const char*, std::string, int> cases[] = {
      // 0: the client closes unanswered
      {"line feeds alone", "GET /webadmin/ HTTP/1.0\n\n", 200},
      {"a body", post + "5\r\n\r\nhello", 200},
      {"the largest body", post + "65536\r\n\r\n" + std::string(65'536, 'x'), 200},
      {"a body too large", post + "65537\r\n\r\n" + std::string(65'537, 'x'), 413},
      {"a body of no length", post + "-1\r\n\r\nx", 413},
      {"a large head", head + std::string(16'000, 'x') + "\r\n\r\n", 404},
      {"a head too large", head + std::string(17'000, 'x') + "\r\n\r\n", 413},
      {"100 lines", "GET /webadmin/ HTTP/1.0\r\n" + write_lines(99) + "\r\n", 200},
      {"101 lines", "GET /webadmin/Shutdown HTTP/1.0\r\n" + write_lines(100) + "\r\n", 413},
      {"101 lines, cut off", "GET /webadmin/Shutdown HTTP/1.0\r\n" + write_lines(100), 413},
      {"no request line", std::string(17'000, '\n'), 413},
      {"nothing", "", 0},
      {"no page to change by", "HEAD /webadmin/Shutdown HTTP/1.0\r\n\r\n", 405},
      {"another port, forwarded", "GET /live HTTP/1.0\r\nHost: localhost:1\r\n\r\n", 200},
      {"half a request line", "GET /webadmin/Shutdown HTTP/1.0", 0},
      {"a line that is none", "GET /webadmin/Shutdown\r\n", 0},
      {"half a head", "GET /webadmin/GetStats HTTP/1.0\r\n", 200},
      {"half a head, guarded", "GET /webadmin/Shutdown HTTP/1.0\r\nHost: a.test\r\n", 403},
      {"half a line of a head", "GET / HTTP/1.0\r\nHost: a.test", 404},
      {"half a body", post + "9\r\n\r\nx", 200},
  };
  const running_server running({.request_us = NEVER_US});
  for (const auto& [name, request, status] : cases) {
    SCOPED_TRACE(name);
    const client asking(running);
    asking.send(request);
    skt_end_sending(asking.handle);
    const std::string answer = asking.read();
    EXPECT_TRUE(status == 0 ? answer.empty()
                            : answer.starts_with(format_text("HTTP/1.0 %d ", status)));
  }
  EXPECT_FALSE(is_stopped(running.crawler->gate));
}

TEST(admin_server, goes_by_its_own_names) {
  // Where it listens, where it is reached, by which name it is asked, and whether it answers.
  const std::tuple<const char*, const char*, const char*, bool> cases[] = {
      {"", "127.0.0.1", "127.0.0.1", true},
      {"", "127.0.0.1", "crawl.test", true},
      {"", "127.0.0.1", "127.0.0.2", false},
      {"", "127.0.0.1", "0.0.0.0", false},
      {"127.1.2.3", "127.1.2.3", "127.1.2.3", true},
      {"127.3", "127.0.0.3", "127.3", true},
      {"0.0.0.0", "127.4.5.6", "127.4.5.6", true},
      {"0.0.0.0", "127.4.5.6", "0.0.0.0", false},
      {"0", "127.0.0.1", "0", false},
  };
  for (const auto& [listening, reached, name, answered] : cases) {
    SCOPED_TRACE(std::string(listening) + " " + reached + " " + name);
    const running_server running({}, listening);
    const client asking(running, reached);
    asking.send(format_text("GET /live HTTP/1.0\r\nHost: %s:%u\r\n\r\n", name, running.port));
    EXPECT_EQ(asking.read().starts_with(answered ? "HTTP/1.0 200 " : "HTTP/1.0 403 "), true);
  }
}

TEST(admin_server, drops_who_hangs_and_is_not_held_up) {
  const running_server hasty({.request_us = 50'000});
  for (const char* begun : {"", "GET /webadmin/Shutdown HTTP/1.0\r\n"}) {
    const client hanging(hasty);
    hanging.send(begun);
    EXPECT_EQ(hanging.read(), "");
  }
  EXPECT_FALSE(is_stopped(hasty.crawler->gate));
  for (const size_t max_clients : {size_t{256}, size_t{16}, size_t{1}}) {
    SCOPED_TRACE(max_clients);
    const running_server running({.request_us = NEVER_US, .max_clients = max_clients});
    std::vector<std::unique_ptr<client>> silent;
    for (int i = 0; i < 200; ++i) {
      silent.push_back(std::make_unique<client>(running));
      if (i % 2 == 0) silent.back()->send("GET /webadmin/");
    }
    EXPECT_TRUE(is_answered(running));
    // The newest are still listened to, the oldest only where there was room for all.
    silent.back()->send(STATS);
    EXPECT_EQ(silent.back()->read().empty(), max_clients == 1);
    silent.front()->send(STATS);
    EXPECT_EQ(silent.front()->read().empty(), max_clients < 200);
  }
}

// An answer that nobody takes is longer than what the sockets between hold.
TEST(admin_server, is_not_held_up_by_who_takes_no_answer) {
  running_server running({.answer_us = NEVER_US, .close_us = 50'000, .max_answer_bytes = 40 << 20});
  for (int i = 0; i < 200; ++i) {
    cookie_jar_add(running.crawler->cookies, "s.test", "/" + std::to_string(i),
                   COOKIE_NEVER_EXPIRES, "name", std::string(50'000, '<'));
  }
  constexpr std::string_view COOKIES = "GET /webadmin/GetCookies HTTP/1.0\r\n\r\n";
  const client first(running);
  const client second(running);
  const client third(running);
  for (const client* hanging : {&first, &second, &third}) {
    hanging->send(COOKIES);
    EXPECT_NE(skt_wait_readable(hanging->handle, {.limit_us = 60'000'000}), 0);
    EXPECT_TRUE(is_answered(running));
  }
  EXPECT_GT(third.read().size(), 16u << 20);
  EXPECT_LT(first.read().size(), 16u << 20);  // gave way to the second and third
  EXPECT_NE(read_test_file(running.place.base + "/log").find("500 Failed to send a response"),
            std::string::npos);
}

TEST(admin_server, ends_with_the_answer_of_the_shutdown_page) {
  running_server running;
  const client operators(running);
  operators.send("GET /webadmin/Shutdown HTTP/1.0\r\n\r\n");
  EXPECT_NE(operators.read().find("<h2>The Crawler is Exiting...</h2>\n"), std::string::npos);
  running.thread.join();
  EXPECT_EQ(skt_open("127.0.0.1", running.port), -1);
  const std::string log = read_test_file(running.place.base + "/log");
  const std::string port = "localhost:" + std::to_string(running.port) + " Opened admin socket";
  size_t at = 0;
  for (const std::string text :
       {"date time s-uri s-comment", port.c_str(), "date time cs-method c-ip cs-uri",
        "GET 16777343 /webadmin/Shutdown", "Crawler manually stopped.",
        "date time cs-status cs-uri", "200 /webadmin/Shutdown"}) {
    at = log.find(text + "\n", at);
    EXPECT_NE(at, std::string::npos) << text;
  }
  EXPECT_EQ(running.crawler->fetch.own_port, running.port);
}

TEST(admin_server, says_so_when_it_gets_no_port) {
  const running_server running;
  for (const int32_t port : {static_cast<int32_t>(running.port), 70'000, -7, -1}) {
    crawler_place place;
    place.profile.admin_port = port;
    place.profile.log_filter = 7;
    const crawler_ptr crawler = build(place);
    EXPECT_EQ(open_admin_server(*crawler), nullptr);
    const std::string text = "localhost:" + std::to_string(port) + " Couldn't open admin socket\n";
    EXPECT_EQ(read_test_file(place.base + "/log").find(text) != std::string::npos, port != -1);
    EXPECT_EQ(crawler->fetch.own_port, 0u);
  }
}

}  // namespace
}  // namespace wk
