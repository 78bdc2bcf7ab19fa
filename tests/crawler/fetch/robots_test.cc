// How robots files are read: beside RFC 9309, one vector a line with its section, what the RFC
// answers, and where another answer is given here, why that is meant so; and what the vectors do
// not ask for. How they are fetched and kept.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "crawler/fetch/robots_cache.h"
#include "crawler/fetch/robots_paths.h"
#include "crawler/fetch/robots_rules.h"
#include "tests/support/scripted_server.h"

namespace wk {
namespace {

using namespace std::string_literals;

constexpr const char* SAME = nullptr;
constexpr const char* NO_ALLOW = "Allow lines mean nothing";
constexpr const char* NO_WILDCARD = "rules are plain beginnings: no wildcards, no end mark";
constexpr const char* NO_SLASH = "a Disallow without a / drops its group";
constexpr const char* ONE_HEAD = "a group has one head: the first of two in a row is empty";
constexpr const char* ONE_GROUP = "one group is read, groups are not merged";
constexpr const char* LOWER_CASE = "the file is read in lower case, the URL as it is";
constexpr const char* AS_BYTES = "paths are compared as they are written, without decoding";
constexpr const char* AS_LINE = "the name may stand anywhere in the line";
constexpr const char* STRICT_LINE = "no blank before a word or a colon";
constexpr const char* NO_EXCEPTION = "robots.txt itself is a URL like any other";

constexpr const char* ALL = "user-agent: *\n";
constexpr const char* TWO_HEADS = "user-agent: a1\nuser-agent: b1\n";
constexpr const char* SIMPLE_EXAMPLE =
    "User-Agent: *\nDisallow: *.gif$\nDisallow: /example/\nAllow: /publications/\n\n"
    "User-Agent: foobot\nDisallow:/\nAllow:/example/page.html\nAllow:/example/allowed.gif\n\n"
    "User-Agent: barbot\nUser-Agent: bazbot\nDisallow: /example/page.html\n\n"
    "User-Agent: quxbot\n";
constexpr const char* LONGEST_MATCH =
    "User-Agent: foobot\nAllow: /example/page/\nDisallow: /example/page/disallowed.gif\n";
constexpr const char* TWO_GROUPS =
    "user-agent: ExampleBot\ndisallow: /foo\ndisallow: /bar\n\n"
    "user-agent: ExampleBot\ndisallow: /baz\n";

struct rfc_vector {
  const char* section;
  const char* head;
  const char* rules;
  const char* path;
  int by_rfc;
  const char* difference;
  const char* agent = "examplebot";
};
constexpr rfc_vector VECTORS[] = {
    {"2.2.1 case", "", "user-agent: EXAMPLEbot\ndisallow: /a", "/a", 0, SAME},
    {"2.2.1 named before *", ALL, "disallow: /a\nuser-agent: examplebot\ndisallow: /b", "/a", 1,
     SAME},
    {"2.2.1 * else", "", "user-agent: x\ndisallow: /b\nuser-agent: *\ndisallow: /a", "/a", 0, SAME},
    {"2.2.1 no group", "", "user-agent: x\ndisallow: /", "/a", 1, SAME},
    {"2.2.1 no groups at all", "", "disallow: /", "/a", 1, SAME},
    {"2.2.1 merged, first", TWO_GROUPS, "", "/bar", 0, SAME},
    {"2.2.1 merged, second", TWO_GROUPS, "", "/baz", 0, ONE_GROUP},
    {"2.2.1 merged *", ALL, "disallow: /a\nuser-agent: *\ndisallow: /b", "/a", 0, ONE_GROUP},
    {"2.2.1 two heads, first", TWO_HEADS, "disallow: /c", "/c", 0, ONE_HEAD, "a1"},
    {"2.2.1 two heads, second", TWO_HEADS, "disallow: /c", "/c", 0, SAME, "b1"},
    {"2.2.1 longer name", "", "user-agent: examplebot-images\ndisallow: /", "/a", 1, AS_LINE},
    {"2.2 blank before the colon", "", "user-agent : *\ndisallow : /a", "/a", 0, STRICT_LINE},
    {"2.2.2 no rule matches", ALL, "disallow: /a", "/b", 1, SAME},
    {"2.2.2 empty rule", ALL, "disallow:", "/a", 1, SAME},
    {"2.2.2 empty beside a rule", ALL, "disallow: /a\ndisallow:", "/a", 0, NO_SLASH},
    {"2.2.2 longest match allows", ALL, "disallow: /a\nallow: /a/b", "/a/b", 1, NO_ALLOW},
    {"2.2.2 equal match allows", ALL, "disallow: /a\nallow: /a", "/a", 1, NO_ALLOW},
    {"2.2.2 path in its case", ALL, "disallow: /A", "/A", 0, LOWER_CASE},
    {"2.2.2 path of other case", ALL, "disallow: /A", "/a", 1, LOWER_CASE},
    {"2.2.2 robots.txt", ALL, "disallow: /", "/robots.txt", 1, NO_EXCEPTION},
    {"2.2.2 query", ALL, "disallow: /foo/bar?baz=quz", "/foo/bar?baz=quz", 0, SAME},
    {"2.2.2 encoded query", ALL, "disallow: /foo/bar?baz=https://foo.bar",
     "/foo/bar?baz=https%3A%2F%2Ffoo.bar", 0, AS_BYTES},
    {"2.2.2 UTF-8 rule", ALL, "disallow: /foo/bar/\xe3\x83\x84", "/foo/bar/%E3%83%84", 0, AS_BYTES},
    {"2.2.2 encoded UTF-8", ALL, "disallow: /foo/bar/%E3%83%84", "/foo/bar/%E3%83%84", 0,
     LOWER_CASE},
    {"2.2.2 needless encoding", ALL, "disallow: /foo/bar/%62%61%7A", "/foo/bar/baz", 0, AS_BYTES},
    {"2.2.3 comment in a line", ALL, "disallow: /a # note", "/a", 0, SAME},
    {"2.2.3 comment line", ALL, "# note\ndisallow: /a", "/a", 0, SAME},
    {"2.2.3 end mark", ALL, "disallow: /this/path/exactly$", "/this/path/exactly", 0, NO_WILDCARD},
    {"2.2.3 behind the end mark", ALL, "disallow: /this/path/exactly$", "/this/path/exactly/not", 1,
     SAME},
    {"2.2.3 wildcard", ALL, "disallow: /this/*/exactly", "/this/path/exactly", 0, NO_WILDCARD},
    {"2.2.3 encoded star", ALL, "disallow: /path/file-with-a-%2A.html", "/path/file-with-a-*.html",
     0, AS_BYTES},
    {"2.2.3 encoded end mark", ALL, "disallow: /path/foo-%24", "/path/foo-$", 0, AS_BYTES},
    {"2.2.4 sitemap", ALL, "sitemap: http://h/s.xml\ndisallow: /a", "/a", 0, SAME},
    {"5.1 *", SIMPLE_EXAMPLE, "", "/a.gif", 0, NO_SLASH, "otherbot"},
    {"5.1 *", SIMPLE_EXAMPLE, "", "/example/a", 0, NO_SLASH, "otherbot"},
    {"5.1 *", SIMPLE_EXAMPLE, "", "/publications/", 1, SAME, "otherbot"},
    {"5.1 foobot", SIMPLE_EXAMPLE, "", "/a", 0, SAME, "foobot"},
    {"5.1 foobot", SIMPLE_EXAMPLE, "", "/example/page.html", 1, NO_ALLOW, "foobot"},
    {"5.1 foobot", SIMPLE_EXAMPLE, "", "/example/allowed.gif", 1, NO_ALLOW, "foobot"},
    {"5.1 barbot", SIMPLE_EXAMPLE, "", "/example/page.html", 0, ONE_HEAD, "barbot"},
    {"5.1 barbot", SIMPLE_EXAMPLE, "", "/a", 1, SAME, "barbot"},
    {"5.1 bazbot", SIMPLE_EXAMPLE, "", "/example/page.html", 0, SAME, "bazbot"},
    {"5.1 bazbot", SIMPLE_EXAMPLE, "", "/a", 1, SAME, "bazbot"},
    {"5.1 quxbot", SIMPLE_EXAMPLE, "", "/example/page.html", 1, SAME, "quxbot"},
    {"5.2", LONGEST_MATCH, "", "/example/page/disallowed.gif", 0, SAME, "foobot"},
    {"5.2", LONGEST_MATCH, "", "/example/page/", 1, SAME, "foobot"},
};

TEST(robots_rules_beside_rfc_9309, differ_where_it_is_meant_and_nowhere_else) {
  for (const rfc_vector& vector : VECTORS) {
    SCOPED_TRACE(std::string(vector.section) + " " + vector.path);
    std::string text = std::string(vector.head) + vector.rules;
    const robots_rules_ptr rules = robots_parse(text, "h", vector.agent);
    const std::string url = std::string("http://h") + vector.path;
    EXPECT_EQ(rules == nullptr ? 1 : robots_match(*rules, url),
              vector.difference == SAME ? vector.by_rfc : 1 - vector.by_rfc);
  }
}

std::string repeat(std::string_view piece, size_t nb_bytes) {
  std::string text;
  while (text.size() < nb_bytes) text += piece;
  return text;
}

// Work that grew with the square of the large files would outlast any time limit of a test run.
TEST(robots_parse, reads_any_file) {
  constexpr size_t SIZE = 5'000'000;
  const std::string a_rule = "User-agent: *\nDisallow: /x\n";
  const std::string a_path = "/" + std::string(SIZE, 'a');
  std::mt19937 random(2);
  std::string noise(SIZE, '\0');
  std::generate(noise.begin(), noise.end(), [&random] { return static_cast<char>(random()); });
  // What is kept: each path forbids, and without its last byte does not.
  const std::tuple<const char*, std::string, std::vector<std::string>> cases[] = {
      {"empty", "", {}},
      {"last of all agents", "User-agent: *\nDisallow: /a\nUser-agent: *\nDisallow: /b", {"/b"}},
      {"own name anywhere", "User-agent: a-BOT-1 *\nDisallow: /a\nUser-agent: *\n", {"/a"}},
      {"star anywhere", "User-agent: x # all*\nDisallow: /a\n", {"/a"}},
      {"head with a blank before", " User-agent: *\nDisallow: /a\n", {}},
      {"empty drops the group", a_rule + "Disallow:\nDisallow: /y", {}},
      {"covered and repeated", a_rule + "Disallow: /x\nDisallow: /xy\nDisallow: /b", {"/b", "/x"}},
      {"zero bytes", a_rule + "Disallow: /a\0b\n\0Disallow: /c\n"s, {"/a\0b"s, "/x"}},
      {"noise", a_rule + noise, {"/x"}},
      {"only line feeds", std::string(SIZE, '\n'), {}},
      {"only heads", repeat("User-agent: *\n", SIZE), {}},
      {"nearly the name", a_rule + "user-agent" + repeat("bo", SIZE), {"/x"}},
      {"rules that cover others", a_rule + repeat("Disallow: /x\nDisallow: /xx\n", SIZE), {"/x"}},
      {"a path without an end", "User-agent: *\nDisallow: " + a_path, {a_path}},
  };
  for (auto [name, text, paths] : cases) {
    SCOPED_TRACE(name);
    const robots_rules_ptr rules = robots_parse(text, "h.test:81", "bot");
    ASSERT_EQ(rules == nullptr ? 0 : rules->paths->nb_paths, paths.size());
    for (const std::string& path : paths) {
      const std::string url = "http://h.test:81" + path;
      EXPECT_EQ(robots_match(*rules, url), 0);
      EXPECT_EQ(robots_match(*rules, url.substr(0, url.size() - 1)), 1);
    }
  }
}

TEST(robots_match, compares_the_bytes_of_the_url) {
  std::string text = "User-agent: *\nDisallow: /private\n";
  const robots_rules_ptr rules = robots_parse(text, "Host:80", "");
  ASSERT_NE(rules, nullptr);
  EXPECT_EQ(robots_match(*rules, "http://Host:80/private2"), 0);
  for (const char* url : {"http://Host:80/privat", "http://Host:80", "http://Host:800/private",
                          "http://host:80/private", "HTTP://Host:80/private", "",
                          "https://Host:80/private", "http://Host:80//private"}) {
    EXPECT_EQ(robots_match(*rules, url), 1) << url;
  }
}

TEST(robots_match, finds_each_of_many_rules_and_forbids_all_when_they_are_too_many) {
  constexpr size_t NB_RULES = 200'000;
  std::string text = "User-agent: *\n";
  for (size_t i = 0; i < NB_RULES; ++i) text += "Disallow: /" + std::to_string(i) + "/\n";
  const robots_rules_ptr many = robots_parse(text, "h", "bot");
  ASSERT_NE(many, nullptr);
  for (size_t i = 0; i < NB_RULES; ++i) {
    const std::string url = "http://h/" + std::to_string(i);
    ASSERT_EQ(robots_match(*many, url + "/x"), 0) << i;
    ASSERT_EQ(robots_match(*many, url), 1) << i;
  }
  // Sixteen paths of 1 MiB; one byte more is too much.
  text = "User-agent: *\n";
  for (char c = 'a'; c < 'q'; ++c) {
    text += std::string("Disallow: /") + c + std::string((1 << 20) - 2, 'y') + "\n";
  }
  for (const auto& [last, answer] : {std::pair{"Disallow: /ay\n", 1}, {"Disallow: /z\n", 0}}) {
    std::string file = text + last;
    const robots_rules_ptr large = robots_parse(file, "h", "bot");
    ASSERT_NE(large, nullptr);
    EXPECT_EQ(large->nb_rules, 17u);
    EXPECT_EQ(robots_match(*large, "http://h/0"), answer) << last;
  }
}

TEST(robots_paths, cover_what_begins_with_any_of_them) {
  std::mt19937 random(3);
  const auto make_path = [&random](size_t max_bytes) {
    std::string path = "/";
    for (size_t n = random() % max_bytes; n > 0; --n) path += "ab\xff"[random() % 3];
    return path;
  };
  for (size_t round = 0; round < 2'000; ++round) {
    std::vector<std::string> texts(1 + random() % 80);
    for (std::string& text : texts) text = make_path(round % 10 == 0 ? 300 : 8);
    std::vector<std::string_view> paths(texts.begin(), texts.end());
    const robots_paths_ptr built = build_robots_paths(paths);
    for (size_t i = 0; i < 50; ++i) {
      const std::string path = i % 2 == 0 ? make_path(8) : texts[i % texts.size()] + make_path(2);
      const bool covered = std::any_of(texts.begin(), texts.end(),
                                       [&](const auto& text) { return path.starts_with(text); });
      ASSERT_EQ(is_covered_robots_paths(*built, path), covered) << round << " " << path;
    }
  }
}

TEST(build_robots_agent, takes_the_product_token) {
  for (const char* text : {"Crawl-Er_2/1.0 (+http://x.test/)", "Crawl-ER_2 x", "crawl-er_2(x)",
                           "crawl-er_2\tx", "crawl-er_2"}) {
    EXPECT_EQ(build_robots_agent(text), "crawl-er_2");
  }
  EXPECT_EQ(build_robots_agent(" Crawl"), "");
}

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
  const crawl_rules rules{.strict_safety = true};
  settings.rules = &rules;
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

// A web without a network: each host answers as its name says. What is told of it is remembered.
struct made_up_robots {
  fetch_settings settings;
  stop_gate gate;
  http_transport transport;
  http_fetcher_ptr fetcher = create_http_fetcher(settings);
  robots_cache_ptr cache = create_robots_cache(settings);
  std::vector<std::string> told;

