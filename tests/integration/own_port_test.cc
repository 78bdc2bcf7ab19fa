// The crawler's own administration is no site to it, however a page or a profile names it, and
// neither is that of another crawl on the same machine.

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tests/support/crawl_run.h"
#include "tests/support/loopback_port.h"
#include "tests/support/scripted_server.h"

namespace wk {
namespace {

constexpr const char* SPELLINGS[] = {
    "127.0.0.1",
    "localhost",
    "LOCALHOST",
    "localhost.",
    "127.1",
    "127.0.0.2",
    "0.0.0.0",
    "0",
    "2130706433",
    "0x7f000001",
    "0x7f.0.0.1",
    "0177.0.0.1",
    "017700000001",
    "127.000.000.001",
    "user@127.0.0.1",
    "[::1]",
    "[::ffff:127.0.0.1]",
    "127.255.255.254",
    "a:b@localhost",
    "0x7F.1",
};

std::string build_url(const char* host, const std::string& port, const char* page) {
  return std::string("http://") + host + ":" + port + "/webadmin/" + page;
}

TEST(own_port, is_never_asked_by_the_crawl) {
  scripted_server server = start_scripted_server();
  const std::string port = std::to_string(hold_free_port());
  crawl_setup setup;
  setup.options = {"-admin-port", port};
  setup.profile.elements =
      "<robot honor=\"true\"/><parse-javascript-flash enable=\"1\"/><safety strict=\"false\"/>\n";
  std::string page;
  std::string feed = "<?xml version=\"1.0\"?><rss>";
  size_t nb_urls = 0;
  for (const char* host : SPELLINGS) {
    const std::string hop = "/hop" + std::to_string(nb_urls++);
    setup.profile.seeds.push_back(build_url(host, port, "Shutdown"));
    page += "<a href='" + build_url(host, port, "Pause") + "'>x</a><img src='" +
            build_url(host, port, "AddUrl?url=http://127.0.0.1/") + "'><a href='" + hop +
            "'>x</a><script src='" + build_url(host, port, "Resume") + "'></script>";
    feed += "<item><link>" + build_url(host, port, "Checkpoint?filename=/") + "</link></item>";
    serve_redirect_scripted_server(server, hop, build_url(host, port, "Shutdown?redirect"));
  }
  serve_page_scripted_server(server, "/", page + "<a href='/feed'>x</a>");
  serve_bytes_scripted_server(
      server, "/feed",
      build_response_text(200, "Content-Type: application/rss+xml\r\n", feed + "</rss>"));
  setup.profile.seeds.push_back(get_url_scripted_server(server, "/"));
  const crawl_place place;
  const crawl_result result = run_crawl(place, setup);
  EXPECT_EQ(result.program.exit_status, 0);
  EXPECT_EQ(count_text(result.log, " Opened admin socket\n"), 1u);
  EXPECT_EQ(count_text(result.log, " /webadmin/"), 0u) << "a request came";
  // Every URL was tried all the same: seed, link, image, item and redirect of each spelling.
  for (const char* what : {"/webadmin/Shutdown  D", "/webadmin/Pause  D", "http://127.0.0.1/  D",
                           "/webadmin/Checkpoint?filename=/  D"}) {
    EXPECT_GE(count_text(result.log, what), nb_urls) << what;
  }
  for (size_t i = 0; i < nb_urls; ++i) {
    EXPECT_GE(count_requests_scripted_server(server, "/hop" + std::to_string(i)), 1u) << i;
  }
}

// Requests whose path holds the text.
size_t count_requests_for(const scripted_server& server, const std::string& text) {
  size_t count = 0;
  for (const recorded_request& request : get_requests_scripted_server(server)) {
    count += count_text(request.path, text) > 0 ? 1 : 0;
  }
  return count;
}

TEST(own_port, is_not_asked_of_a_proxy_on_this_machine) {
  scripted_server proxy = start_scripted_server();
  serve_default_scripted_server(
      proxy, [](const auto&) { return build_response_text(200, "", "whatever the site says"); });
  const std::string port = std::to_string(hold_free_port());
  crawl_setup setup;
  setup.options = {"-admin-port", port};
  setup.profile.elements =
      "<http-proxy server=\"" + get_authority_scripted_server(proxy) + "\"/>\n";
  setup.profile.seeds = {"http://site.test/", "http://site.test:" + port + "/webadmin/"};
  char own_name[256] = {};
  ASSERT_EQ(::gethostname(own_name, sizeof own_name - 1), 0);
  for (const char* host : SPELLINGS) setup.profile.seeds.push_back(build_url(host, port, "Pause"));
  setup.profile.seeds.push_back(build_url(own_name, port, "Pause"));
  const crawl_place place;
  const crawl_result result = run_crawl(place, setup);
  EXPECT_EQ(result.program.exit_status, 0);
  EXPECT_EQ(count_requests_for(proxy, ":" + port + "/webadmin/Pause"), 0u);
  EXPECT_EQ(count_requests_for(proxy, "http://site.test"), 2u);
  EXPECT_GE(count_text(result.log, "leads to an administration of this machine"), 17u);
}

TEST(administration_of_another_crawl, is_left_alone_with_strict_safety) {
  for (const bool is_strict : {true, false}) {
    for (const bool has_proxy : {false, true}) {
      SCOPED_TRACE(std::to_string(is_strict) + std::to_string(has_proxy));
      scripted_server other = start_scripted_server();
      const std::string site = get_url_scripted_server(other, "");
      const std::string page = "<a href=/webadmin/Pause>x</a><a href='" + site +
                               "/hop'>x</a><script src=/webadmin/Resume></script>";
      for (const std::string& base : {std::string(), site}) {
        serve_page_scripted_server(other, base + "/", page);
        serve_redirect_scripted_server(other, base + "/hop", "/webadmin/Shutdown");
      }
      crawl_setup setup;
      setup.profile.seeds = {site + "/"};
      setup.profile.elements = std::string("<parse-javascript-flash enable=\"1\"/>") +
                               "<safety strict=\"" + (is_strict ? "true" : "false") + "\"/>\n";
      if (has_proxy) {
        setup.profile.elements +=
            "<http-proxy server=\"" + get_authority_scripted_server(other) + "\"/>\n";
      }
      const crawl_place place;
      const crawl_result result = run_crawl(place, setup);
      for (const char* what : {"/webadmin/Pause", "/webadmin/Resume", "/webadmin/Shutdown"}) {
        EXPECT_EQ(count_requests_for(other, what) > 0, !is_strict) << what;
      }
      EXPECT_EQ(count_text(result.log, "leads to an administration of this machine"),
                is_strict ? 2u : 0u);
    }
  }
}

}  // namespace
}  // namespace wk
