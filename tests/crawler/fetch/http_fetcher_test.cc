#include "crawler/fetch/http_fetcher.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "tests/support/scripted_server.h"

namespace wk {
namespace {

class fetch_url_from_server : public testing::Test {
 protected:
  void SetUp() override {
    unsetenv("HTTP_PROXY");
    fetcher = create_http_fetcher(settings);
  }

  int fetch(const std::string& path, std::string_view referer = "") {
    return fetch_url(*fetcher, get_url_scripted_server(server, path), referer, seconds);
  }
  // The value of a header of the last request for path, or "none".
  std::string get_last_header(const scripted_server& asked, const std::string& path,
                              const std::string& name) {
    const auto requests = get_requests_scripted_server(asked, path);
    if (requests.empty()) return "no request";
    const std::string& head = requests.back().head;
    const size_t at = head.find("\r\n" + name + ": ");
    if (at == std::string::npos) return "none";
    const size_t start = at + name.size() + 4;
    return head.substr(start, head.find("\r\n", start) - start);
  }

  scripted_server server = start_scripted_server();
  fetch_settings settings;
  http_fetcher_ptr fetcher;
  uint32_t seconds = 0;
};

TEST_F(fetch_url_from_server, sends_its_headers_in_their_order) {
  serve_page_scripted_server(server, "/a?b", "page");
  settings.user_agent = "crawl/1.0";
  fetcher->cookies_for = [](std::string_view, std::string& value, void*) {
    value = "a=1; ";
    return 1;
  };
  EXPECT_EQ(fetch("/a?b", "http://from.test/"), 1);
  EXPECT_EQ(fetcher->response.body, "page");
  EXPECT_EQ(seconds, 1u);
  EXPECT_EQ(get_requests_scripted_server(server)[0].head,
            "GET /a?b HTTP/1.0\r\nUser-Agent: crawl/1.0\r\nReferer: http://from.test/\r\n"
            "Cookie: a=1; \r\nHost: " +
                get_authority_scripted_server(server) + "\r\n\r\n");

  fetcher->choose_user_agent = [](std::string& value, void*) { value.clear(); };
  settings.all_cookies_mode = 1;
  EXPECT_EQ(fetch("/a?b"), 1);
  EXPECT_EQ(get_requests_scripted_server(server)[1].head,
            "GET /a?b HTTP/1.0\r\nHost: " + get_authority_scripted_server(server) + "\r\n\r\n");
}

TEST_F(fetch_url_from_server, tries_again_what_may_pass) {
  const std::tuple<const char*, uint32_t, std::vector<uint32_t>, int, uint32_t, uint64_t> cases[] =
      {
          {"nought retries are two attempts", 0, {500, 200}, 1, 200, 2},
          {"and no third", 0, {500, 503, 200}, 0, 503, 2},
          {"two retries are four", 2, {500, 503, 504, 501, 200}, 0, 501, 4},
          {"odd codes", 9, {100, 305, 306, 399, 600, 299}, 1, 299, 6},
          {"not found", 9, {404, 200}, 0, 404, 1},
          {"bad gateway", 9, {502, 200}, 0, 502, 1},
          {"version", 9, {500, 505, 200}, 0, 505, 2},
          {"not modified", 9, {304, 200}, 0, 304, 1},
          {"redirect to nowhere", 9, {302, 200}, 1, 200, 2},
          {"never", 4294967294, {200}, 0, 0, 0},
          {"once", 4294967295, {500, 200}, 0, 500, 1},
      };
  for (const auto& [name, retries, answers, result, status, nb_requests] : cases) {
    SCOPED_TRACE(name);
    settings.retries = retries;
    const std::string path = "/" + std::to_string(&name - &std::get<0>(cases[0]));
    std::vector<scripted_answer> script;
    for (const uint32_t code : answers) script.push_back(build_status_answer(code));
    serve_answers_scripted_server(server, path, script);
    EXPECT_EQ(fetch(path), result);
    EXPECT_EQ(fetcher->response.status, status);
    EXPECT_EQ(count_requests_scripted_server(server, path), nb_requests);
  }
}

TEST_F(fetch_url_from_server, follows_redirects) {
  settings.retries = 2;
  serve_page_scripted_server(server, "/end", "end");
  serve_page_scripted_server(server, "/dir/end", "end");
  serve_page_scripted_server(server, "/e#f", "end");
  const std::string end = get_url_scripted_server(server, "/end");
  const std::tuple<const char*, uint32_t, std::string, std::string> cases[] = {
      {"/dir/absolute", 301, end, end},
      {"/dir/relative", 307, " end \t", get_url_scripted_server(server, "/dir/end")},
      {"/dir/fragment", 300, "/e#f", get_url_scripted_server(server, "/e#f")},
  };
  for (const auto& [path, status, location, target] : cases) {
    serve_redirect_scripted_server(server, path, location, status);
    EXPECT_EQ(fetch(path), 1) << path;
    EXPECT_EQ(fetcher->current_url, target);
  }

  settings.canonical_urls = true;
  serve_redirect_scripted_server(server, "/fragment", "/end#f", 303);
  EXPECT_EQ(fetch("/fragment"), 1);
  EXPECT_EQ(fetcher->current_url, end);

  serve_redirect_scripted_server(server, "/loop", "/loop");
  EXPECT_EQ(fetch("/loop"), 0);
  EXPECT_EQ(fetcher->response.status, 302u);
  EXPECT_EQ(count_requests_scripted_server(server, "/loop"), 4u);

  serve_redirect_scripted_server(server, "/secure", "https://127.0.0.1/");
  EXPECT_EQ(fetch("/secure"), 0);
  EXPECT_EQ(fetcher->response.status, 400u);
}

TEST_F(fetch_url_from_server, keeps_its_target_when_a_location_cannot_be_crawled) {
  const std::tuple<const char*, std::string> cases[] = {
      {"/scheme", "mailto:a@b.test"},
      {"/control", "/a\tb"},
      {"/long", "/" + std::string(9'000, 'a')},
  };
  for (const auto& [path, location] : cases) {
    SCOPED_TRACE(path);
    serve_answers_scripted_server(
        server, path,
        {{.bytes = build_response_text(302, "Location: " + location + "\r\n", "")},
         build_page_answer("page")});
    EXPECT_EQ(fetch(path), 1);
    EXPECT_EQ(count_requests_scripted_server(server, path), 2u);
    EXPECT_EQ(fetcher->current_url, get_url_scripted_server(server, path));
  }
}

TEST_F(fetch_url_from_server, answers_one_challenge) {
  settings.retries = 5;
  const scripted_answer challenge = build_status_answer(401);
  serve_answers_scripted_server(server, "/open", {challenge, build_page_answer("page")});
  serve_answers_scripted_server(server, "/shut", {challenge});
  EXPECT_EQ(fetch("/shut"), 0);
  EXPECT_EQ(fetcher->response.status, 400u);
  EXPECT_EQ(count_requests_scripted_server(server, "/shut"), 1u);

  add_credential_fetch_settings(settings, "elsewhere.test", "x", "y");
  add_credential_fetch_settings(settings, "http://127.0.0.1", "Aladdin", "open sesame");
  add_credential_fetch_settings(settings, "127", "later", "one");
  EXPECT_EQ(fetch("/open"), 1);
  EXPECT_EQ(get_last_header(server, "/open", "Authorization"),
            "Basic QWxhZGRpbjpvcGVuIHNlc2FtZQ==");
  EXPECT_EQ(fetch("/shut"), 0);
  EXPECT_EQ(fetcher->response.status, 401u);
  EXPECT_EQ(count_requests_scripted_server(server, "/shut"), 3u);
}

// A site that asks for credentials sends on to another host, which is given what the rules allow.
TEST_F(fetch_url_from_server, gives_credentials_to_another_host_only_without_strict_safety) {
  scripted_server other = start_scripted_server("127.0.0.2");
  serve_page_scripted_server(other, "/", "page");
  serve_page_scripted_server(server, "/same", "page");
  const scripted_answer challenge = build_status_answer(401);
  const auto build_redirect = [](const std::string& url) {
    return scripted_answer{.bytes = build_response_text(302, "Location: " + url + "\r\n", "")};
  };
  settings.retries = 5;
  add_credential_fetch_settings(settings, "127.0.0.1", "u", "p");
  fetcher->cookies_for = [](std::string_view url, std::string& value, void*) {
    value = "at=" + std::string(url.substr(7, 9)) + "; ";
    return url.starts_with("http://127.0.0.1") ? 1 : 0;
  };
  for (const bool strict : {false, true}) {
    SCOPED_TRACE(strict);
    settings.strict_safety = strict;
    const std::string path = strict ? "/strict" : "/easy";
    serve_answers_scripted_server(server, path,
                                  {challenge, build_redirect(get_url_scripted_server(other, "/")),
                                   challenge, build_redirect("/same")});
    EXPECT_EQ(fetch(path), 1);
    EXPECT_EQ(get_last_header(other, "/", "Authorization"), strict ? "none" : "Basic dTpw");
    EXPECT_EQ(get_last_header(other, "/", "Cookie"), strict ? "none" : "at=127.0.0.1; ");
    EXPECT_EQ(fetch(path), 1);
    EXPECT_EQ(get_last_header(server, "/same", "Authorization"), "Basic dTpw");
    EXPECT_EQ(get_last_header(server, "/same", "Cookie"), "at=127.0.0.1; ");
  }
}

TEST_F(fetch_url_from_server, asks_whether_a_redirect_may_be_followed_with_strict_safety) {
  serve_redirect_scripted_server(server, "/", "/private");
  serve_page_scripted_server(server, "/private", "page");
  std::string asked;
  fetcher->may_follow_context = &asked;
  fetcher->may_follow = [](std::string_view url, void* context) {
    *static_cast<std::string*>(context) = url;
    return false;
  };
  EXPECT_EQ(fetch("/"), 1);
  EXPECT_EQ(asked, "");
  settings.strict_safety = true;
  EXPECT_EQ(fetch("/"), 0);
  EXPECT_EQ(asked, get_url_scripted_server(server, "/private"));
  EXPECT_EQ(fetcher->response.status, 302u);
  EXPECT_EQ(count_requests_scripted_server(server, "/private"), 1u);
}

TEST_F(fetch_url_from_server, takes_no_cookies_from_sites_that_get_none) {
  serve_bytes_scripted_server(server, "/", build_response_text(200, "Set-Cookie: a=1\r\n", ""));
  int nb_cookies = 0;
  fetcher->response.cookie_context = &nb_cookies;
  fetcher->response.cookie_hook = [](std::string_view, const url_address&, void* context) {
    ++*static_cast<int*>(context);
  };
  EXPECT_EQ(fetch("/"), 1);
  EXPECT_EQ(nb_cookies, 1);
  settings.no_cookie_domains = {"0.0.1"};
  EXPECT_EQ(fetch("/"), 1);
  EXPECT_EQ(nb_cookies, 1);
  EXPECT_NE(fetcher->response.cookie_hook, nullptr);
}

TEST_F(fetch_url_from_server, uses_the_transport_that_takes_the_place_of_its_own) {
  int nb_calls = 0;
  http_transport transport;
  transport.get_context = &nb_calls;
  transport.get = [](http_request& request, http_response& response, const http_surroundings&,
                     void* context) -> uint32_t {
    response.body = request.target.path;
    return ++*static_cast<int*>(context) == 1 ? 500 : 200;
  };
  fetcher->transport = &transport;
  EXPECT_EQ(fetch("/x"), 1);
  EXPECT_EQ(nb_calls, 2);
  EXPECT_EQ(fetcher->response.body, "/x");
  EXPECT_EQ(fetcher->response.status, 200u);
  EXPECT_EQ(count_all_requests_scripted_server(server), 0u);
}

TEST_F(fetch_url_from_server, ends_a_retry_wait_and_a_hanging_page_when_the_crawl_stops) {
  const std::tuple<const char*, scripted_answer, uint32_t> cases[] = {
      {"/retry", build_status_answer(500), 500},
      {"/hang", {.kind = ANSWER_STALL}, 408},
  };
  for (const auto& [path, answer, status] : cases) {
    stop_gate gate;
    settings.gate = &gate;
    settings.retries = 1'000;
    settings.retry_wait_ms = 3'600'000;
    serve_answers_scripted_server(server, path, {answer});
    int result = -1;
    std::thread fetching([&, where = path] { result = fetch(where); });
    EXPECT_TRUE(wait_for_request_scripted_server(server, path));
    set_stop_stop_gate(gate);
    fetching.join();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(count_requests_scripted_server(server, path), 1u);
    EXPECT_TRUE(fetcher->response.status == status || fetcher->response.status == 408);
  }
}

TEST_F(fetch_url_from_server, shares_settings_that_an_operator_changes) {
  serve_default_scripted_server(server, [](const recorded_request& request) {
    const bool challenged = request.head.find("Authorization") == std::string::npos;
    return build_response_text(challenged ? 401 : 200, "", request.path);
  });
  add_credential_fetch_settings(settings, "127.0.0.1", "u", "p");
  std::vector<std::thread> spiders;
  spiders.reserve(8);
  std::atomic<uint32_t> nb_right{0};
  for (int i = 0; i < 8; ++i) {
    spiders.emplace_back([&, i] {
      const http_fetcher_ptr own = create_http_fetcher(settings);
      for (int j = 0; j < 25; ++j) {
        const std::string path = "/" + std::to_string(i) + "/" + std::to_string(j);
        uint32_t elapsed = 0;
        if (fetch_url(*own, get_url_scripted_server(server, path), "", elapsed) == 0) continue;
        if (own->response.body == path) ++nb_right;
      }
    });
  }
  for (int i = 0; i < 100; ++i) {
    add_credential_fetch_settings(settings, "other.test", "u", std::to_string(i));
    const std::lock_guard<std::shared_mutex> hold(settings.lock);
    settings.user_agent = "agent" + std::to_string(i);
  }
  for (std::thread& spider : spiders) spider.join();
  EXPECT_EQ(nb_right, 200u);
  EXPECT_EQ(count_all_requests_scripted_server(server), 400u);
}

TEST(are_cookies_allowed, looks_at_the_parts_behind_each_dot) {
  fetch_settings settings;
  settings.no_cookie_domains = {"b.test", "port.test:81", "whole.test"};
  const std::tuple<const char*, bool> cases[] = {
      {"http://a.b.test/", false},
      {"http://a.b.test:8080/x", false},
      {"http://x.a.b.test", false},
      {"http://u:p@a.b.test/", false},
      {"http://b.test/", true},
      {"http://ab.test/", true},
      {"http://c.test/a.b.test", true},
      {"http://whole.test/", true},
      {"http://a.port.test:81/", false},
      {"http://a.port.test/", true},
      {"no site", false},
  };
  for (const auto& [url, allowed] : cases) {
    EXPECT_EQ(are_cookies_allowed_fetch_settings(settings, url), allowed) << url;
  }
  settings.all_cookies_mode = 1;
  EXPECT_FALSE(are_cookies_allowed_fetch_settings(settings, "http://c.test/"));
}

TEST(find_credential, matches_keys_as_strictly_as_it_is_told) {
  // key, URL, found anywhere in the text, found with strict safety
  const std::tuple<const char*, const char*, int, int> cases[] = {
      {"h.test", "http://h.test/", 1, 1},
      {"h.test", "http://www.h.test:8080/x", 1, 1},
      {".h.test", "http://h.test/", 0, 1},
      {"H.TEST", "http://h.test/", 0, 1},
      {"http://h.test", "http://h.test/", 1, 1},
      {"https://h.test", "http://h.test/", 0, 0},
      {"http://h.test:80", "http://h.test/", 0, 1},
      {"http://h.test:8080", "http://h.test:8081/", 0, 0},
      {"h.test/shop", "http://h.test/shop/a?b", 1, 1},
      {"h.test/shop", "http://h.test/x/h.test/shop", 1, 0},
      {"h.test", "http://evil-h.test/", 1, 0},
      {"h.test", "http://h.test.evil.test/", 1, 0},
      {"h.test", "http://evil.test/?u=h.test", 1, 0},
      {"h.test", "http://h.test@evil.test/", 1, 0},
      {"", "http://h.test/", 1, 0},
  };
  for (const auto& [key, url, easy, strict] : cases) {
    SCOPED_TRACE(std::string(key) + " " + url);
    fetch_settings settings;
    add_credential_fetch_settings(settings, key, "u", "p");
    std::string value;
    EXPECT_EQ(find_credential_fetch_settings(settings, url, value), easy);
    settings.strict_safety = true;
    EXPECT_EQ(find_credential_fetch_settings(settings, url, value), strict);
  }
}

}  // namespace
}  // namespace wk
