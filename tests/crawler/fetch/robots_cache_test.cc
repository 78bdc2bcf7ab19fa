#include "crawler/fetch/robots_cache.h"

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

constexpr const char* FORBID_PRIVATE = "User-agent: *\nDisallow: /private\n";

class robots_of_server : public testing::Test {
 protected:
  void SetUp() override {
    unsetenv("HTTP_PROXY");
    settings.gate = &gate;
  }
  void serve_robots(const std::string& text) {
    serve_page_scripted_server(server, "/robots.txt", text);
  }
  int ask(const std::string& path, http_fetcher& by) {
    return robots_allowed(*cache, get_url_scripted_server(server, path), by);
  }
  int ask(const std::string& path) { return ask(path, *fetcher); }
  uint64_t count_all() { return count_all_requests_scripted_server(server); }
  // Spiders with a fetcher of their own that each do work once.
  template <typename work_function>
  void start_spiders(uint32_t count, work_function work) {
    for (uint32_t i = 0; i < count; ++i) {
      spiders.emplace_back([this, work] { work(*create_http_fetcher(settings)); });
    }
  }
  // Returns when so many spiders wait for another one's fetch.
  void wait_for_waiting(uint64_t count) {
    for (;; std::this_thread::yield()) {
      const std::shared_lock<std::shared_mutex> hold(cache->lock);
      if (cache->nb_waiting == count) return;
    }
  }

  stop_gate gate;
  scripted_server server = start_scripted_server();
  fetch_settings settings;
  http_fetcher_ptr fetcher = create_http_fetcher(settings);
  robots_cache_ptr cache = create_robots_cache(settings);
  std::vector<std::jthread> spiders;
};

TEST_F(robots_of_server, are_asked_for_as_any_page_once_and_kept) {
  settings.user_agent = "Crawl-Er/1.0 (x)";
  serve_robots("User-agent: *\nDisallow: /a\nUser-agent: crawl-er\nDisallow: /b\n");
  cache->honor = 0;
  EXPECT_EQ(ask("/b"), 1);
  cache->honor = 1;
  for (const char* url : {"", "/b", "ftp://h.test/a", "mailto:a@h.test", "http:///b"}) {
    EXPECT_EQ(robots_allowed(*cache, url, *fetcher), 1) << url;
  }
  EXPECT_EQ(count_all(), 0u);
  EXPECT_EQ(ask("/b"), 0);
  EXPECT_EQ(ask("/a"), 1);
  serve_robots("");
  settings.user_agent = "other/1";
  EXPECT_EQ(ask("/b"), 0);
  // A host is asked over http, and its rules bind http URLs only. Another text is another host.
  const std::string host = get_authority_scripted_server(server);
  EXPECT_EQ(robots_allowed(*cache, "https://" + host + "/b", *fetcher), 1);
  EXPECT_EQ(count_all(), 1u);
  EXPECT_EQ(
      get_requests_scripted_server(server)[0].head,
      "GET /robots.txt HTTP/1.0\r\nUser-Agent: Crawl-Er/1.0 (x)\r\nHost: " + host + "\r\n\r\n");
  const std::string other = "127.1" + host.substr(host.find(':'));
  EXPECT_EQ(robots_allowed(*cache, "http://" + other + "/b", *fetcher), 1);
  const robots_counts counts = get_counts_robots_cache(*cache);
  EXPECT_EQ(std::tie(counts.nb_hosts, counts.nb_files, counts.nb_rule_sets, counts.nb_refused),
            std::make_tuple(2u, 2u, 1u, 2u));
}

TEST_F(robots_of_server, forbid_nothing_without_a_file) {
  const scripted_answer file = build_page_answer(FORBID_PRIVATE);
  const std::tuple<const char*, std::vector<scripted_answer>, int, uint64_t> cases[] = {
      {"not found", {build_status_answer(404)}, 1, 1},
      {"server error, all attempts", {build_status_answer(500)}, 1, 2},
      {"server error, then a file", {build_status_answer(503), file}, 0, 2},
      {"error page like a file", {{.bytes = build_response_text(404, "", FORBID_PRIVATE)}}, 1, 1},
      {"nothing", {{.bytes = ""}}, 1, 1},
      {"empty file", {build_page_answer("")}, 1, 1},
      {"dropped group", {build_page_answer(FORBID_PRIVATE + std::string("Disallow:"))}, 1, 1},
  };
  for (const auto& [name, answers, answer, nb_requests] : cases) {
    SCOPED_TRACE(name);
    cache = create_robots_cache(settings);
    server = start_scripted_server();
    serve_answers_scripted_server(server, "/robots.txt", answers);
    EXPECT_EQ(ask("/private"), answer);
    EXPECT_EQ(ask("/private"), answer);
    EXPECT_EQ(count_all(), nb_requests);
  }
}

