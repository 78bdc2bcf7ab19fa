// What a site may expect of its visitor: robots files, credentials, cookies, and what is never
// sent.

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "tests/support/crawl_run.h"
#include "tests/support/scripted_server.h"

namespace wk {
namespace {

// The profile's robot element is read twice, the later one holds.
constexpr const char* HONOR_ROBOTS = "<robot honor=\"true\"/>\n";

crawl_setup build_setup(const scripted_server& server, const std::string& elements) {
  crawl_setup setup;
  setup.profile.seeds = {get_url_scripted_server(server, "/")};
  setup.profile.elements = elements;
  return setup;
}

std::string read_head(const scripted_server& server, const std::string& path) {
  const auto requests = get_requests_scripted_server(server, path);
  return requests.empty() ? "never asked for" : requests.front().head;
}

TEST(robots, are_fetched_once_and_kept_by_all_spiders) {
  scripted_server server = start_scripted_server();
  serve_page_scripted_server(server, "/robots.txt", "User-agent: *\nDisallow: /private\n");
  std::string index;
  for (int i = 0; i < 40; ++i) {
    const std::string number = std::to_string(i);
    index += "<a href='/open/" + number + "'>x</a><a href='/private/" + number + "'>x</a>";
    serve_page_scripted_server(server, "/open/" + number, number + " open " + std::string(i, 'x'));
  }
  serve_redirect_scripted_server(server, "/open/0", "/private/by-redirect");
  serve_page_scripted_server(server, "/", index);
  crawl_setup setup =
      build_setup(server, std::string(HONOR_ROBOTS) + "<safety strict=\"true\"/>\n");
  setup.profile.nb_spiders = 16;
  const crawl_place place;
  const crawl_result crawl = run_crawl(place, setup);
  EXPECT_EQ(crawl.program.exit_status, 0) << crawl.program.errors;
  EXPECT_EQ(count_requests_scripted_server(server, "/robots.txt"), 1u);
  for (const recorded_request& request : get_requests_scripted_server(server)) {
    EXPECT_FALSE(request.path.starts_with("/private")) << request.path;
  }
  EXPECT_EQ(count_text(crawl.log, "  is forbidden by the robots.txt\n"), 40u);
  EXPECT_EQ(count_requests_scripted_server(server, "/open/39"), 1u);
}

// A stop while the file is fetched is not its host's fault: robots_test.cc.
TEST(robots, that_cannot_be_had_are_said_once_a_host_with_their_status) {
  scripted_server missing = start_scripted_server("127.0.0.1");
  scripted_server broken = start_scripted_server("127.0.0.2");
  scripted_server empty = start_scripted_server("127.0.0.3");
  crawl_setup setup = build_setup(missing, HONOR_ROBOTS);
  serve_answers_scripted_server(broken, "/robots.txt", {build_status_answer(502)});
  serve_page_scripted_server(empty, "/robots.txt", "");
  for (const scripted_server* server : {&missing, &broken, &empty}) {
    for (int i = 0; i < 20; ++i) {
      setup.profile.seeds.push_back(get_url_scripted_server(*server, "/" + std::to_string(i)));
    }
  }
  const crawl_place place;
  const crawl_result crawl = run_crawl(place, setup);
  EXPECT_EQ(crawl.program.exit_status, 0) << crawl.program.errors;
  EXPECT_EQ(count_all_requests_scripted_server(broken), 21u) << "everything is allowed";
  EXPECT_EQ(count_text(crawl.log, "Couldn't get the robots file"), 2u);
  for (const auto& [server, code] : {std::pair{&missing, "404"}, std::pair{&broken, "502"}}) {
    const std::string record = get_url_scripted_server(*server, "/robots.txt") +
                               "  Couldn't get the robots file (HTTP CODE " + code +
                               "), everything is allowed\n";
    EXPECT_EQ(count_text(crawl.log, record), 1u) << record;
  }
}

TEST(credentials, go_to_the_urls_of_their_key_and_not_to_another_host) {
  scripted_server first = start_scripted_server("127.0.0.1");
  scripted_server second = start_scripted_server("127.0.0.2");
  const std::string challenge =
      build_response_text(401, "WWW-Authenticate: Basic realm=\"x\"\r\n", "");
  const std::string away = "Location: " + get_url_scripted_server(second, "/in") + "\r\n";
  serve_page_scripted_server(first, "/", "<a href='/secret'>x</a><a href='/other'>x</a>");
  serve_answers_scripted_server(
      first, "/secret", {{.bytes = challenge}, {.bytes = build_response_text(302, away, "")}});
  serve_answers_scripted_server(first, "/other", {{.bytes = challenge}});
  serve_page_scripted_server(second, "/in", "reached without a password");
  const std::string elements =
      "<retries num=\"1\"/><safety strict=\"true\"/><credentials><credential site=\"" +
      get_url_scripted_server(first, "/secret") + "\" user=\"u\" pass=\"p\"/></credentials>\n";
  const crawl_place place;
  const crawl_result crawl = run_crawl(place, build_setup(first, elements));
  EXPECT_EQ(crawl.program.exit_status, 0) << crawl.program.errors;
  const auto asked = get_requests_scripted_server(first, "/secret");
  ASSERT_EQ(asked.size(), 2u);
  EXPECT_EQ(asked[0].head.find("Authorization"), std::string::npos);
  EXPECT_NE(asked[1].head.find("Authorization: Basic dTpw\r\n"), std::string::npos);
  EXPECT_EQ(count_requests_scripted_server(first, "/other"), 1u)
      << "no credential, no second round";
  EXPECT_EQ(read_head(second, "/in").find("Authorization"), std::string::npos);
  EXPECT_EQ(count_requests_scripted_server(second, "/in"), 1u);
  EXPECT_EQ(crawl.log.find("pass=\"p\""), std::string::npos) << "the log holds no password";
}

TEST(cookies, are_sent_where_their_key_fits_until_they_expire) {
  scripted_server server = start_scripted_server();
  const auto page = [](const char* cookies, const char* body) {
    return build_response_text(200, std::string("Content-Type: text/html\r\n") + cookies, body);
  };
  serve_bytes_scripted_server(server, "/",
                              page("Set-Cookie: all=1; path=/\r\nSet-cookie: shop=2; path=/shop\r\n"
                                   "Set-Cookie: gone=3; path=/; max-age=0\r\n"
                                   "Set-Cookie: foreign=4; domain=other.test; path=/\r\n",
                                   "start <a href='/shop/a'>x</a><a href='/b'>x</a>"));
  serve_page_scripted_server(server, "/shop/a", "in the shop");
  serve_page_scripted_server(server, "/b", "outside of it");
  const std::string preset =
      "<cookies><cookie domain=\"127.0.0.1\" name=\"preset\" data=\"5\"/></cookies>\n";
  const crawl_place place;
  const crawl_result crawl =
      run_crawl(place, build_setup(server, preset + "<safety strict=\"true\"/>\n"));
  EXPECT_EQ(crawl.program.exit_status, 0) << crawl.program.errors;
  EXPECT_NE(read_head(server, "/").find("Cookie: preset=5; \r\n"), std::string::npos)
      << read_head(server, "/");
  EXPECT_NE(read_head(server, "/shop/a").find("Cookie: preset=5; all=1; shop=2; \r\n"),
            std::string::npos)
      << read_head(server, "/shop/a");
  EXPECT_NE(read_head(server, "/b").find("Cookie: preset=5; all=1; \r\n"), std::string::npos)
      << read_head(server, "/b");
  EXPECT_EQ(count_text(crawl.program.errors, "delete a outdated cookie: 127.0.0.1 "), 1u)
      << crawl.program.errors;
}

TEST(cookies, are_neither_sent_nor_kept_with_the_switch) {
  scripted_server server = start_scripted_server();
  serve_bytes_scripted_server(
      server, "/",
      build_response_text(200, "Content-Type: text/html\r\nSet-Cookie: a=1; path=/\r\n",
                          "<a href='/b'>x</a>"));
  serve_page_scripted_server(server, "/b", "second page");
  const crawl_place place;
  const crawl_result crawl =
      run_crawl(place, build_setup(server, "<disable-all-cookies mode=\"1\"/>\n"));
  EXPECT_EQ(crawl.program.exit_status, 0) << crawl.program.errors;
  EXPECT_EQ(count_requests_scripted_server(server, "/b"), 1u);
  EXPECT_EQ(read_head(server, "/b").find("Cookie"), std::string::npos);
}

TEST(links, are_rewritten_by_substitutions_and_taken_from_the_portal_page_alone) {
  scripted_server server = start_scripted_server();
  serve_page_scripted_server(server, "/", "<a href='/not-followed'>x</a>");
  serve_page_scripted_server(server, "/portal", "portal <a href='/page?sid=77'>x</a>");
  serve_page_scripted_server(server, "/page", "page <a href='/nor-this'>x</a>");
  const std::string elements = "<hyperlink-extraction disable=\"1\"/><portal-list url=\"" +
                               get_url_scripted_server(server, "/portal") +
                               "\"/><url-substitutions><substitution src-pattern=\"[?]sid=[0-9]+\" "
                               "dst-pattern=\"\"/></url-substitutions>\n";
  const crawl_place place;
  const crawl_result crawl = run_crawl(place, build_setup(server, elements));
  EXPECT_EQ(crawl.program.exit_status, 0) << crawl.program.errors;
  EXPECT_EQ(count_requests_scripted_server(server, "/page"), 1u);
  EXPECT_EQ(count_all_requests_scripted_server(server), 3u);
}

}  // namespace
}  // namespace wk
