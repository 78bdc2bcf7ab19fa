// Crawling through a proxy: a real one, and one that is gone.

#include <gtest/gtest.h>

#include <string>

#include "tests/support/crawl_run.h"
#include "tests/support/loopback_port.h"
#include "tests/support/scripted_server.h"
#include "tests/support/tinyproxy_server.h"

namespace wk {
namespace {

void serve_site(scripted_server& server) {
  serve_page_scripted_server(server, "/robots.txt", "User-agent: *\nDisallow: /private\n");
  serve_page_scripted_server(server, "/",
                             "start <a href='/old'>1</a><a href='/private/a'>2</a>"
                             "<a href='/query?a=b&amp;c=d'>3</a><a href='/gone'>4</a>");
  serve_redirect_scripted_server(server, "/old", "/target");
  serve_page_scripted_server(server, "/target", "behind a redirect <a href='/last'>x</a>");
  serve_page_scripted_server(server, "/query?a=b&c=d", "an answer to a query");
  serve_page_scripted_server(server, "/last", "the last page");
}

TEST(proxy, carries_pages_redirects_and_robots_files) {
  for (const bool by_environment : {false, true}) {
    SCOPED_TRACE(by_environment ? "HTTP_PROXY" : "profile");
    scripted_server server = start_scripted_server();
    serve_site(server);
    const tinyproxy_server proxy;
    crawl_setup setup;
    setup.profile.seeds = {get_url_scripted_server(server, "/")};
    setup.profile.elements = "<robot honor=\"true\"/>\n";
    if (by_environment) {
      setup.environment = {{"HTTP_PROXY", proxy.authority}};
    } else {
      setup.profile.elements += "<http-proxy server=\"" + proxy.authority + "\"/>\n";
    }
    const crawl_place place;
    const crawl_result crawl = run_crawl(place, setup);
    EXPECT_EQ(crawl.program.exit_status, 0) << crawl.program.errors;
    EXPECT_EQ(crawl.documents.size(), 4u);
    for (const char* path : {"/robots.txt", "/", "/old", "/target", "/last", "/query?a=b&c=d"}) {
      EXPECT_EQ(count_requests_scripted_server(server, path), 1u) << path;
    }
    EXPECT_EQ(count_requests_scripted_server(server, "/private/a"), 0u);
    EXPECT_EQ(count_text(crawl.status, " 404 (1)\n"), 1u) << crawl.status;
    for (const recorded_request& request : get_requests_scripted_server(server)) {
      EXPECT_NE(request.head.find("tinyproxy"), std::string::npos)
          << "came past the proxy: " << request.head;
    }
    EXPECT_NE(read_tinyproxy_log(proxy).find("/robots.txt"), std::string::npos);
  }
}

TEST(proxy, that_is_gone_fails_every_fetch_and_none_goes_past_it) {
  scripted_server server = start_scripted_server();
  serve_site(server);
  crawl_setup setup;
  setup.profile.seeds = {get_url_scripted_server(server, "/")};
  setup.profile.elements = "<retries num=\"1\" wait=\"0\"/><http-proxy server=\"127.0.0.1:" +
                           std::to_string(hold_free_port()) + "\"/>\n";
  const crawl_place place;
  const crawl_result crawl = run_crawl(place, setup);
  EXPECT_EQ(crawl.program.exit_status, 0) << crawl.program.errors;
  EXPECT_EQ(count_all_requests_scripted_server(server), 0u);
  EXPECT_EQ(count_text(crawl.log, get_url_scripted_server(server, "/") + "  Didn't download"), 1u)
      << crawl.log;
}

}  // namespace
}  // namespace wk
