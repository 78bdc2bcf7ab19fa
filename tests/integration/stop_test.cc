// A stop ends the program whatever hangs, by a signal and by the Shutdown page.

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/crawl_run.h"
#include "tests/support/fault_preload.h"
#include "tests/support/loopback_port.h"
#include "tests/support/scripted_server.h"
#include "wkskt/skt.h"
#include "wkstd/clock.h"

namespace wk {
namespace {

constexpr uint64_t STOP_LIMIT_US = 20'000'000;
constexpr uint32_t NB_SPIDERS = 4;
constexpr int LONGEST_WAIT_MS = 60'000;

// A crawl of a page that links to one page for each spider, and what hangs with it.
struct hanging_crawl {
  crawl_place place;
  crawl_setup setup;
  uint32_t port = hold_free_port();
  scripted_server server = start_scripted_server();
  std::vector<int> sockets = {};  // of the test's side
  running_program program = {};

  hanging_crawl() {
    std::string index;
    for (uint32_t i = 1; i <= NB_SPIDERS; ++i)
      index += "<a href='/" + std::to_string(i) + "'>x</a>";
    serve_page_scripted_server(server, "/", index);
    setup.options = {"-admin-port", std::to_string(port)};
    setup.profile.attributes = "forever-mode=\"1\"";
    setup.profile.nb_spiders = NB_SPIDERS;
    setup.profile.seeds = {get_url_scripted_server(server, "/")};
  }
  ~hanging_crawl() {
    for (const int handle : sockets) skt_close(handle);
  }
};

void start(hanging_crawl& crawl) {
  prepare_crawl(crawl.place, crawl.setup);
  crawl.program = start_crawl(crawl.place, crawl.setup);
  wait_until_program_answers(crawl.program, crawl.port);
}

void start_with_pages(hanging_crawl& crawl, const scripted_answer& answer) {
  for (uint32_t i = 1; i <= NB_SPIDERS; ++i) {
    serve_answers_scripted_server(crawl.server, "/" + std::to_string(i), {answer});
  }
  start(crawl);
  // One host that does not answer gets half of the spiders.
  for (uint32_t i = 1; i <= NB_SPIDERS / 2; ++i) {
    EXPECT_TRUE(wait_for_request_scripted_server(crawl.server, "/" + std::to_string(i)));
  }
}

void start_with_one_that_hangs(hanging_crawl& crawl, const char* path, const char* elements) {
  crawl.setup.profile.elements = elements;
  serve_page_scripted_server(crawl.server, "/1", "<script src=/s.js></script>");
  serve_answers_scripted_server(crawl.server, path, {{.kind = ANSWER_STALL}});
  start(crawl);
  EXPECT_TRUE(wait_for_request_scripted_server(crawl.server, path));
}

// Clients that say nothing, or take nothing of what they asked for.
void start_with_clients(hanging_crawl& crawl) {
  start(crawl);
  for (int i = 0; i < 100; ++i) {
    crawl.sockets.push_back(skt_open("127.0.0.1", crawl.port));
    const char* asked = i % 2 == 0 ? "GET /webadmin/Ge" : "GET /live.js HTTP/1.0\r\n\r\n";
    EXPECT_GT(skt_send_all(crawl.sockets.back(), asked), 0);
  }
}

void start_with_plugins(hanging_crawl& crawl) {
  for (int i = 0; i < 5; ++i) {
    const std::vector<std::string> plugin = {"-content-plugin", "sh", "-c",
                                             "printf '\\1\\0\\0\\0'; exec sleep 1000", ";"};
    crawl.setup.options.insert(crawl.setup.options.end(), plugin.begin(), plugin.end());
  }
  start(crawl);
}

void start_with_pipeline(hanging_crawl& crawl, bool accepts) {
  const int listener = skt_listen("127.0.0.1", 0);
  crawl.sockets.push_back(listener);
  crawl.setup.profile.elements = "<news-pipeline-mode enable=\"1\" hostname=\"127.0.0.1\" port=\"" +
                                 std::to_string(skt_get_bound_port(listener)) + "\"/>\n";
  start(crawl);
  EXPECT_EQ(skt_wait_readable(listener, {.limit_us = uint64_t{LONGEST_WAIT_MS} * 1'000}), 1);
  if (accepts) crawl.sockets.push_back(skt_accept(listener, nullptr));
}

void start_with_resolver(hanging_crawl& crawl) {
  const std::string program = get_zcrawler_path();
  const std::string library = program.substr(0, program.rfind('/')) + "/tests/libslow_resolver.so";
  const std::string mark = crawl.place.directory.path + "/asked";
  ASSERT_TRUE(std::filesystem::exists(library)) << library;
  crawl.setup.environment = build_fault_environment({{"WK_RESOLVER_MARK", mark}});
  crawl.setup.environment.back().second += ":" + library;  // LD_PRELOAD
  crawl.setup.profile.seeds.clear();
  for (uint32_t i = 0; i < NB_SPIDERS; ++i) {
    crawl.setup.profile.seeds.push_back("http://slow" + std::to_string(i) + ".test/");
  }
  start(crawl);
  while (!std::filesystem::exists(mark)) ::poll(nullptr, 0, 10);
}

const struct {
  const char* name;
  void (*start)(hanging_crawl& crawl);
} HANGS[] = {
    {"pages that drip", [](auto& c) { start_with_pages(c, {.kind = ANSWER_DRIP}); }},
    {"pages that do not come", [](auto& c) { start_with_pages(c, {.kind = ANSWER_STALL}); }},
    {"a robots file",
     [](auto& c) { start_with_one_that_hangs(c, "/robots.txt", "<robot honor=\"true\"/>"); }},
    {"a script",
     [](auto& c) {
       start_with_one_that_hangs(c, "/s.js", "<parse-javascript-flash enable=\"1\"/>");
     }},
    {"clients of the administration", start_with_clients},
    {"content plug-ins", start_with_plugins},
    {"a pipeline that does not answer", [](auto& c) { start_with_pipeline(c, true); }},
    {"a pipeline that does not accept", [](auto& c) { start_with_pipeline(c, false); }},
    {"the resolver", start_with_resolver},
};

void send_signal(hanging_crawl& crawl) { signal_program(crawl.program, SIGTERM); }

void ask_for_shutdown(hanging_crawl& crawl) {
  const int handle = skt_open("127.0.0.1", crawl.port);
  EXPECT_GT(skt_send_all(handle, "GET /webadmin/Shutdown HTTP/1.0\r\n\r\n"), 0);
  std::string answer;
  skt_read_until_quiet(answer, handle, {.limit_us = STOP_LIMIT_US});
  skt_close(handle);
  EXPECT_TRUE(answer.starts_with("HTTP/1.0 200 OK\r\n")) << answer;
}

// All crawls hang, are stopped and end side by side.
void stop_all_crawls(void (*stop)(hanging_crawl& crawl)) {
  std::vector<std::unique_ptr<hanging_crawl>> crawls;
  for (const auto& hang : HANGS) {
    SCOPED_TRACE(hang.name);
    hang.start(*crawls.emplace_back(std::make_unique<hanging_crawl>()));
    ASSERT_FALSE(testing::Test::HasFatalFailure());
  }
  const uint64_t end_us = get_steady_time_us() + STOP_LIMIT_US;
  for (const auto& crawl : crawls) stop(*crawl);
  for (size_t i = 0; i < crawls.size(); ++i) {
    SCOPED_TRACE(HANGS[i].name);
    const int handle = static_cast<int>(::syscall(SYS_pidfd_open, crawls[i]->program.pid, 0));
    const uint64_t now_us = get_steady_time_us();
    const int wait_ms = now_us < end_us ? static_cast<int>((end_us - now_us) / 1'000) : 0;
    struct pollfd ended = {handle, POLLIN, 0};
    EXPECT_EQ(::poll(&ended, 1, wait_ms), 1) << "it goes on";
    ::close(handle);
    if ((ended.revents & POLLIN) == 0) continue;  // killed with its record
    const crawl_result result = read_crawl(crawls[i]->place, wait_program(crawls[i]->program));
    EXPECT_EQ(result.program.exit_status, 0) << result.program.errors;
    EXPECT_EQ(count_text(result.log, "Crawler main loop ended"), 1u);
  }
}

TEST(stop, ends_the_program_whatever_hangs) {
  stop_all_crawls(send_signal);
  stop_all_crawls(ask_for_shutdown);
}

}  // namespace
}  // namespace wk
