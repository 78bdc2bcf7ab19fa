// What a server may put into robots files, cookies and heads to harm the crawler or to speak
// through it.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "tests/support/crawl_run.h"
#include "tests/support/scripted_server.h"

namespace wk {
namespace {

std::string build_noise(size_t nb_bytes) {
  std::string noise(nb_bytes, 0);
  uint32_t state = 1;
  for (char& byte : noise) byte = static_cast<char>((state = state * 1'103'515'245 + 12'345) >> 16);
  return noise;
}

std::string repeat(std::string_view line, size_t count) {
  std::string text;
  while (count-- > 0) text += line;
  return text;
}

std::string build_page(std::string_view headers, std::string_view body) {
  return build_response_text(200, "Content-Type: text/html\r\n" + std::string(headers), body);
}

TEST(hostile_robots_files, cost_no_page_but_those_they_forbid) {
  std::string many_rules = "User-agent: *\n";
  for (int i = 0; i < 200'000; ++i) many_rules += "Disallow: /dir-" + std::to_string(i) + "/\n";
  std::string long_rules = "User-agent: *\n";
  for (char c = 'a'; c < 'g'; ++c) {
    long_rules += std::string("Disallow: /") + c + std::string(1'000'000, 'y') + "\n";
  }
  const std::string header = "HTTP/1.0 200 OK\r\nContent-Type: text/plain\r\n\r\n";
  const struct {
    const char* name;
    scripted_answer robots;
    bool forbids;
  } cases[] = {
      {"5 MB of comments", build_page_answer(repeat("# nothing here\n", 350'000)), false},
      {"5 MB, then a rule",
       build_page_answer(repeat("#\n", 2'500'000) + "User-agent: *\nDisallow: /x\n"), true},
      {"one line of 5 MB", build_page_answer(std::string(5'000'000, 'a')), false},
      {"noise", build_page_answer(build_noise(1'000'000)), false},
      {"200,000 rules and one", build_page_answer(many_rules + "Disallow: /x\n"), true},
      {"rules of 6 MB and one", build_page_answer(long_rules + "Disallow: /x\n"), true},
      {"more than a body may hold", {.kind = ANSWER_ENDLESS_BODY, .bytes = header}, false},
      {"a head without an end",
       {.kind = ANSWER_ENDLESS_HEAD, .bytes = "HTTP/1.0 200 OK\r\n"},
       false},
      {"a redirect to itself",
       {.bytes = build_response_text(302, "Location: /robots.txt\r\n", "")},
       false},
      {"a close at once", {}, false},
  };
  for (const auto& [name, robots, forbids] : cases) {
    SCOPED_TRACE(name);
    scripted_server server = start_scripted_server();
    serve_answers_scripted_server(server, "/robots.txt", {robots});
    serve_page_scripted_server(server, "/", "<a href='/x'>x</a><a href='/dir/'>x</a>");
    serve_page_scripted_server(server, "/x", "this may be forbidden");
    serve_page_scripted_server(server, "/dir/", "this is never forbidden");
    crawl_setup setup;
    setup.profile.seeds = {get_url_scripted_server(server, "/")};
    setup.profile.elements = "<robot honor=\"true\"/><retries num=\"2\" wait=\"0\"/>\n";
    const crawl_place place;
    const crawl_result crawl = run_crawl(place, setup);
    EXPECT_EQ(crawl.program.exit_status, 0) << crawl.program.errors;
    EXPECT_EQ(count_requests_scripted_server(server, "/dir/"), 1u);
    EXPECT_EQ(count_requests_scripted_server(server, "/x"), forbids ? 0u : 1u);
  }
}

TEST(hostile_cookies, are_bounded_in_size_and_number) {
  scripted_server server = start_scripted_server();
  std::string index = "<a href='/long'>x</a>";
  for (int page = 0; page < 200; ++page) {
    std::string cookies;
    for (int i = 0; i < 60; ++i) {
      cookies += "Set-Cookie: c" + std::to_string(page * 60 + i) + "=" + std::string(100, 'v') +
                 "; path=/\r\n";
    }
    const std::string path = "/p" + std::to_string(page);
    serve_bytes_scripted_server(server, path, build_page(cookies, path));
    index += "<a href='" + path + "'>x</a>";
  }
  serve_page_scripted_server(server, "/", index);
  serve_bytes_scripted_server(
      server, "/long",
      build_page("Set-Cookie: long=" + std::string(100'000, 'v') + "; path=/\r\n",
                 "a cookie of 100 KB"));
  crawl_setup setup;
  setup.profile.seeds = {get_url_scripted_server(server, "/")};
  const crawl_place place;
  const crawl_result crawl = run_crawl(place, setup);
  EXPECT_EQ(crawl.program.exit_status, 0) << crawl.program.errors;
  size_t longest = 0;
  for (const recorded_request& request : get_requests_scripted_server(server)) {
    EXPECT_LT(request.head.size(), (64u << 10) + 1'000);
    EXPECT_EQ(request.head.find("long="), std::string::npos);
    longest = std::max(longest, request.head.size());
  }
  EXPECT_GT(longest, 32u << 10) << "cookies were sent";
  EXPECT_EQ(count_all_requests_scripted_server(server), 202u);
}

// True when head is lines that end in CR LF, without another control byte, and none is the
// server's.
bool is_clean_head(std::string_view head) {
  for (size_t i = 0; i < head.size(); ++i) {
    if (head[i] == '\r' && i + 1 < head.size() && head[i + 1] == '\n') {
      ++i;
    } else if (static_cast<unsigned char>(head[i]) < 0x20 || head[i] == 0x7f) {
      return false;
    }
  }
  return head.find("\r\nX-Evil") == std::string_view::npos;
}

TEST(hostile_heads, put_no_line_into_a_request) {
  scripted_server server = start_scripted_server();
  const std::string_view evil[] = {"\r\nX-Evil: 1",       "\rX-Evil: 1",      "\nX-Evil: 1",
                                   "&#13;&#10;X-Evil: 1", "&#x0a;X-Evil: 1",  "%0d%0aX-Evil: 1",
                                   "\t\r\n X-Evil: 1",    "\x0b\x0cX-Evil: 1"};
  std::string index = "<a href='/after'>x</a>";
  int number = 0;
  for (const std::string_view text : evil) {
    const std::string path = "/e" + std::to_string(number++);
    index += "<a href='" + path + "'>x</a><a href='/link" + std::string(text) + "'>x</a>";
    index += "<base href='http://127.0.0.1" + std::string(text) + "/'>";
    serve_bytes_scripted_server(
        server, path,
        build_response_text(302,
                            "Location: /moved" + std::string(text) + "\r\nSet-Cookie: k=v" +
                                std::string(text) + "; path=/\r\nSet-Cookie: n" +
                                std::string(text) + "=v; path=/" + std::string(text) + "\r\n",
                            ""));
  }
  serve_page_scripted_server(server, "/", index);
  serve_page_scripted_server(server, "/after", "cookies are sent here");
  serve_default_scripted_server(
      server, [](const recorded_request& request) { return build_page("", request.path); });
  crawl_setup setup;
  setup.profile.seeds = {get_url_scripted_server(server, "/")};
  setup.profile.nb_spiders = 1;
  setup.profile.elements = "<retries num=\"3\" wait=\"0\"/>\n";
  const crawl_place place;
  const crawl_result crawl = run_crawl(place, setup);
  EXPECT_EQ(crawl.program.exit_status, 0) << crawl.program.errors;
  size_t nb_moved = 0;
  for (const recorded_request& request : get_requests_scripted_server(server)) {
    EXPECT_TRUE(is_clean_head(request.head)) << testing::PrintToString(request.head);
    nb_moved += request.path.starts_with("/moved") ? 1 : 0;
  }
  EXPECT_GT(nb_moved, 0u) << "redirects were followed";
  EXPECT_EQ(count_requests_scripted_server(server, "/after"), 1u);
}

}  // namespace
}  // namespace wk
