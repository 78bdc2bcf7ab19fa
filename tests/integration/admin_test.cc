// An operator steers the program over its administration pages while it crawls.

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <filesystem>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "tests/support/crawl_run.h"
#include "tests/support/loopback_port.h"
#include "tests/support/scripted_server.h"
#include "wkskt/skt.h"
#include "wkstd/clock.h"

namespace wk {
namespace {

struct steered_crawl {
  crawl_place place;
  uint32_t port = hold_free_port();
  running_program program;

  explicit steered_crawl(crawl_setup setup) {
    setup.options = {"-admin-port", std::to_string(port)};
    setup.profile.attributes = "forever-mode=\"1\" admin-hosts=\"crawl.test  other.test\"";
    prepare_crawl(place, setup);
    program = start_crawl(place, setup);
    wait_until_program_answers(program, port);
  }

  std::string ask(const std::string& target, const std::string& headers = "",
                  const std::string& method = "GET") const {
    const int handle = skt_open("127.0.0.1", port);
    (void)skt_send_all(handle, method + " " + target + " HTTP/1.0\r\n" + headers + "\r\n");
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
  const std::string port = ":" + std::to_string(crawl.port) + "\r\n";
  const std::string own = "Host: 127.0.0.1" + port;
  const std::string behind_many_lines = [] {
    std::string lines;
    for (int i = 0; i < 1'100; ++i) lines += "X" + std::to_string(i) + ": y\r\n";
    return lines + "Origin: http://evil.test\r\n";
  }();
  const std::tuple<std::string, const char*, const char*> refused[] = {
      {"Host: rebound.test" + port, "GET", "403 Forbidden"},
      {"Host: 0.0.0.0" + port, "GET", "403 Forbidden"},
      {"Host: [::ffff:7f00:1]" + port, "GET", "403 Forbidden"},
      {"Sec-Fetch-Site: cross-site\r\n", "GET", "403 Forbidden"},
      {own + "Origin: http://evil.test\r\n", "GET", "403 Forbidden"},
      {own + "Referer: http://evil.test/page\r\n", "GET", "403 Forbidden"},
      {own + "User-Agent: Mozilla/5.0\r\n", "GET", "403 Forbidden"},
      {own + behind_many_lines, "GET", "413 Request Entity Too Large"},
      {own, "HEAD", "405 Method Not Allowed"},
  };
  for (const auto& [headers, method, status] : refused) {
    SCOPED_TRACE(headers.substr(0, 80));
    const std::string answer = crawl.ask("/webadmin/Pause", headers, method);
    EXPECT_EQ(answer.substr(0, answer.find('\r')), "HTTP/1.0 " + std::string(status));
  }
  EXPECT_NE(crawl.ask("/status.json", "Host: OTHER.test" + port).find("\"state\": \"running\""),
            std::string::npos);
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

// A site without an end: every page links to three others.
std::string build_endless_page(const recorded_request& asked) {
  const uint64_t number = std::strtoull(asked.path.c_str() + 1, nullptr, 10);
  std::string page = asked.path + std::string(number % 64, 'x');
  for (uint64_t i = 1; i <= 3; ++i) {
    page += " <a href='/" + std::to_string(number * 3 + i) + "'>x</a>";
  }
  return build_page_answer(page).bytes;
}

// Waits until the crawl has fetched 4,000 pages more and prints how fast that went.
void print_crawl_speed(const scripted_server& server, const char* when) {
  const uint64_t start_us = get_steady_time_us();
  const uint64_t nb_before = count_all_requests_scripted_server(server);
  uint64_t nb_fetched = 0;
  while (nb_fetched < 4'000) {
    std::this_thread::yield();
    nb_fetched = count_all_requests_scripted_server(server) - nb_before;
  }
  const double seconds = static_cast<double>(get_steady_time_us() - start_us) / 1e6;
  std::printf("%s: %.0f pages/s\n", when, static_cast<double>(nb_fetched) / seconds);
}

TEST(administration, answers_beside_clients_that_hang_and_the_crawl_goes_on) {
  scripted_server server = start_scripted_server();
  serve_default_scripted_server(server, build_endless_page);
  crawl_setup setup;
  setup.profile.seeds = {get_url_scripted_server(server, "/0")};
  steered_crawl crawl(setup);
  print_crawl_speed(server, "no client");
  std::vector<int> silent;
  for (int i = 0; i < 200; ++i) silent.push_back(skt_open("127.0.0.1", crawl.port));
  std::jthread drip([port = crawl.port](const std::stop_token& stop) {
    const int handle = skt_open("127.0.0.1", port);
    std::mutex lock;
    std::unique_lock held(lock);
    std::condition_variable_any second;
    while (!stop.stop_requested() && skt_send_all(handle, "G") != 0) {
      second.wait_for(held, stop, std::chrono::seconds(1), [] { return false; });
    }
    skt_close(handle);
  });
  print_crawl_speed(server, "200 silent clients and one that drips");
  const uint64_t start_us = get_steady_time_us();
  EXPECT_TRUE(crawl.ask("/webadmin/GetStats").starts_with("HTTP/1.0 200 OK\r\n"));
  std::printf("a page beside them: %.1f ms\n",
              static_cast<double>(get_steady_time_us() - start_us) / 1e3);
  drip.request_stop();
  EXPECT_EQ(crawl.shut_down().program.exit_status, 0);
  for (const int handle : silent) skt_close(handle);
}

}  // namespace
}  // namespace wk
