#include "crawler/fetch/robots_cache.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <tuple>
#include <vector>

#include "tests/support/scripted_server.h"

namespace wk {
namespace {

constexpr const char* FORBID_PRIVATE = "User-agent: *\nDisallow: /private\n";

class robots_of_server : public testing::Test {
 protected:
  void SetUp() override { unsetenv("HTTP_PROXY"); }
  void serve_robots(const std::string& text) {
    serve_page_scripted_server(server, "/robots.txt", text);
  }
  int ask(const std::string& path) {
    return robots_allowed(*cache, get_url_scripted_server(server, path), *fetcher);
  }
  uint64_t count_all() { return count_all_requests_scripted_server(server); }

  scripted_server server = start_scripted_server();
  fetch_settings settings;
  http_fetcher_ptr fetcher = create_http_fetcher(settings);
  robots_cache_ptr cache = create_robots_cache(settings);
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

}  // namespace
}  // namespace wk