TEST_F(robots_of_server, follow_redirects_without_asking_themselves) {
  settings.strict_safety = true;
  settings.retries = 1;
  struct redirect_test {
    robots_cache* cache;
    http_fetcher_ptr second;
    int nb_asked;
  } test{cache.get(), create_http_fetcher(settings), 0};
  fetcher->may_follow_context = &test;
  fetcher->may_follow = [](std::string_view url, void* context) {
    auto& self = *static_cast<redirect_test*>(context);
    ++self.nb_asked;
    return robots_allowed(*self.cache, url, *self.second) != 0;
  };
  serve_redirect_scripted_server(server, "/robots.txt", "/private/robots");
  serve_page_scripted_server(server, "/private/robots", FORBID_PRIVATE);
  serve_redirect_scripted_server(server, "/page", "/private/page");
  EXPECT_EQ(ask("/private"), 0);
  uint32_t seconds = 0;
  EXPECT_EQ(fetch_url(*fetcher, get_url_scripted_server(server, "/page"), "", seconds), 0);
  EXPECT_EQ(test.nb_asked, 2);
  EXPECT_EQ(count_requests_scripted_server(server, "/private/page"), 0u);
}

TEST_F(robots_of_server, are_fetched_once_for_many_spiders_while_settings_change) {
  constexpr uint32_t NB_HOSTS = 20;
  settings.gate = nullptr;
  // As everybody's proxy the server is asked for the files of all hosts.
  settings.proxy = get_authority_scripted_server(server);
  add_credential_fetch_settings(settings, "test", "u", "p");
  std::atomic<bool> let_go{false};
  serve_default_scripted_server(server, [&let_go](const recorded_request& request) {
    while (!let_go) std::this_thread::yield();
    const bool challenged = request.head.find("Authorization") == std::string::npos;
    return build_response_text(challenged ? 401 : 200, "", FORBID_PRIVATE);
  });
  start_spiders(8, [this](http_fetcher& own) {
    for (uint32_t i = 0; i < 10 * NB_HOSTS; ++i) {
      const std::string site = "http://h" + std::to_string(i % NB_HOSTS) + ".test";
      EXPECT_EQ(robots_allowed(*cache, site + "/private", own), 0);
      EXPECT_EQ(robots_allowed(*cache, site + "/public", own), 1);
    }
  });
  wait_for_waiting(7);
  let_go = true;
  for (int i = 0; i < 100; ++i) {
    add_credential_fetch_settings(settings, "other", "u", std::to_string(i));
    const std::lock_guard<std::shared_mutex> hold(settings.lock);
    settings.user_agent = "agent" + std::to_string(i);
    EXPECT_FALSE(list_hosts_robots_cache(*cache, "", 100).empty());
  }
  spiders.clear();
  EXPECT_EQ(count_all(), 2 * NB_HOSTS);
  EXPECT_EQ(get_counts_robots_cache(*cache).nb_rule_sets, NB_HOSTS);
  EXPECT_EQ(cache->nb_waiting, 0u);
}

TEST_F(robots_of_server, stop_keeping_spiders_when_the_crawl_stops) {
  // The fetch ends when the test says so and not at the stop, as a slow peer's would.
  struct held_fetch {
    std::atomic<bool> started{false};
    std::atomic<bool> let_go{false};
  } held;
  http_transport transport;
  transport.get_context = &held;
  transport.get = [](http_request&, http_response& response, const http_surroundings&,
                     void* context) -> uint32_t {
    auto& self = *static_cast<held_fetch*>(context);
    self.started = true;
    while (!self.let_go) std::this_thread::yield();
    response.body = FORBID_PRIVATE;
    return 200;
  };
  fetcher->transport = &transport;
  std::jthread fetching([this] { EXPECT_EQ(ask("/private"), 0); });
  while (!held.started) std::this_thread::yield();
  start_spiders(1, [this](http_fetcher& own) { EXPECT_EQ(ask("/private", own), 1); });
  wait_for_waiting(1);
  set_stop_stop_gate(gate);
  spiders.clear();
  held.let_go = true;
  fetching.join();
  EXPECT_EQ(ask("/private"), 0);
}

}  // namespace
}  // namespace wk
