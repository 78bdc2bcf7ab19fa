// Trouble that is none of a URL's: a silent neighbour, a name without an address, a machine that is
// short of handles. None of it holds up the other hosts, and no URL is lost to it.

#include <gtest/gtest.h>
#include <poll.h>

#include <csignal>
#include <string>
#include <vector>

#include "tests/support/crawl_run.h"
#include "tests/support/fault_preload.h"
#include "tests/support/scripted_server.h"

namespace wk {
namespace {

constexpr uint32_t NB_PAGES = 200;
constexpr uint32_t NB_SPIDERS = 8;

std::string build_path(uint32_t page) { return "/p" + std::to_string(page); }

// A start page that links to all others, in one crawl with what is in trouble.
struct troubled_crawl {
  crawl_place place;
  crawl_setup setup;
  scripted_server sound = start_scripted_server();

  troubled_crawl() {
    std::string index;
    for (uint32_t i = 0; i < NB_PAGES; ++i) {
      index += "<a href='" + build_path(i) + "'>x</a>";
      serve_page_scripted_server(sound, build_path(i), "sound page " + std::to_string(i));
    }
    serve_page_scripted_server(sound, "/", index);
    setup.profile.nb_spiders = NB_SPIDERS;
    setup.profile.round_time_ms = 100;
    setup.profile.seeds = {get_url_scripted_server(sound, "/")};
  }
};

bool is_sound_site_fetched(const troubled_crawl& crawl) {
  for (uint32_t i = 0; i < NB_PAGES; ++i) {
    if (!wait_for_request_scripted_server(crawl.sound, build_path(i))) return false;
  }
  return true;
}

TEST(trouble, of_one_silent_host_leaves_half_of_the_spiders_to_the_others) {
  for (const uint32_t nb_queues : {100u, 1u}) {
    SCOPED_TRACE(nb_queues);
    troubled_crawl crawl;
    crawl.setup.profile.nb_queues = nb_queues;
    scripted_server silent = start_scripted_server("127.0.0.2");
    std::vector<std::string>& seeds = crawl.setup.profile.seeds;
    for (uint32_t i = 0; i < 20 * NB_SPIDERS; ++i) {
      seeds.insert(seeds.begin(), get_url_scripted_server(silent, build_path(i)));
      serve_answers_scripted_server(silent, build_path(i), {{.kind = ANSWER_STALL}});
    }
    prepare_crawl(crawl.place, crawl.setup);
    running_program program = start_crawl(crawl.place, crawl.setup);
    EXPECT_TRUE(is_sound_site_fetched(crawl)) << "it waits for the silent host";
    EXPECT_LE(count_all_requests_scripted_server(silent), NB_SPIDERS / 2);
    signal_program(program, SIGTERM);
    const crawl_result result = read_crawl(crawl.place, wait_program(program));
    EXPECT_EQ(result.program.exit_status, 0);
    EXPECT_EQ(count_text(result.log, "Didn't download"), 0u) << "a stop is nobody's fault";
  }
}

TEST(trouble, of_a_name_without_an_address_is_asked_for_once_and_ends_with_the_crawl) {
  troubled_crawl crawl;
  crawl.setup.profile.nb_queues = 1;
  std::vector<std::string>& seeds = crawl.setup.profile.seeds;
  for (uint32_t i = 0; i < NB_PAGES; ++i) {
    seeds.insert(seeds.begin(), "http://nowhere.invalid" + build_path(i));
  }
  const std::string nb_asked = crawl.place.directory.path + "/asked";
  crawl.setup.environment = build_fault_environment({{"WK_FAULT_CALLS", "getaddrinfo"},
                                                     {"WK_FAULT_ACTION", "EAI_AGAIN"},
                                                     {"WK_FAULT_FIRST", "1"},
                                                     {"WK_FAULT_LAST", "0"},
                                                     {"WK_FAULT_COUNT", nb_asked}});
  const crawl_result result = run_crawl(crawl.place, crawl.setup);
  EXPECT_EQ(result.program.exit_status, 0) << result.program.errors;
  EXPECT_LE(std::stoul(read_test_file(nb_asked)), NB_SPIDERS / 2) << "the name was asked for again";
  EXPECT_EQ(result.documents.size(), NB_PAGES + 1);
  EXPECT_EQ(count_text(result.log, "http://nowhere.invalid/p"), 2 * NB_PAGES);  // seeds in profile
  EXPECT_EQ(count_text(result.log, "  Didn't download (HTTP CODE 400)\n"), NB_PAGES);
  // Those that came after the first look-up had failed kept their place behind the sound site.
  const size_t last_page = result.log.rfind("Grabbed page");
  EXPECT_GE(count_text(std::string_view(result.log).substr(last_page), "Didn't download"),
            NB_PAGES - NB_SPIDERS);
}

TEST(trouble, of_the_machine_costs_no_url) {
  const struct {
    const char* name;
    uint64_t max_open_files;
    environment_variables faults;
  } cases[] = {
      {"few handles", 24, {}},
      {"no handles for a while",
       0,
       {{"WK_FAULT_CALLS", "socket"},
        {"WK_FAULT_ACTION", "EMFILE"},
        {"WK_FAULT_FIRST", "20"},
        {"WK_FAULT_LAST", "60"}}},
      {"no client ports for a while",
       0,
       {{"WK_FAULT_CALLS", "connect"},
        {"WK_FAULT_ACTION", "EADDRNOTAVAIL"},
        {"WK_FAULT_FIRST", "20"},
        {"WK_FAULT_LAST", "60"}}},
      {"no buffers to send from",
       0,
       {{"WK_FAULT_CALLS", "send"},
        {"WK_FAULT_ACTION", "ENOBUFS"},
        {"WK_FAULT_FIRST", "20"},
        {"WK_FAULT_LAST", "60"}}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    troubled_crawl crawl;
    crawl.setup.profile.nb_spiders = 4 * NB_SPIDERS;
    crawl.setup.max_open_files = c.max_open_files;
    if (!c.faults.empty()) crawl.setup.environment = build_fault_environment(c.faults);
    const crawl_result result = run_crawl(crawl.place, crawl.setup);
    EXPECT_EQ(result.program.exit_status, 0) << result.program.errors;
    EXPECT_EQ(result.documents.size(), NB_PAGES + 1);
    EXPECT_EQ(count_text(result.log, "Didn't download"), 0u);
    EXPECT_EQ(count_text(result.log, "This machine is short of what a connection needs ("), 1u);
  }
}

TEST(trouble, of_a_clock_that_runs_backwards_stops_no_checkpoint) {
  troubled_crawl crawl;
  const std::string check = make_directory(crawl.place.directory, "check");
  crawl.setup.profile.attributes = "forever-mode=\"1\"";
  crawl.setup.profile.elements = "<checkpoint dir=\"" + check + "\" interval=\"1\"/>\n";
  crawl.setup.environment =
      build_fault_environment({{"WK_CLOCK_SPEED", "-100"}, {"WK_STEADY_SPEED", "20"}});
  prepare_crawl(crawl.place, crawl.setup);
  running_program program = start_crawl(crawl.place, crawl.setup);
  EXPECT_TRUE(is_sound_site_fetched(crawl)) << "a spider waits for the clock";
  const auto count_checkpoints = [&] {
    return count_text(read_test_file(crawl.place.directory.path + "/log"), "Checkpointed the");
  };
  for (int i = 0; i < 1'000 && count_checkpoints() < 2; ++i) ::poll(nullptr, 0, 60);
  EXPECT_GE(count_checkpoints(), 2u);
  signal_program(program, SIGTERM);
  EXPECT_EQ(wait_program(program).exit_status, 0);
}

}  // namespace
}  // namespace wk
