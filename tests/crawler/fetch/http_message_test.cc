#include "crawler/fetch/http_message.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>

#include "crawler/fetch/http_date.h"

namespace wk {
namespace {

using namespace std::string_literals;

TEST(format_request, writes_the_target_as_the_way_asks_for_it_and_refuses_to_forge_a_line) {
  const struct {
    uint32_t method, through_proxy;
    std::string url, value, line, host;  // a header's value; what is written, empty when refused
  } cases[] = {
      {HTTP_GET, 0, "http://h.test/a b?c d", "", "GET /a%20b?c%20d", "h.test"},
      {HTTP_HEAD, 0, "http://h.test:81", "", "HEAD /", "h.test:81"},
      {HTTP_GET, 1, "http://h.test/a?b", "", "GET http://h.test/a?b", "h.test"},
      {HTTP_GET, 1, "ftp://h.test/f", "", "GET ftp://h.test/f", "h.test:21"},
      {HTTP_GET, 1, "https://h.test/s", "", "GET /s", "h.test:443"},
      {HTTP_CONNECT, 1, "https://h.test/s", "", "CONNECT h.test:443", "h.test:443"},
      {HTTP_GET, 0, "http://h.test/a\r\nX: y", "", "", ""},
      {HTTP_GET, 0, "http://h.test/a\0b"s, "", "", ""},
      {HTTP_GET, 0, "http://h.test/a\tb", "", "", ""},
      {HTTP_GET, 0, "http://h.test\r\nX: y/", "", "", ""},
      {HTTP_GET, 0, "http://h .test/", "", "", ""},
      {HTTP_GET, 0, "http:///a", "", "", ""},
      {HTTP_GET, 0, "gopher://h.test/", "", "", ""},
      {HTTP_GET, 0, "http://h.test/", "v\ny", "", ""},
      {HTTP_GET, 0, "http://h.test/", "v\rX: y", "", ""},
      {HTTP_GET, 0, "http://h.test/", "v\0y"s, "", ""},
  };
  http_request request;
  for (const auto& [method, through_proxy, url, value, line, host] : cases) {
    SCOPED_TRACE(testing::PrintToString(url + value));
    reset_http_request(request);
    request.method = method;
    request.through_proxy = through_proxy;
    request.body = "only of a POST";
    set_target_http_request(request, url);
    set_http_headers(request.headers, "Cookie", value);
    EXPECT_EQ(format_request(request), !line.empty());
    EXPECT_EQ(request.text,
              line.empty() ? "" : line + " HTTP/1.0\r\nCookie: \r\nHost: " + host + "\r\n\r\n");
  }
}

TEST(parse_http_date, reads_the_three_forms_and_nothing_else) {
  const std::pair<std::string, int64_t> cases[] = {
      {"Sun, 06 Nov 1994 08:49:37 GMT", 784'111'777},
      {"Sunday, 06-Nov-94 08:49:37 GMT", 784'111'777},
      {"Sun Nov  6 08:49:37 1994", 784'111'777},
      {" Sun, 6 Nov 1994 08:49:37 GMT\t", 784'111'777},
      {"Fri, 31 Dec 9999 23:59:59 GMT", 253'402'300'799},
      {"Wed, 01-Jan-68 00:00:00 GMT", 3'092'601'600},
      {"Fri, 31 Dec 9999 23:59:60 GMT", 0},
      {"Thu, 01 Jan 1970 00:00:01 GMT", 1},
      {"Thu, 01 Jan 1970 00:00:00 GMT", 0},
      {"Sat, 01 Jan 0000 00:00:00 GMT", 0},
      {"Fri, 01 Jan 99999 00:00:00 GMT", 0},
      {"Sun, 06 Nov 1994 08:49:37", 0},
      {"Sun, 06 Nov 1994 08:49:37 CET", 0},
      {"Sun, 06 Nov 1994 25:00:00 GMT", 0},
      {"Sun, 06 Nov 1994 08:49:37 GMT\0"s, 0},
      {"Sun, 06 Nov 1994 08:49:37 GMT, ", 0},
      {"Sun," + std::string(60, ' ') + "06 Nov 1994 08:49:37 GMT", 0},
      {"784111777", 0},
      {"", 0},
  };
  for (const auto& [text, seconds] : cases) EXPECT_EQ(parse_http_date(text), seconds) << text;
}

TEST(http_read_stored_request, reads_within_its_bounds) {
  const std::string long_line = "A: " + std::string(66'000, 'a') + "\r\nB: c\r\n\r\n";
  const std::string large(70'000, 'b');
  std::string lines;
  std::string first_lines;
  for (int i = 0; i < 2'000; ++i) {
    lines += "H" + std::to_string(i) + ": v\r\n";
    if (i == 998) first_lines = lines;
  }
  // the text; method, path, headers, body
  const std::tuple<std::string, uint32_t, std::string, std::string, std::string> cases[] = {
      {"GET /a?x HTTP/1.0\r\nHost: h\r\nX:\r\n\r\n", HTTP_GET, "/a?x", "Host: h\r\nX: \r\n", ""},
      {"POST / HTTP/1.1\nContent-Length: 1\n\nab", HTTP_POST, "/", "Content-Length: 1\r\n", "a"},
      {"HEAD / HTTP/1.0\r\n\r\n", HTTP_HEAD, "/", "", ""},
      {"OPTIONS / HTTP/1.0\r\n\r\n", HTTP_GET, "ONS /", "", ""},
      {"noise\r\nA: b\r\n\r\nGET /x HTTP/1.0\r\n\r\n", HTTP_GET, "/x", "", ""},
      {"GET / HTTP/1.0\r\nnoise\r\nA:bc\r\n\r\n", HTTP_GET, "/", "A: c\r\n", ""},
      {"HTTP/1.0\r\n\r\n", HTTP_GET, "", "", ""},
      {"", HTTP_GET, "", "", ""},
      {"GET / HTTP/1.0\r\nA: b\r\n", HTTP_GET, "/", "A: b\r\n", ""},
      {"PUT / HTTP/1.0\nContent-Length: 9\n\nabc", HTTP_PUT, "/", "Content-Length: 9\r\n", "abc"},
      {"PUT / HTTP/1.0\r\nContent-Length: 70000\r\n\r\n" + large, HTTP_PUT, "/",
       "Content-Length: 70000\r\n", large.substr(0, 65'536)},
      {"GET / HTTP/1.0\r\n" + long_line, HTTP_GET, "/", "", ""},
      {"GET / HTTP/1.0\r\n" + lines, HTTP_GET, "/", first_lines, ""},
  };
  for (const auto& [text, method, path, headers, body] : cases) {
    SCOPED_TRACE(text.substr(0, 99));
    http_request request;
    EXPECT_EQ(http_read_stored_request(request, text), 1);
    EXPECT_EQ(request.method, method);
    EXPECT_EQ(request.target.path, path);
    std::string found;
    append_http_headers(found, request.headers);
    EXPECT_EQ(found, headers);
    EXPECT_EQ(request.body, body);
  }
}

TEST(http_format_response, writes_head_and_body_behind_what_is_there) {
  http_response response;
  response.status = 599;
  response.body = "abc";
  std::string out = "before";
  EXPECT_EQ(http_format_response(response, out), 56u);
  EXPECT_EQ(out, "beforeHTTP/1.0 Unknown Response Code\r\nContent-Length: 3\r\n\r\nabc");
}

}  // namespace
}  // namespace wk
