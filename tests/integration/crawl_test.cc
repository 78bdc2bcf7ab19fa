// Crawls of the real program over sites that a scripted server makes up.

#include <gtest/gtest.h>
#include <poll.h>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <tuple>

#include "tests/support/crawl_run.h"
#include "tests/support/fault_preload.h"
#include "tests/support/loopback_port.h"
#include "tests/support/scripted_server.h"
#include "wkskt/skt.h"
#include "wkstd/text.h"

namespace wk {
namespace {

constexpr uint32_t NB_PAGES = 10'000;

// Page n links to 20 others, each page is linked from 20.
std::string build_generated_page(const recorded_request& request) {
  const uint32_t page = parse_unsigned(std::string_view(request.path).substr(1));
  std::string html = "<html><body>";
  // Digests are sums of bytes: the text differs from page to page at every place.
  for (uint32_t i = 1; i < 9; ++i)
    html += std::to_string(uint64_t{page + 1} * i * 2'654'435'761) + " ";
  for (uint32_t k = 1; k <= 20; ++k) {
    append_formatted_text(html, "<a href=\"/%u\">%u</a>\n", (page * 20 + k) % NB_PAGES, k);
  }
  return build_response_text(200, "Content-Type: text/html\r\n", html + "</body></html>");
}

TEST(crawl, requests_each_page_of_a_large_site_once_and_ends_by_itself) {
  scripted_server server = start_scripted_server();
  serve_default_scripted_server(server, build_generated_page);
  const crawl_place place;
  crawl_setup setup;
  setup.profile.seeds = {get_url_scripted_server(server, "/0")};
  setup.profile.nb_spiders = 32;
  setup.profile.queue_buffer_size = 2;
  setup.profile.nb_queues = 3;
  setup.max_open_files = 80;  // 32 connections and some files; a handle lost per page would not fit
  const crawl_result crawl = run_crawl(place, setup);

  EXPECT_EQ(crawl.program.exit_status, 0) << crawl.program.errors;
  EXPECT_EQ(crawl.program.errors, "");
  std::map<std::string, uint32_t> counts;
  for (const recorded_request& request : get_requests_scripted_server(server)) {
    ++counts[request.path];
  }
  EXPECT_EQ(counts.size(), NB_PAGES);
  for (const auto& [path, count] : counts) EXPECT_EQ(count, 1u) << path;
  // Digests end at their first zero byte, so that some of many pages pass for known ones.
  const size_t nb_known = count_text(crawl.log, "  Seen this content before");
  EXPECT_EQ(crawl.documents.size() + nb_known, NB_PAGES);
  EXPECT_LT(nb_known, NB_PAGES / 100);
  for (const std::string& name : crawl.temp_files) {
    EXPECT_FALSE(name.starts_with("nfrontier")) << "a spill file stays: " << name;
  }
  EXPECT_EQ(count_text(crawl.log, "Crawler thread "), 64u) << "started and finished";
}

TEST(crawl, paces_each_host_and_lets_none_wait_for_another) {
  scripted_server first = start_scripted_server("127.0.0.1");
  scripted_server second = start_scripted_server("127.0.0.2");
  const auto serve = [](const recorded_request& request) {
    std::string html = request.head + " at " + request.path;
    for (const char* page : {"a", "b"}) html += std::string("<a href='/") + page + "'>x</a>";
    return build_response_text(200, "Content-Type: text/html\r\n", html);
  };
  crawl_setup setup;
  for (scripted_server* server : {&first, &second}) {
    serve_default_scripted_server(*server, serve);
    setup.profile.seeds.push_back(get_url_scripted_server(*server, "/"));
  }
  setup.profile.sleep_interval = 1;
  setup.profile.nb_queues = 1'000'003;  // hosts that share a queue share its interval
  const crawl_place place;
  const crawl_result crawl = run_crawl(place, setup);
  EXPECT_EQ(crawl.program.exit_status, 0) << crawl.program.errors;
  const auto at_first = get_requests_scripted_server(first);
  const auto at_second = get_requests_scripted_server(second);
  ASSERT_EQ(at_first.size(), 3u);
  ASSERT_EQ(at_second.size(), 3u);
  // A request may reach its server late, but never half an interval late on a machine that works.
  constexpr uint64_t HALF_INTERVAL_US = 500'000;
  for (size_t i = 1; i < 3; ++i) {
    EXPECT_GT(at_first[i].arrival_us, at_first[i - 1].arrival_us + HALF_INTERVAL_US);
    EXPECT_GT(at_second[i].arrival_us, at_second[i - 1].arrival_us + HALF_INTERVAL_US);
    // The other host had its turn in between: both were asked before one was asked again.
    EXPECT_LT(at_first[i - 1].arrival_us, at_second[i].arrival_us);
    EXPECT_LT(at_second[i - 1].arrival_us, at_first[i].arrival_us);
  }
}

TEST(crawl, goes_on_whatever_a_server_answers) {
  const std::string huge_path = "/" + std::string(100'000, 'u');
  const std::string ok = "HTTP/1.0 200 OK\r\n", found = "HTTP/1.0 302 Found\r\nLocation: ";
  const std::string grabbed = "Grabbed page (HTTP CODE 200)";
  const auto refused = [](int code) {
    return "Didn't download (HTTP CODE " + std::to_string(code) + ")";
  };
  const std::tuple<const char*, scripted_answer, std::string> pages[] = {
      {"/close", {}, refused(408)},
      {"/short", {.bytes = ok + "Content-Length: 1000\r\n\r\nonly this"}, refused(500)},
      {"/long-lie", {.bytes = ok + "Content-Length: 10000000\r\n\r\nx"}, refused(400)},
      {"/negative", {.bytes = ok + "Content-Length: -5\r\n\r\nx"}, refused(400)},
      {"/endless-head", {.kind = ANSWER_ENDLESS_HEAD, .bytes = ok}, refused(400)},
      {"/endless-body", {.kind = ANSWER_ENDLESS_BODY, .bytes = ok + "\r\n"}, refused(400)},
      {"/no-http",
       {.bytes = "\x16\x03\x01 is it\n\n\n"},
       "Didn't download (NO HTTP CODE AVAILABLE)"},
      {"/angles", build_page_answer(std::string(1'000'000, '<')), grabbed},
      {"/nul", build_page_answer(std::string("a\0<a href='/behind-nul'>", 23)), grabbed},
      {"/control", build_page_answer("<a href='/c\x01trl'>x</a><a href='" + huge_path + "'>x</a>"),
       grabbed},
      {"/loop", {.bytes = found + "/loop\r\n\r\n"}, refused(302)},
      {"/split", {.bytes = found + "/good?\rX: y\r\n\r\n"}, ""},
      {"/good", build_page_answer("good page, asked for at the end"), grabbed},
  };
  scripted_server server = start_scripted_server();
  std::string index = "index of hostile pages";
  for (const auto& [path, answer, outcome] : pages) {
    serve_answers_scripted_server(server, path, {answer});
    index += std::string("<a href=\"") + path + "\">x</a>\n";
  }
  serve_page_scripted_server(server, "/", index);
  const crawl_place place;
  crawl_setup setup;
  setup.profile.seeds = {get_url_scripted_server(server, "/")};
  const crawl_result crawl = run_crawl(place, setup);

  EXPECT_EQ(crawl.program.exit_status, 0) << crawl.program.errors;
  for (const auto& [path, answer, outcome] : pages) {
    if (outcome.empty()) continue;
    const std::string record = get_url_scripted_server(server, path) + "  " + outcome + "\n";
    EXPECT_EQ(count_text(crawl.log, record), 1u) << record;
  }
  EXPECT_EQ(count_requests_scripted_server(server, "/behind-nul"), 0u);
  for (const recorded_request& request : get_requests_scripted_server(server)) {
    EXPECT_LT(request.path.size(), 8'200u);
    EXPECT_EQ(request.path.find('\x01'), std::string::npos);
    EXPECT_EQ(request.head.find("X: y"), std::string::npos) << "a header came out of a redirect";
  }
}

TEST(crawl, keeps_to_filter_page_allowance_and_quota) {
  const std::tuple<const char*, const char*, size_t, size_t, const char*> cases[] = {
      // attributes of the seed, elements, documents, requests at most, text in the log
      {"", "<excluded-urls><url name=\"http://127\"/></excluded-urls>", 0, 0,
       "/0  is forbidden by the url filter\n"},
      {"max-guest-pages=\"5\"", "", 5, 5, ""},
      {"site_max_num=\"7\"", "", 7, 7, "  guest pages quota exceeds\n"},
      {"", "<quota files=\"9\"/>", 9, 100, "Stopping crawl - Crawler's quota exceeded"},
  };
  for (const auto& [seed_attributes, elements, nb_stored, max_asked, log_text] : cases) {
    SCOPED_TRACE(std::string(seed_attributes) + elements);
    scripted_server server = start_scripted_server();
    serve_default_scripted_server(server, [](const recorded_request& request) {
      const uint32_t page = parse_unsigned(std::string_view(request.path).substr(1));
      const std::string next = std::to_string(page + 1);
      return build_response_text(200, "Content-Type: text/html\r\n",
                                 page < 99 ? "page <a href='/" + next + "'>" + next : "last page");
    });
    const crawl_place place;
    crawl_setup setup;
    setup.profile.nb_spiders = 1;
    setup.profile.elements = elements;
    setup.profile.seeds = {get_url_scripted_server(server, "/0\" ") + seed_attributes + " x=\""};
    const crawl_result crawl = run_crawl(place, setup);
    EXPECT_EQ(crawl.program.exit_status, 0) << crawl.program.errors;
    EXPECT_EQ(crawl.documents.size(), nb_stored);
    EXPECT_LE(count_all_requests_scripted_server(server), max_asked);
    EXPECT_NE(crawl.log.find(log_text), std::string::npos);
  }
}

TEST(crawl, is_stopped_by_a_signal_while_every_spider_hangs) {
  scripted_server server = start_scripted_server();
  serve_default_scripted_server(server, nullptr);
  crawl_setup setup;
  for (const char* path : {"/1", "/2", "/3"}) {
    serve_answers_scripted_server(server, path, {{.kind = ANSWER_STALL}});
    setup.profile.seeds.push_back(get_url_scripted_server(server, path));
  }
  setup.profile.nb_spiders = 3;
  setup.profile.round_time_ms = 3'600'000;
  const crawl_place place;
  prepare_crawl(place, setup);
  running_program program = start_crawl(place, setup);
  for (const char* path : {"/1", "/2", "/3"}) {
    ASSERT_TRUE(wait_for_request_scripted_server(server, path));
  }
  signal_program(program, SIGTERM);
  const crawl_result crawl = read_crawl(place, wait_program(program));
  EXPECT_EQ(crawl.program.exit_status, 0);
  EXPECT_NE(crawl.log.find("Crawler manually stopped.\n"), std::string::npos);
  EXPECT_NE(crawl.log.find("Crawler main loop ended\n"), std::string::npos);
  EXPECT_TRUE(crawl.log.ends_with("Crawling process success!\n\n"));
}

bool wait_until(const std::function<bool()>& is_so) {
  for (int i = 0; i < 6'000 && !is_so(); ++i) ::poll(nullptr, 0, 10);
  return is_so();
}

// Whatever the crawl does meanwhile: it fetches, is paused, writes checkpoints.
TEST(crawl, goes_on_in_files_of_the_old_names_after_a_hangup) {
  std::atomic<bool> goes_on = true;
  scripted_server server = start_scripted_server();
  serve_default_scripted_server(server, [&goes_on](const recorded_request& request) {
    const uint32_t page = parse_unsigned(std::string_view(request.path).substr(1));
    const std::string next = std::to_string(page + 1);
    return build_response_text(200, "Content-Type: text/html\r\n",
                               goes_on ? next + " <a href='/" + next + "'>x</a>" : "last page");
  });
  const crawl_place place;
  const std::string& base = place.directory.path;
  const uint32_t port = hold_free_port();
  crawl_setup setup;
  setup.profile.seeds = {get_url_scripted_server(server, "/0")};
  setup.profile.round_time_ms = 100;
  setup.profile.elements =
      "<checkpoint dir=\"" + make_directory(place.directory, "check") + "\" interval=\"1\"/>\n";
  setup.options = {"-admin-port", std::to_string(port)};
  setup.environment = build_fault_environment({{"WK_CLOCK_SPEED", "20"}});
  prepare_crawl(place, setup);
  running_program program = start_crawl(place, setup);
  wait_until_program_answers(program, port);
  const auto ask = [port](const char* page) {
    const int handle = skt_open("127.0.0.1", port);
    (void)skt_send_all(handle, format_text("GET /webadmin/%s HTTP/1.0\r\n\r\n", page));
    std::string answer;
    skt_read_until_quiet(answer, handle, {.limit_us = 60'000'000});
    skt_close(handle);
  };
  const std::string head = "#Version: 1.0\n#Software: Wendrake Webcrawler\n";
  for (int round = 0; round < 8; ++round) {
    if (round == 3) ask("Pause");
    for (const char* name : {"log", "status", "links.1"}) {
      std::filesystem::rename(base + "/" + name, base + "/" + name + "-" + std::to_string(round));
    }
    signal_program(program, SIGHUP);
    for (const char* name : {"log", "status", "links.1"}) {
      const std::string path = base + "/" + name;
      ASSERT_TRUE(wait_until([&path] { return std::filesystem::exists(path); })) << path;
      EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms(0600));
    }
    if (round == 4) ask("Resume");
  }
  const std::string checkpointed = base + "/check/ndue_mhash.txt";
  EXPECT_TRUE(wait_until([&] { return std::filesystem::exists(checkpointed); }));
  goes_on = false;
  const crawl_result crawl = read_crawl(place, wait_program(program));
  EXPECT_EQ(crawl.program.exit_status, 0) << crawl.program.errors;
  std::string log = crawl.log, status = crawl.status, links = crawl.links;
  for (int round = 7; round >= 0; --round) {
    const std::string number = "-" + std::to_string(round);
    EXPECT_TRUE(log.starts_with(head)) << "behind round " << round;
    log.insert(0, read_test_file(base + "/log" + number));
    status.insert(0, read_test_file(base + "/status" + number));
    links.insert(0, read_test_file(base + "/links.1" + number));
  }
  const size_t nb_pages = count_all_requests_scripted_server(server);
  EXPECT_EQ(count_text(log, "  Grabbed page (HTTP CODE 200)\n"), nb_pages);
  std::string expected_status, expected_links;
  for (size_t page = 0; page < nb_pages; ++page) {
    const std::string url = get_url_scripted_server(server, "/" + std::to_string(page));
    expected_links +=
        (page > 0 ? url + "\n\n" : "\n") + url + (page + 1 < nb_pages ? "\n1\n" : "\n0\n");
    expected_status += url + " 200 (1)\n";
  }
  EXPECT_TRUE(status == expected_status);
  EXPECT_TRUE(links == expected_links);
}

}  // namespace
}  // namespace wk
