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
    fetcher = create_http_fetcher(settings);
    cache = create_robots_cache(settings);
  }
  void TearDown() override {
    if (!spiders.empty()) set_stop_stop_gate(gate);  // lets go whoever still waits
    for (std::thread& spider : spiders) spider.join();
  }

  void serve_robots(const std::string& text) {
    serve_answers_scripted_server(server, "/robots.txt", {build_page_answer(text)});
  }
  int ask(const std::string& path) {
    return robots_allowed(*cache, get_url_scripted_server(server, path), *fetcher);
  }
  uint64_t count_fetches() { return count_requests_scripted_server(server, "/robots.txt"); }
  // A spider with a fetcher of its own that asks once.
  void start_spider(const std::string& path, std::atomic<int>& answer) {
    spiders.emplace_back([this, path, &answer] {
      const http_fetcher_ptr own = create_http_fetcher(settings);
      answer = robots_allowed(*cache, get_url_scripted_server(server, path), *own);
    });
  }
  void join_spiders() {
    for (std::thread& spider : spiders) spider.join();
    spiders.clear();
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
  http_fetcher_ptr fetcher;
  robots_cache_ptr cache;
  std::vector<std::thread> spiders;
};

TEST_F(robots_of_server, are_fetched_once_and_kept) {
  serve_robots(FORBID_PRIVATE);
  const std::string host = get_authority_scripted_server(server);
  EXPECT_EQ(ask("/private/x"), 0);
  EXPECT_EQ(ask("/public"), 1);
  serve_robots("");
  settings.user_agent = "other/1";
  EXPECT_EQ(ask("/private"), 0);
  EXPECT_EQ(count_all_requests_scripted_server(server), 1u);
  EXPECT_EQ(cache->hosts.at(host), ROBOTS_FIRST_SLOT);

  // Another text is another host: it asks again.
  scripted_server another = start_scripted_server("127.0.0.2");
  serve_page_scripted_server(another, "/robots.txt", "");
  const std::string url = get_url_scripted_server(another, "/private");
  EXPECT_EQ(robots_allowed(*cache, url, *fetcher), 1);
  EXPECT_EQ(robots_allowed(*cache, url, *fetcher), 1);
  EXPECT_EQ(cache->hosts.at(get_authority_scripted_server(another)), ROBOTS_NO_RULES);
  EXPECT_EQ(count_all_requests_scripted_server(another), 1u);

  const robots_counts counts = get_counts_robots_cache(*cache);
  EXPECT_EQ(std::tie(counts.nb_hosts, counts.nb_files, counts.nb_rule_sets, counts.nb_refused),
            std::make_tuple(2u, 2u, 1u, 2u));
}

TEST_F(robots_of_server, are_asked_for_as_any_page_and_without_a_referer) {
  settings.user_agent = "Crawl-Er/1.0 (x)";
  serve_robots("User-agent: *\nDisallow: /a\nUser-agent: crawl-er\nDisallow: /b\n");
  EXPECT_EQ(ask("/a"), 1);
  EXPECT_EQ(ask("/b"), 0);
  EXPECT_EQ(get_requests_scripted_server(server)[0].head,
            "GET /robots.txt HTTP/1.0\r\nUser-Agent: Crawl-Er/1.0 (x)\r\nHost: " +
                get_authority_scripted_server(server) + "\r\n\r\n");
}

