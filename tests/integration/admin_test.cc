// An operator steers the program over its administration pages while it crawls.

#include <gtest/gtest.h>

#include <filesystem>
#include <future>
#include <string>

#include "tests/support/crawl_run.h"
#include "tests/support/loopback_port.h"
#include "tests/support/scripted_server.h"
#include "wkskt/skt.h"

namespace wk {
namespace {

struct steered_crawl {
  crawl_place place;
  uint32_t port = find_free_port();
  running_program program;

  explicit steered_crawl(crawl_setup setup) {
    setup.options = {"-admin-port", std::to_string(port)};
    setup.profile.attributes = "forever-mode=\"1\"";
    prepare_crawl(place, setup);
    program = start_crawl(place, setup);
    wait_until_program_answers(program, port);
  }

  std::string ask(const std::string& target, const std::string& headers = "") const {
    const int handle = skt_open("127.0.0.1", port);
    (void)skt_send_all(handle, "GET " + target + " HTTP/1.0\r\n" + headers + "\r\n");
    std::string answer;
    skt_read_until_quiet(answer, handle, {.limit_us = 60'000'000});
    skt_close(handle);
    return answer;
  }

  crawl_result shut_down() {
    EXPECT_TRUE(ask("/webadmin/Shutdown").starts_with("HTTP/1.0 200 OK\r\n"));
    return read_crawl(place, wait_program(program));
  }
};

TEST(administration, pauses_and_resumes_a_crawl) {
  scripted_server server = start_scripted_server();
  std::promise<std::string> page;
  serve_default_scripted_server(
      server, [held = page.get_future().share()](const auto& /*asked*/) { return held.get(); });
  serve_page_scripted_server(server, "/next", "text");
  crawl_setup setup;
  setup.profile.seeds = {get_url_scripted_server(server, "/")};
  steered_crawl crawl(setup);
  EXPECT_TRUE(wait_for_request_scripted_server(server, "/"));
  EXPECT_NE(crawl.ask("/webadmin/Pause").find("<h2>Pausing the Crawler..."), std::string::npos);
  // The page in work is the last one, however long the crawl goes on.
  page.set_value(build_page_answer("<a href='/next'>x</a>").bytes);
  while (crawl.ask("/webadmin/GetStats").find("<em>1</em> URLs written") == std::string::npos) {
  }
  for (int i = 0; i < 100; ++i) (void)crawl.ask("/webadmin/GetStats");
  EXPECT_EQ(count_requests_scripted_server(server, "/next"), 0u);
  EXPECT_NE(crawl.ask("/webadmin/Resume").find("currently running"), std::string::npos);
  EXPECT_TRUE(wait_for_request_scripted_server(server, "/next"));
  EXPECT_EQ(crawl.shut_down().program.exit_status, 0);
}

TEST(administration, takes_orders_from_its_operator_alone) {
  scripted_server server = start_scripted_server();
  serve_page_scripted_server(server, "/added?x=1", "<a href='/linked'>x</a>");
  serve_page_scripted_server(server, "/linked", "text");
  steered_crawl crawl({});
  for (const char* headers : {"Host: rebound.test:8000\r\n", "Sec-Fetch-Site: cross-site\r\n",
                              "Host: 127.0.0.1:8000\r\nOrigin: http://evil.test\r\n",
                              "Host: 127.0.0.1:8000\r\nReferer: http://evil.test/page\r\n"}) {
    EXPECT_TRUE(crawl.ask("/webadmin/Shutdown", headers).starts_with("HTTP/1.0 403 Forbidden\r\n"));
  }
  const std::string added = get_url_scripted_server(server, "/added");
  EXPECT_NE(crawl.ask("/webadmin/AddUrl?url=" + added + "%3Fx%3D1%23fragment")
                .find("<p class=\"Result\">Added " + added + "?x=1 to the URL Horizon.</p>"),
            std::string::npos);
  EXPECT_TRUE(wait_for_request_scripted_server(server, "/linked"));
  const std::string& base = crawl.place.directory.path;
  const std::string page = "/webadmin/Checkpoint?filename=" + base;
  EXPECT_NE(crawl.ask(page + "/saved").find(">Checkpointed the crawler."), std::string::npos);
  EXPECT_NE(crawl.ask(page + "/store").find("it is the store directory"), std::string::npos);
  const crawl_result result = crawl.shut_down();
  EXPECT_EQ(result.program.exit_status, 0);
  EXPECT_FALSE(std::filesystem::is_empty(base + "/saved"));
  for (const std::string& text :
       {"Checkpointed the crawler to " + base + "/saved",
        "Couldn't checkpoint the crawler to " + base + "/store: it is the store directory",
        std::string("Crawler manually stopped.")}) {
    EXPECT_EQ(count_text(result.log, text), 1u) << text;
  }
}

TEST(administration, is_never_fetched_by_its_own_crawl) {
  scripted_server server = start_scripted_server();
  const std::string port = std::to_string(find_free_port());
  crawl_setup setup;
  setup.options = {"-admin-port", port};
  std::string links = "<a href='/redirect'>x</a>";
  for (const char* host : {"127.0.0.1", "localhost", "127.1", "127.0.0.2", "0.0.0.0", "0",
                           "2130706433", "0x7f.0.0.1", "017700000001", "user@127.0.0.1"}) {
    const std::string url = std::string("http://") + host + ":" + port + "/webadmin/Shutdown";
    setup.profile.seeds.push_back(url);
    links += "<a href='" + url + "?linked'>x</a>";
  }
  serve_redirect_scripted_server(server, "/redirect", setup.profile.seeds[0] + "?redirect");
  serve_page_scripted_server(server, "/", links);
  setup.profile.seeds.push_back(get_url_scripted_server(server, "/"));
  const crawl_place place;
  const crawl_result result = run_crawl(place, setup);
  EXPECT_EQ(result.program.exit_status, 0);
  EXPECT_EQ(count_text(result.log, " Opened admin socket\n"), 1u);
  EXPECT_EQ(count_text(result.log, "  Didn't download (HTTP CODE 400)"), 21u);
  EXPECT_EQ(count_text(result.log, " /webadmin/Shutdown"), 0u);  // no request came
}

}  // namespace
}  // namespace wk
