#include "crawler/fetch/http_client.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <string>
#include <tuple>

#include "tests/support/scripted_server.h"

namespace wk {
namespace {

using namespace std::string_literals;

const std::string OK = "HTTP/1.0 200 OK\r\n";

std::string length(const std::string& text) { return "Content-Length: " + text + "\r\n"; }

class http_get_from_server : public testing::Test {
 protected:
  void SetUp() override { unsetenv("HTTP_PROXY"); }
  uint32_t get_url(const std::string& url) {
    reset_http_request(request);
    set_target_http_request(request, url);
    const uint32_t status = http_get(request, response, surroundings, true);
    EXPECT_EQ(response.status, status);
    return status;
  }
  uint32_t get(const std::string& path) { return get_url(get_url_scripted_server(server, path)); }
  uint32_t get_answer(const scripted_answer& answer) {
    serve_answers_scripted_server(server, "/", {answer});
    return get("/");
  }
  std::string print_headers() {
    std::string text;
    append_http_headers(text, response.headers);
    return text;
  }

  scripted_server server = start_scripted_server();
  http_request request;
  http_response response;
  http_surroundings surroundings;
};

TEST_F(http_get_from_server, understands_what_servers_send) {
  const std::string large(300'000, 'l');
  const std::string five = length("5");
  const std::string none = length("0");
  const std::tuple<const char*, std::string, uint32_t, std::string, std::string> cases[] = {
      {"length and body", OK + five + "\r\nabcde", 200, "abcde", five},
      {"body cut short", OK + five + "\r\nabc", 500, "abc", five},
      {"no length", "HTTP/1.0 404 No\r\n\r\na\0b12"s, 404, "a\0b12"s, five},
      {"length nought and a body", OK + length("0") + "\r\nabcde", 200, "", none},
      {"large body without a length", OK + "\r\n" + large, 200, large, length("300000")},
      {"bare line feeds", "HTTP/1.0 200 OK\nA: b\n\nabcde", 200, "abcde", "A: b\r\n" + five},
      {"the last of a repeated header", OK + "X: 1\r\nx: 2\r\n\r\n", 200, "", "x: 2\r\n" + none},
      {"one blank behind the colon", OK + "A:bc\r\nB:\r\n\r\n", 200, "", "A: c\r\nB: \r\n" + none},
      {"lines before the status", "\r\nno\r\nhttp/\r\nHTTP/1.0 204 x\r\nno\r\n\r\n", 204, "", none},
      {"a status that is no number", "HTTP/1.0 OK fine\r\n\r\n", 0, "", none},
      {"close at once", "", 408, "", ""},
      {"length too long", OK + length("10000000") + "\r\n", 400, "", length("10000000")},
      {"length past 2^32", OK + length("4294967301") + "\r\nabcde", 400, "", length("4294967301")},
  };
  for (const auto& [name, bytes, status, body, headers] : cases) {
    SCOPED_TRACE(name);
    EXPECT_EQ(get_answer({.bytes = bytes}), status);
    EXPECT_EQ(response.body, body);
    EXPECT_EQ(print_headers(), headers);
  }
}

// Servers that send without an end, or nothing, are among the behaviours of the hostile suite.
TEST_F(http_get_from_server, bounds_what_a_server_may_send) {
  std::string many_lines = OK;
  for (int i = 0; i < 998; ++i) many_lines += "A: b\r\n";
  const std::string long_line = OK + "A: " + std::string(262'000, 'a');
  const std::pair<scripted_answer, uint32_t> cases[] = {
      {{.bytes = many_lines + "\r\n"}, 200},
      {{.bytes = many_lines + "A: b\r\n\r\n"}, 400},
      {{.bytes = long_line + "\r\n\r\n"}, 200},
      {{.bytes = long_line + std::string(1'000, 'a') + "\r\n\r\n"}, 400},
      {{.kind = ANSWER_ENDLESS_HEAD, .bytes = OK}, 400},
      {{.kind = ANSWER_ENDLESS_BODY, .bytes = OK + "\r\n"}, 400},
      {{.kind = ANSWER_STALL, .bytes = OK + length("2") + "\r\nab"}, 200},
      {{.kind = ANSWER_STALL, .bytes = OK + length("0") + "\r\n"}, 200},
      {{.kind = ANSWER_STALL, .bytes = "HTTP/1.0 204 No\r\n\r\n"}, 204},
      {{.kind = ANSWER_STALL, .bytes = "HTTP/1.0 304 No\r\n" + length("5") + "\r\n"}, 304},
      {{.kind = ANSWER_DRIP, .bytes = OK}, 408},
      {{.kind = ANSWER_DRIP, .bytes = OK + length("900000") + "\r\n"}, 408},
  };
  for (const auto& [answer, status] : cases) {
    SCOPED_TRACE(testing::PrintToString(answer.kind) + answer.bytes.substr(0, 99));
    surroundings.attempt_limit_us = status == 408 ? 100'000 : 10'000'000;
    EXPECT_EQ(get_answer(answer), status);
    EXPECT_LE(response.body.size(), HTTP_MAX_BODY_BYTES + size_t{1});
  }
}

TEST_F(http_get_from_server, hands_cookies_to_the_hook_and_keeps_none_as_header) {
  std::string bytes =
      OK + "Set-cookie: a\r\nSET-COOKIE: " + std::string(HTTP_MAX_COOKIE_BYTES + 1, 'x');
  for (int i = 0; i < 100; ++i) bytes += "\r\nSet-Cookie: b";
  std::string cookies, expected = "a";
  response.cookie_context = &cookies;
  response.cookie_hook = [](std::string_view value, const url_address&, void* context) {
    static_cast<std::string*>(context)->append(value);
  };
  EXPECT_EQ(get_answer({.bytes = bytes + "\r\n\r\n"}), 200u);
  EXPECT_EQ(cookies, expected.append(48, 'b'));
  EXPECT_EQ(print_headers(), "Content-Length: 0\r\n");
}

TEST_F(http_get_from_server, refuses_what_it_cannot_ask_for_and_prefers_the_environments_proxy) {
  surroundings.own_port = get_port_scripted_server(server);
  for (const std::string url : {"https://127.0.0.1/", "ftp://127.0.0.1/", "gopher://127.0.0.1/",
                                "http:///", "http://127.0.0.1:0/", "http://127.0.0.1:65536/", ""}) {
    errno = EMFILE;  // of something before
    EXPECT_EQ(get_url(url.empty() ? get_url_scripted_server(server, "/") : url), 400u) << url;
    EXPECT_EQ(response.trouble, url.empty() ? HTTP_OWN_SERVER : HTTP_NO_TROUBLE) << url;
  }
  surroundings.own_port = 0;
  EXPECT_EQ(get("/a\r\nX: y"), 400u);
  setenv("HTTP_PROXY", "", 1);
  surroundings.proxy = "127.0.0.1:0";
  EXPECT_EQ(get("/"), 400u);
  EXPECT_EQ(count_all_requests_scripted_server(server), 0u);
  setenv("HTTP_PROXY", get_authority_scripted_server(server).c_str(), 1);
  EXPECT_EQ(get_url("http://h.test:8080/a b"), 404u);
  EXPECT_EQ(count_requests_scripted_server(server, "http://h.test:8080/a%20b"), 1u);
}

}  // namespace
}  // namespace wk
