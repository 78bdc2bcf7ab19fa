#include "crawler/fetch/http_message.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <ctime>
#include <string>
#include <tuple>

#include "crawler/fetch/http_status.h"

namespace wk {
namespace {

TEST(http_status, knows_texts_and_descriptions) {
  const std::tuple<uint32_t, const char*, const char*> cases[] = {
      {100, "100 Continue", "The client SHOULD continue with its request."},
      {200, "200 OK", "The request has succeeded."},
      {203, "203 Non-Authoritative Information", nullptr},
      {302, "302 Found", "The requested resource resides temporarily under a different URI."},
      {306, "Unknown Response Code",
       "The 306 status code was used in a previous version of the specification, is no longer "
       "used, and the code is reserved."},
      {402, "402 Payment Required", "This code is reserved for future use."},
      {408, "408 Request Time-out", nullptr},
      {414, "414 Request-URI Too Large", nullptr},
      {416, "416 Requested range not satisfiable", nullptr},
      {418, "Unknown Response Code", "Unknown Response Code"},
      {504, "504 Gateway Time-out", nullptr},
      {505, "505 HTTP Version not supported", nullptr},
      {0, "Unknown Response Code", "Unknown Response Code"},
      {4294967295, "Unknown Response Code", "Unknown Response Code"},
  };
  for (const auto& [code, text, description] : cases) {
    EXPECT_EQ(http_status_text(code), text);
    if (description != nullptr) {
      EXPECT_EQ(http_status_description(code), description);
    } else {
      EXPECT_NE(http_status_description(code), "Unknown Response Code") << code;
    }
  }
  uint32_t nb_texts = 0;
  for (uint32_t code = 0; code < 1000; ++code) {
    const std::string_view text = http_status_text(code);
    if (text == "Unknown Response Code") continue;
    ++nb_texts;
    EXPECT_TRUE(text.starts_with(std::to_string(code) + " ")) << text;
  }
  EXPECT_EQ(nb_texts, 40u);
}

TEST(http_headers, replace_without_regard_to_case_and_keep_their_order) {
  http_headers headers;
  for (int round = 0; round < 2; ++round) {
    clear_http_headers(headers);
    set_http_headers(headers, "X-A", "1");
    set_http_headers(headers, "x-b", "2");
    set_http_headers(headers, "x-a", "3");
    std::string text;
    append_http_headers(text, headers);
    EXPECT_EQ(text, "x-a: 3\r\nx-b: 2\r\n");
    EXPECT_EQ(*find_http_headers(headers, "X-B"), "2");
    remove_http_headers(headers, "X-A");
    EXPECT_EQ(find_http_headers(headers, "x-a"), nullptr);
  }
}

TEST(http_headers, read_lengths_and_refuse_what_is_none) {
  const std::tuple<const char*, uint32_t> cases[] = {
      {"0", 0},
      {"5", 5},
      {"  17 ", 17},
      {"12abc", 12},
      {"4294967295", 4294967295},
      {"99999999999999999999", 4294967295},
      {"-5", 4294967295},
      {"many", 4294967295},
      {"", 4294967295},
  };
  http_headers headers;
  EXPECT_EQ(http_headers_content_length(headers), 0u);
  for (const auto& [text, length] : cases) {
    set_http_headers(headers, "content-length", text);
    EXPECT_EQ(http_headers_content_length(headers), length) << text;
  }
  http_headers_set_content_length(headers, 4'000'000'000);
  EXPECT_EQ(*find_http_headers(headers, "Content-Length"), "4000000000");
}

TEST(http_headers, read_dates_as_local_time_whatever_zone_they_name) {
  std::tm parts{};
  parts.tm_year = 94;
  parts.tm_mon = 10;
  parts.tm_mday = 6;
  parts.tm_hour = 8;
  parts.tm_min = 49;
  parts.tm_sec = 37;
  parts.tm_isdst = -1;
  http_headers headers;
  EXPECT_EQ(http_headers_date(headers), 0u);
  set_http_headers(headers, "Date", "Sun, 06 Nov 1994 08:49:37 GMT");
  set_http_headers(headers, "Last-Modified", "yesterday");
  EXPECT_EQ(http_headers_date(headers), static_cast<uint32_t>(std::mktime(&parts)));
  EXPECT_EQ(http_headers_last_modified(headers), 0u);
}

TEST(format_request, writes_the_target_as_the_way_asks_for_it) {
  const std::tuple<uint32_t, uint32_t, const char*, const char*> cases[] = {
      {HTTP_GET, 0, "http://h.test/a b?c d", "GET /a%20b?c%20d HTTP/1.0\r\nHost: h.test\r\n\r\n"},
      {HTTP_HEAD, 0, "http://h.test:81", "HEAD / HTTP/1.0\r\nHost: h.test:81\r\n\r\n"},
      {HTTP_GET, 1, "http://h.test/a?b", "GET http://h.test/a?b HTTP/1.0\r\nHost: h.test\r\n\r\n"},
      {HTTP_GET, 1, "http://h.test:81/",
       "GET http://h.test:81/ HTTP/1.0\r\nHost: h.test:81\r\n\r\n"},
      {HTTP_GET, 1, "ftp://h.test/f", "GET ftp://h.test/f HTTP/1.0\r\nHost: h.test:21\r\n\r\n"},
      {HTTP_GET, 1, "https://h.test/s", "GET /s HTTP/1.0\r\nHost: h.test:443\r\n\r\n"},
      {HTTP_CONNECT, 1, "https://h.test/s",
       "CONNECT h.test:443 HTTP/1.0\r\nHost: h.test:443\r\n\r\n"},
      {HTTP_POST, 0, "http://h.test/",
       "POST / HTTP/1.0\r\nHost: h.test\r\nContent-Length: 3\r\n\r\na=b"},
      {HTTP_DELETE, 0, "http://h.test/", "DELETE / HTTP/1.0\r\nHost: h.test\r\n\r\n"},
  };
  http_request request;
  for (const auto& [method, through_proxy, url, text] : cases) {
    reset_http_request(request);
    request.method = method;
    request.through_proxy = through_proxy;
    request.body = "a=b";
    set_target_http_request(request, url);
    EXPECT_TRUE(format_request(request)) << url;
    EXPECT_EQ(request.text, text);
  }
}

TEST(format_request, refuses_what_would_forge_a_line) {
  using namespace std::string_literals;
  const std::tuple<std::string, std::string> cases[] = {
      {"http://h.test/a\r\nX: y", "v"},
      {"http://h.test/a\nb", "v"},
      {"http://h.test/a\0b"s, "v"},
      {"http://h.test/a\tb", "v"},
      {"http://h.test\r\nX: y/", "v"},
      {"http://h .test/", "v"},
      {"http:///a", "v"},
      {"gopher://h.test/", "v"},
      {"http://h.test/", "v\r\nX: y"},
      {"http://h.test/", "v\ny"},
      {"http://h.test/", "v\rX: y"},
      {"http://h.test/", "v\0y"s},
  };
  http_request request;
  for (const auto& [url, value] : cases) {
    reset_http_request(request);
    set_target_http_request(request, url);
    set_http_headers(request.headers, "Cookie", value);
    EXPECT_FALSE(format_request(request)) << testing::PrintToString(url);
    EXPECT_EQ(request.text, "");
  }
}

struct request_case {
  const char* name;
  std::string text;
  uint32_t method;
  std::string path;
  std::string headers;
  std::string body;
};

std::vector<request_case> build_request_cases() {
  return {
      {"get", "GET /a/b?x=1 HTTP/1.0\r\nHost: h\r\nX:\r\n\r\n", HTTP_GET, "/a/b?x=1",
       "Host: h\r\nX: \r\n", ""},
      {"post", "POST /f HTTP/1.1\nContent-Length: 3\n\na=bc", HTTP_POST, "/f",
       "Content-Length: 3\r\n", "a=b"},
      {"head", "HEAD / HTTP/1.0\r\n\r\n", HTTP_HEAD, "/", "", ""},
      {"put", "PUT /p HTTP/1.0\r\n\r\n", HTTP_PUT, "/p", "", ""},
      {"another word", "OPTIONS / HTTP/1.0\r\n\r\n", HTTP_GET, "ONS /", "", ""},
      {"lines before", "noise\r\nA: b\r\n\r\nGET /x HTTP/1.0\r\n\r\n", HTTP_GET, "/x", "", ""},
      {"no colon, one blank lost", "GET / HTTP/1.0\r\nnoise\r\nA:bc\r\n\r\n", HTTP_GET, "/",
       "A: c\r\n", ""},
      {"no target", "HTTP/1.0\r\n\r\n", HTTP_GET, "", "", ""},
      {"nothing", "", HTTP_GET, "", "", ""},
      {"head cut short", "GET / HTTP/1.0\r\nA: b\r\n", HTTP_GET, "/", "A: b\r\n", ""},
      {"body cut short", "PUT / HTTP/1.0\r\nContent-Length: 9\r\n\r\nabc", HTTP_PUT, "/",
       "Content-Length: 9\r\n", "abc"},
      {"more body than is kept",
       "PUT / HTTP/1.0\r\nContent-Length: 70000\r\n\r\n" + std::string(70'000, 'b'), HTTP_PUT, "/",
       "Content-Length: 70000\r\n", std::string(65'536, 'b')},
      {"a line too long", "GET / HTTP/1.0\r\nA: " + std::string(66'000, 'a') + "\r\nB: c\r\n\r\n",
       HTTP_GET, "/", "", ""},
  };
}

void expect_request(http_request& request, const request_case& wanted) {
  SCOPED_TRACE(wanted.name);
  EXPECT_EQ(request.method, wanted.method);
  EXPECT_EQ(request.target.path, wanted.path);
  std::string headers;
  append_http_headers(headers, request.headers);
  EXPECT_EQ(headers, wanted.headers);
  EXPECT_EQ(request.body, wanted.body);
}

TEST(http_read_request, reads_stored_text_and_sockets_alike) {
  for (const request_case& one : build_request_cases()) {
    http_request request;
    EXPECT_EQ(http_read_stored_request(request, one.text), 1);
    expect_request(request, one);

    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    const int large = 1024 * 1024;
    ASSERT_EQ(setsockopt(ends[1], SOL_SOCKET, SO_SNDBUF, &large, sizeof large), 0);
    ASSERT_EQ(write(ends[1], one.text.data(), one.text.size()),
              static_cast<ssize_t>(one.text.size()));
    close(ends[1]);
    EXPECT_EQ(http_read_request(request, ends[0]), one.text.empty() ? 0 : 1);
    expect_request(request, one);
    close(ends[0]);
  }
}

TEST(http_read_request, ends_at_a_thousand_lines) {
  std::string text = "GET / HTTP/1.0\r\n";
  for (int i = 0; i < 2'000; ++i) text += "H" + std::to_string(i) + ": v\r\n";
  http_request request;
  EXPECT_EQ(http_read_stored_request(request, text), 1);
  EXPECT_EQ(request.headers.fields.size(), 999u);
}

TEST(http_format_response, writes_head_and_body_behind_what_is_there) {
  http_response response;
  response.status = 200;
  response.body = "abc";
  std::string out = "before";
  const size_t length = http_format_response(response, out);
  EXPECT_EQ(length, out.size() - 6);
  EXPECT_EQ(out, "beforeHTTP/1.0 200 OK\r\nContent-Length: 3\r\n\r\nabc");

  response.status = 599;
  response.body.clear();
  set_http_headers(response.headers, "Server", "s");
  out.clear();
  EXPECT_EQ(http_format_response(response, out), 64u);
  EXPECT_EQ(out, "HTTP/1.0 Unknown Response Code\r\nContent-Length: 0\r\nServer: s\r\n\r\n");
}

}  // namespace
}  // namespace wk