TEST_F(robots_of_server, forbid_nothing_without_a_file) {
  const std::tuple<const char*, std::vector<scripted_answer>, int, uint64_t> cases[] = {
      {"not found", {build_status_answer(404)}, 1, 1},
      {"refused", {build_status_answer(403)}, 1, 1},
      {"server error, all attempts", {build_status_answer(500)}, 1, 2},
      {"server error, then a file",
       {build_status_answer(503), build_page_answer(FORBID_PRIVATE)},
       0,
       2},
      {"error page that reads like a file",
       {{.bytes = build_response_text(404, "", FORBID_PRIVATE)}},
       1,
       1},
      {"nothing", {{.bytes = ""}}, 1, 1},
      {"empty file", {build_page_answer("")}, 1, 1},
      {"dropped group",
       {build_page_answer("User-agent: *\nDisallow: /private\nDisallow:\n")},
       1,
       1},
      {"zero bytes", {build_page_answer(std::string(5'000, '\0'))}, 1, 1},
  };
  for (const auto& [name, answers, answer, nb_requests] : cases) {
    SCOPED_TRACE(name);
    cache = create_robots_cache(settings);
    server = start_scripted_server();
    serve_answers_scripted_server(server, "/robots.txt", answers);
    EXPECT_EQ(ask("/private"), answer);
    EXPECT_EQ(ask("/private"), answer);
    EXPECT_EQ(count_fetches(), nb_requests);
  }
}

TEST_F(robots_of_server, are_not_asked_for_without_need) {
  serve_robots(FORBID_PRIVATE);
  cache->honor = 0;
  EXPECT_EQ(ask("/private"), 1);
  cache->honor = 1;
  for (const char* url : {"", "/private", "ftp://h.test/a", "mailto:a@h.test", "http:///private"}) {
    EXPECT_EQ(robots_allowed(*cache, url, *fetcher), 1) << url;
  }
  EXPECT_EQ(count_all_requests_scripted_server(server), 0u);
  EXPECT_EQ(get_counts_robots_cache(*cache).nb_hosts, 0u);

  // A host reached over https is asked over http, and its rules bind http URLs only.
  const std::string rest = get_authority_scripted_server(server) + "/private";
  EXPECT_EQ(robots_allowed(*cache, "https://" + rest, *fetcher), 1);
  EXPECT_EQ(robots_allowed(*cache, "http://" + rest, *fetcher), 0);
  EXPECT_EQ(count_fetches(), 1u);
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
  EXPECT_EQ(test.nb_asked, 1);

  uint32_t seconds = 0;
  EXPECT_EQ(fetch_url(*fetcher, get_url_scripted_server(server, "/page"), "", seconds), 0);
  EXPECT_EQ(test.nb_asked, 2);
  EXPECT_EQ(count_requests_scripted_server(server, "/private/page"), 0u);
}

TEST_F(robots_of_server, list_every_host_asked) {
  scripted_server another = start_scripted_server("127.0.0.2");
  scripted_server third = start_scripted_server("127.0.0.3");
  serve_robots("User-agent: *\nDisallow: /a\nDisallow: /ab\n");
  EXPECT_EQ(ask("/ab"), 0);
  for (const scripted_server* host : {&third, &another}) {
    EXPECT_EQ(robots_allowed(*cache, get_url_scripted_server(*host, "/"), *fetcher), 1);
  }
  const auto all = list_hosts_robots_cache(*cache, "", 10);
  ASSERT_EQ(all.size(), 3u);
  EXPECT_EQ(all[0].host, get_authority_scripted_server(server));
  EXPECT_EQ(all[1].host, get_authority_scripted_server(another));
  EXPECT_EQ(all[2].host, get_authority_scripted_server(third));
  EXPECT_EQ(all[0].nb_rules, 2u);
  EXPECT_EQ(all[2].nb_rules, 0u);

  const auto next = list_hosts_robots_cache(*cache, all[0].host, 1);
  ASSERT_EQ(next.size(), 1u);
  EXPECT_EQ(next[0].host, all[1].host);
  EXPECT_EQ(list_hosts_robots_cache(*cache, all[2].host, 1).size(), 0u);
}

TEST_F(robots_of_server, are_fetched_once_for_many_spiders) {
  std::atomic<bool> let_go{false};
  serve_default_scripted_server(server, [&let_go](const recorded_request&) {
    while (!let_go) std::this_thread::yield();
    return build_response_text(200, "", FORBID_PRIVATE);
  });
  constexpr size_t NB_SPIDERS = 24;
  std::vector<std::atomic<int>> answers(NB_SPIDERS);
  for (size_t i = 0; i < NB_SPIDERS; ++i) {
    answers[i] = -1;
    start_spider(i % 2 == 0 ? "/private" : "/public", answers[i]);
  }
  wait_for_waiting(NB_SPIDERS - 1);
  EXPECT_TRUE(list_hosts_robots_cache(*cache, "", 1)[0].is_being_fetched);
  let_go = true;
  join_spiders();
  for (size_t i = 0; i < NB_SPIDERS; ++i) EXPECT_EQ(answers[i], i % 2 == 0 ? 0 : 1);
  EXPECT_EQ(count_all_requests_scripted_server(server), 1u);
  EXPECT_EQ(cache->nb_waiting, 0u);
}

TEST_F(robots_of_server, are_found_by_spiders_that_share_hosts) {
  constexpr uint32_t NB_SPIDERS = 8;
  constexpr uint32_t NB_HOSTS = 20;
  settings.gate = nullptr;
  // As everybody's proxy the server is asked for the files of all hosts.
  settings.proxy = get_authority_scripted_server(server);
  serve_default_scripted_server(
      server, [](const recorded_request&) { return build_response_text(200, "", FORBID_PRIVATE); });
  std::atomic<uint32_t> nb_wrong{0};
  for (uint32_t i = 0; i < NB_SPIDERS; ++i) {
    spiders.emplace_back([&, i] {
      const http_fetcher_ptr own = create_http_fetcher(settings);
      for (uint32_t j = 0; j < 10 * NB_HOSTS; ++j) {
        const std::string site = "http://h" + std::to_string((i + j) % NB_HOSTS) + ".test";
        if (robots_allowed(*cache, site + "/private", *own) != 0) ++nb_wrong;
        if (robots_allowed(*cache, site + "/public", *own) != 1) ++nb_wrong;
        if (list_hosts_robots_cache(*cache, "", 100).empty()) ++nb_wrong;
      }
    });
  }
  join_spiders();
  EXPECT_EQ(nb_wrong, 0u);
  EXPECT_EQ(count_all_requests_scripted_server(server), NB_HOSTS);
  EXPECT_EQ(get_counts_robots_cache(*cache).nb_rule_sets, NB_HOSTS);
}

TEST_F(robots_of_server, stop_keeping_spiders_when_the_crawl_stops) {
  std::atomic<int> waiting{-1};
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
    return response.status = 200;
  };
  int fetched = -1;
  fetcher->transport = &transport;
  std::thread fetching([&] { fetched = ask("/private"); });
  while (!held.started) std::this_thread::yield();

  start_spider("/private", waiting);
  wait_for_waiting(1);
  set_stop_stop_gate(gate);
  join_spiders();
  EXPECT_EQ(waiting, 1);
  held.let_go = true;
  fetching.join();
  EXPECT_EQ(fetched, 0);
  EXPECT_EQ(ask("/private"), 0);
}

}  // namespace
}  // namespace wk
