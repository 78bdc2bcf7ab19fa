#include "crawler/fetch/http_client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "tests/support/scripted_server.h"

namespace wk {
namespace {

using testing::ElementsAre;

constexpr const char* OK_HEAD = "HTTP/1.0 200 OK\r\n";

std::string print_headers(const http_response& response) {
  std::string text;
  append_http_headers(text, response.headers);
  return text;
}

class http_get_from_server : public testing::Test {
 protected:
  void SetUp() override { unsetenv("HTTP_PROXY"); }
  void TearDown() override { unsetenv("HTTP_PROXY"); }

  uint32_t get(const std::string& path) { return get_url(get_url_scripted_server(server, path)); }
  uint32_t get_url(const std::string& url) {
    reset_http_request(request);
    set_target_http_request(request, url);
    return http_get(request, response, surroundings, true);
  }

  scripted_server server = start_scripted_server();
  http_request request;
  http_response response;
  http_surroundings surroundings;
};

TEST_F(http_get_from_server, understands_what_servers_send) {
  using namespace std::string_literals;
  const std::string large(300'000, 'l');
  const std::tuple<const char*, std::string, uint32_t, std::string, const char*> cases[] = {
      {"length and body", "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nabcde", 200, "abcde",
       "Content-Length: 5\r\n"},
      {"body cut short", "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nabc", 500, "abc",
       "Content-Length: 5\r\n"},
      {"bytes behind the length", "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nabcdefgh", 200,
       "abcde", "Content-Length: 5\r\n"},
      {"no length", "HTTP/1.0 404 No\r\nA: b\r\n\r\na\0b"s, 404, "a\0b"s,
       "A: b\r\nContent-Length: 3\r\n"},
      {"length nought and a body", "HTTP/1.0 200 OK\r\nContent-Length: 0\r\n\r\nabc", 200, "abc",
       "Content-Length: 3\r\n"},
      {"large body", "HTTP/1.0 200 OK\r\nContent-Length: 300000\r\n\r\n" + large, 200, large,
       "Content-Length: 300000\r\n"},
      {"large body cut short", "HTTP/1.0 200 OK\r\nContent-Length: 300001\r\n\r\n" + large, 500,
       large, "Content-Length: 300001\r\n"},
      {"large body without a length", "HTTP/1.0 200 OK\r\n\r\n" + large, 200, large,
       "Content-Length: 300000\r\n"},
      {"bare line feeds", "HTTP/1.0 200 OK\nA: b\n\nx", 200, "x", "A: b\r\nContent-Length: 1\r\n"},
      {"the last of a repeated header", "HTTP/1.0 200 OK\r\nX-A: 1\r\nx-a: 2\r\n\r\n", 200, "",
       "x-a: 2\r\nContent-Length: 0\r\n"},
      {"one blank behind the colon", "HTTP/1.0 200 OK\r\nA:bc\r\nB:\r\nC: \r\nD:  d\r\n\r\n", 200,
       "", "A: c\r\nB: \r\nC: \r\nD:  d\r\nContent-Length: 0\r\n"},
      {"lines before the status", "\r\nnoise\r\nhttp/\r\nHTTP/1.0 204 None\r\nnoise\r\n\r\n", 204,
       "", "Content-Length: 0\r\n"},
      {"a status that is no number", "HTTP/1.0 OK fine\r\n\r\n", 0, "", "Content-Length: 0\r\n"},
      {"close at once", "", 408, "", ""},
      {"head cut short", "HTTP/1.0 200 OK\r\nA: b\r\nB: c", 408, "", "A: b\r\n"},
      {"length too long", "HTTP/1.0 200 OK\r\nContent-Length: 10000000\r\n\r\n", 400, "",
       "Content-Length: 10000000\r\n"},
      {"length beyond 32 bits", "HTTP/1.0 200 OK\r\nContent-Length: 4294967301\r\n\r\nabcde", 400,
       "", "Content-Length: 4294967301\r\n"},
      {"length below nought", "HTTP/1.0 200 OK\r\nContent-Length: -1\r\n\r\n", 400, "",
       "Content-Length: -1\r\n"},
  };
  for (const auto& [name, bytes, status, body, headers] : cases) {
    SCOPED_TRACE(name);
    serve_bytes_scripted_server(server, "/", bytes);
    EXPECT_EQ(get("/"), status);
    EXPECT_EQ(response.status, status);
    EXPECT_EQ(response.body, body);
    EXPECT_EQ(print_headers(response), headers);
  }
}

TEST_F(http_get_from_server, bounds_what_a_server_may_send) {
  std::string many_lines = OK_HEAD;
  for (int i = 0; i < 998; ++i) many_lines += "A: b\r\n";
  const std::string long_line = OK_HEAD + std::string("A: ") + std::string(262'000, 'a');
  const std::tuple<const char*, scripted_answer, uint32_t> cases[] = {
      {"a thousand lines", {.bytes = many_lines + "\r\n"}, 200},
      {"a line more", {.bytes = many_lines + "A: b\r\n\r\n"}, 400},
      {"a long line", {.bytes = long_line + "\r\n\r\n"}, 200},
      {"a line too long", {.bytes = long_line + std::string(1'000, 'a') + "\r\n\r\n"}, 400},
      {"a head without an end", {.kind = ANSWER_ENDLESS_HEAD, .bytes = OK_HEAD}, 400},
      {"a line without an end", {.kind = ANSWER_ENDLESS_BODY, .bytes = OK_HEAD}, 400},
      {"no status for ever", {.kind = ANSWER_ENDLESS_BODY}, 400},
      {"a body without an end",
       {.kind = ANSWER_ENDLESS_BODY, .bytes = OK_HEAD + std::string("\r\n")},
       400},
  };
  for (const auto& [name, answer, status] : cases) {
    SCOPED_TRACE(name);
    serve_answers_scripted_server(server, "/", {answer});
    EXPECT_EQ(get("/"), status);
    EXPECT_LE(response.body.size(), HTTP_MAX_BODY_BYTES + size_t{1});
  }
}

TEST_F(http_get_from_server, needs_no_close_behind_a_small_announced_body) {
  serve_answers_scripted_server(
      server, "/",
      {{.kind = ANSWER_STALL, .bytes = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nab"}});
  EXPECT_EQ(get("/"), 200u);
  EXPECT_EQ(response.body, "ab");
}

TEST_F(http_get_from_server, hands_cookies_to_the_hook_and_keeps_none_as_header) {
  std::string bytes = OK_HEAD;
  bytes += "Set-cookie: a=1\r\nSET-COOKIE: " + std::string(HTTP_MAX_COOKIE_BYTES + 1, 'x') +
           "\r\nset-cookie: b=2\r\n";
  for (int i = 0; i < 100; ++i) bytes += "Set-Cookie: c=3\r\n";
  serve_bytes_scripted_server(server, "/c", bytes + "\r\n");
  std::vector<std::string> cookies;
  response.cookie_context = &cookies;
  response.cookie_hook = [](std::string_view value, const url_address& target, void* context) {
    auto& taken = *static_cast<std::vector<std::string>*>(context);
    taken.push_back(std::string(value) + " of " + target.host + target.path);
  };
  EXPECT_EQ(get("/c"), 200u);
  ASSERT_EQ(cookies.size(), 49u);
  EXPECT_EQ(cookies[0], "a=1 of 127.0.0.1/c");
  EXPECT_EQ(cookies[1], "b=2 of 127.0.0.1/c");
  EXPECT_EQ(print_headers(response), "Content-Length: 0\r\n");

  response.cookie_hook = nullptr;
  EXPECT_EQ(get("/c"), 200u);
  EXPECT_EQ(cookies.size(), 49u);
}

TEST_F(http_get_from_server, refuses_what_it_cannot_ask_for) {
  const uint32_t free_port = get_port_scripted_server(start_scripted_server());
  const std::string cases[] = {
      "https://127.0.0.1/",
      "ftp://127.0.0.1/",
      "gopher://127.0.0.1/",
      "http:///",
      "http://127.0.0.1:0/x",
      "http://127.0.0.1:65536/",
      "http://127.0.0.1:" + std::to_string(free_port) + "/",
  };
  for (const std::string& url : cases) {
    EXPECT_EQ(get_url(url), 400u) << url;
    EXPECT_EQ(response.status, 400u);
  }
  EXPECT_EQ(get("/a\r\nX: y"), 400u);
  surroundings.own_port = get_port_scripted_server(server);
  EXPECT_EQ(get("/"), 400u);
  EXPECT_EQ(count_all_requests_scripted_server(server), 0u);
}

TEST_F(http_get_from_server, asks_the_proxy_of_the_environment_before_its_own) {
  scripted_server other = start_scripted_server("127.0.0.2");
  const auto serve = [](const recorded_request& one) {
    return build_response_text(200, "", one.path);
  };
  serve_default_scripted_server(server, serve);
  serve_default_scripted_server(other, serve);

  surroundings.proxy = get_authority_scripted_server(other);
  EXPECT_EQ(get_url("http://host.test:8080/a?b"), 200u);
  EXPECT_EQ(response.body, "http://host.test:8080/a?b");
  surroundings.proxy = get_url_scripted_server(other, "/");
  EXPECT_EQ(get_url("http://host.test/a b"), 200u);
  EXPECT_EQ(response.body, "http://host.test/a%20b");
  EXPECT_EQ(count_all_requests_scripted_server(other), 2u);

  setenv("HTTP_PROXY", get_authority_scripted_server(server).c_str(), 1);
  EXPECT_EQ(get_url("http://host.test/"), 200u);
  EXPECT_EQ(count_requests_scripted_server(server, "http://host.test/"), 1u);

  setenv("HTTP_PROXY", "", 1);
  surroundings.proxy.clear();
  EXPECT_EQ(get("/direct"), 200u);
  EXPECT_EQ(response.body, "/direct");
  EXPECT_EQ(get_requests_scripted_server(server, "/direct")[0].head,
            "GET /direct HTTP/1.0\r\nHost: " + get_authority_scripted_server(server) + "\r\n\r\n");
}

TEST_F(http_get_from_server, ends_what_takes_too_long) {
  const std::tuple<const char*, scripted_answer> cases[] = {
      {"no head", {.kind = ANSWER_STALL}},
      {"a dripping head", {.kind = ANSWER_DRIP, .bytes = OK_HEAD}},
      {"a dripping body", {.kind = ANSWER_DRIP, .bytes = "HTTP/1.0 200 OK\r\n\r\n"}},
      {"a dripping counted body",
       {.kind = ANSWER_DRIP, .bytes = "HTTP/1.0 200 OK\r\nContent-Length: 900000\r\n\r\n"}},
  };
  surroundings.attempt_limit_us = 100'000;
  for (const auto& [name, answer] : cases) {
    serve_answers_scripted_server(server, "/", {answer});
    EXPECT_EQ(get("/"), 408u) << name;
  }
}

TEST_F(http_get_from_server, ends_a_hanging_attempt_when_the_crawl_stops) {
  const std::tuple<const char*, std::string> cases[] = {
      {"/head", ""},
      {"/body", "HTTP/1.0 200 OK\r\n\r\nabc"},
      {"/counted", "HTTP/1.0 200 OK\r\nContent-Length: 900000\r\n\r\nabc"},
  };
  for (const auto& [path, bytes] : cases) {
    serve_answers_scripted_server(server, path, {{.kind = ANSWER_STALL, .bytes = bytes}});
    std::atomic<uint32_t> stop{0};
    surroundings.stop = &stop;
    uint32_t status = 0;
    std::thread getting([&, where = path] { status = get(where); });
    EXPECT_TRUE(wait_for_request_scripted_server(server, path));
    stop = 1;
    getting.join();
    EXPECT_EQ(status, 408u) << path;
  }
}

TEST_F(http_get_from_server, calls_its_hooks_around_the_exchange) {
  serve_page_scripted_server(server, "/", "page");
  std::vector<std::string> calls;
  const before_connect_hook before = [](http_request& asked, void* context) {
    static_cast<std::vector<std::string>*>(context)->push_back(asked.text.substr(0, 14));
  };
  const after_receive_hook after = [](http_request&, http_response& came, void* context) {
    static_cast<std::vector<std::string>*>(context)->push_back(came.body);
  };
  set_target_http_request(request, get_url_scripted_server(server, "/"));
  EXPECT_EQ(
      http_get_with_hooks(request, response, surroundings, true, before, &calls, after, &calls),
      200u);
  EXPECT_THAT(calls, ElementsAre("GET / HTTP/1.0", "page"));
}

}  // namespace
}  // namespace wk