  made_up_robots() {
    settings.gate = &gate;
    transport.get = answer;
    transport.get_context = this;
    fetcher->transport = &transport;
    cache->event_context = this;
    cache->on_event = [](robots_event event, std::string_view host, uint32_t status, void* self) {
      const std::string what = event == ROBOTS_NOT_HAD ? " not had " : " too large ";
      static_cast<made_up_robots*>(self)->told.push_back(std::string(host) + what +
                                                         std::to_string(status));
    };
  }
  static uint32_t answer(http_request& request, http_response& response, const http_surroundings&,
                         void* self) {
    const std::string& host = request.target.host;
    if (host == "missing") return response.status = 404;
    if (host == "stopping") {
      set_stop_stop_gate(static_cast<made_up_robots*>(self)->gate);
      return response.status = 408;
    }
    response.body = FORBID_PRIVATE;
    if (host.starts_with("large")) {
      response.body += "Disallow: /" + host.substr(0, 7) + std::string(ROBOTS_LARGE_BYTES, 'y');
    }
    return response.status = 200;
  }
  int ask(const std::string& url) { return robots_allowed(*cache, url, *fetcher); }
};

TEST(robots_cache, keeps_large_sets_once_and_forbids_all_where_one_does_not_fit) {
  made_up_robots web;
  web.cache->max_large_bytes = ROBOTS_LARGE_BYTES * 3 / 2;
  for (const auto& [host, answer] : {std::pair{"large-a", 1},
                                     {"large-a2", 1},
                                     {"large-b", 0},
                                     {"large-a3", 1},
                                     {"small", 1},
                                     {"missing", 1}}) {
    SCOPED_TRACE(host);
    for (const char* scheme : {"http://", "https://"}) {
      EXPECT_EQ(web.ask(scheme + std::string(host) + "/"), answer);
    }
    EXPECT_EQ(web.ask("http://" + std::string(host) + "/private"), host == "missing"s ? 1 : 0);
  }
  EXPECT_EQ(web.told, (std::vector<std::string>{"large-b too large 200", "missing not had 404"}));
  EXPECT_EQ(web.cache->large_paths.size(), 1u);
  const robots_counts counts = get_counts_robots_cache(*web.cache);
  EXPECT_EQ(std::tie(counts.nb_hosts, counts.nb_files, counts.nb_rule_sets),
            std::make_tuple(6u, 5u, 5u));
}

TEST(robots_cache, knows_nothing_of_a_host_whose_fetch_a_stop_cut) {
  made_up_robots web;
  EXPECT_EQ(web.ask("http://stopping/private"), 1);
  EXPECT_EQ(web.ask("http://stopping/private"), 1);
  EXPECT_EQ(web.ask("http://missing/"), 1);
  EXPECT_EQ(web.cache->hosts, (decltype(web.cache->hosts){{"stopping", ROBOTS_BEING_FETCHED}}));
  EXPECT_EQ(web.told, std::vector<std::string>());
}

}  // namespace
}  // namespace wk
