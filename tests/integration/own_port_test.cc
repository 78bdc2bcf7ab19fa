// The crawler's own administration is no site to it, however a page or a profile names it.

#include <gtest/gtest.h>

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

}  // namespace
}  // namespace wk
