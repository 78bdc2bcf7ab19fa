// A crawl that is killed or stopped again and again, and restored each time from its last
// checkpoint.

#include <gtest/gtest.h>

#include <csignal>
#include <cstdint>
#include <filesystem>
#include <map>
#include <mutex>
#include <random>
#include <set>
#include <string>
#include <string_view>

#include "tests/support/checkpoint_files.h"
#include "tests/support/crawl_run.h"
#include "tests/support/fault_preload.h"
#include "tests/support/scripted_server.h"
#include "wkstd/text.h"

namespace wk {
namespace {

constexpr uint32_t NB_PAGES = 5'000;
constexpr uint32_t NB_KILLS = 30;
constexpr uint32_t NB_STOPS = 25;
constexpr uint32_t NB_DEAD_LINKS = 8;     // of each page, to URLs that no other page links to
constexpr uint32_t FILTER_BITS = 20'011;  // few: new URLs are often doubtful and have to be merged
constexpr uint32_t NB_QUEUES = 7;

constexpr char STOPPING[] = "Stopping the crawl; a second signal ends the process at once.\n";

std::string build_path(uint32_t page) { return "/p/" + std::to_string(page); }

// A tree of pages with links across it. The dead links (no connection can be made to port 0) bring
// the known URLs beyond what is kept in memory. Some pages are of many blocks, so that a kill can
// tear their record in the store. The page text is the number alone: in so few bytes every page
// has a digest of its own.
std::string build_page(uint32_t page) {
  std::minstd_rand random(page + 1);
  std::string html = format_text("<p>%08u</p>", page);
  const auto link_to = [&html](const std::string& target) {
    html += "<a href=\"" + target + "\"></a>";
  };
  for (uint32_t child = 3 * page + 1; child <= 3 * page + 3 && child < NB_PAGES; ++child) {
    link_to(build_path(child));
  }
  for (uint32_t i = 0; i < 3; ++i) link_to(build_path(static_cast<uint32_t>(random()) % NB_PAGES));
  for (uint32_t i = 0; i < NB_DEAD_LINKS; ++i) {
    link_to("http://127.0.0.1:0/" + std::to_string(page * NB_DEAD_LINKS + i));
  }
  return html + "<!--" + std::string(page % 50 == 0 ? 40'000 : 100, 'x') + "-->";
}

// Pages that lead from one to the next: a crawl has no end as long as they go on.
std::string build_endless_page(const std::string& path, bool goes_on) {
  const uint32_t number = parse_unsigned(path.substr(3));
  const std::string next = "<a href=\"/e/" + std::to_string(number + 1) + "\"></a>";
  return format_text("<p>e%07u</p>", number) + (goes_on ? next : "");
}

// What the server sees of the crawl, round by round. A round is one life of the process; its
// requests carry its number as their user agent, for some arrive when it is dead already.
struct crawl_watch {
  std::mutex lock;
  std::string store;
  std::string round;
  bool is_last = false;
  uint64_t end_at = 0;  // requests of this round until the process gets the signal; 0: it does not
  int signal = SIGKILL;
  pid_t process = -1;  // of this round
  uint64_t nb_requests = 0;
  std::map<std::string, std::map<std::string, uint32_t>> asked;  // round -> path -> times
};

std::string answer_request(crawl_watch& watch, const recorded_request& request) {
  const std::string_view head = request.head;
  const size_t agent = head.find("User-Agent: ");
  const std::string round(head.substr(agent + 12, head.find("\r\n", agent) - agent - 12));
  const std::lock_guard<std::mutex> hold(watch.lock);
  ++watch.asked[round][request.path];
  if (round == watch.round && ++watch.nb_requests == 1) {
    // No answer was given yet: the store is what the restore made of it.
    std::vector<crawl_document> documents;
    read_store_documents(watch.store, documents);
  }
  if (round == watch.round && watch.nb_requests == watch.end_at) {
    ::kill(watch.process, watch.signal);
  }
  return build_response_text(200, "Content-Type: text/html\r\n",
                             request.path.starts_with("/p/")
                                 ? build_page(parse_unsigned(request.path.substr(3)))
                                 : build_endless_page(request.path, !watch.is_last));
}

struct kill_plan {
  uint64_t at_request = 0;
  environment_variables faults = {};
  int signal = SIGKILL;
  const char* interval = "1";  // of checkpoints
  bool is_last = false;
};

// Every other kill comes at a request, the rest in the midst of the work on files: while a
// checkpoint is written or restored from, while a document is stored. The first waits until a
// checkpoint stands, for without one there is nothing to restore.
kill_plan draw_kill(const std::string& base, uint32_t number, std::minstd_rand& random) {
  const auto draw = [&random](uint32_t least, uint32_t most) {
    return std::uniform_int_distribution<uint32_t>(least, most)(random);
  };
  kill_plan plan;
  plan.faults = {{"WK_STEADY_SPEED", "20"}, {"WK_FAULT_NO_SYNC", "1"}};
  if (number > 0 && number % 2 == 0) {
    plan.at_request = draw(50, 500);
    return plan;
  }
  const char* changing = "create,write,fsync,rename,unlink,mkdir,rmdir";
  const struct {
    const char* path;
    const char* calls;
    uint32_t most;
  } places[] = {{"/check", changing, 300},
                {"/check", "", 300},
                {"/check", changing, 60},
                {"/store/flatsite", "write", 300}};
  const auto& place = places[number / 2 % 4];
  plan.faults.emplace_back("WK_FAULT_ACTION", "tear");
  plan.faults.emplace_back("WK_FAULT_PATH", base + place.path);
  plan.faults.emplace_back("WK_FAULT_CALLS", place.calls);
  plan.faults.emplace_back("WK_FAULT_FIRST", std::to_string(draw(1, place.most)));
  if (number == 0) plan.faults.emplace_back("WK_FAULT_MARKER", base + "/check/ndue_cache.txt");
  return plan;
}

crawl_setup build_setup(const std::string& base, const scripted_server& server,
                        const std::string& round, const char* interval) {
  crawl_setup setup;
  setup.profile.seeds = {get_url_scripted_server(server, build_path(0)),
                         get_url_scripted_server(server, "/e/0")};
  setup.profile.nb_spiders = 4;
  setup.profile.nb_queues = NB_QUEUES;
  setup.profile.queue_buffer_size = 100;
  setup.profile.round_time_ms = 100;
  setup.profile.elements = "<checkpoint dir=\"" + base + "/check\" interval=\"" + interval +
                           "\"/>\n" + "<due disk_cache_size=\"" + std::to_string(FILTER_BITS) +
                           "\"/>\n" + "<user-agent name=\"" + round + "\"/>\n";
  return setup;
}

// Lives until it is killed or stopped or at its end; its exit status.
int live_one_round(const crawl_place& place, const scripted_server& server, crawl_watch& watch,
                   uint32_t number, const kill_plan& plan) {
  const std::string round = "round-" + std::to_string(number);
  crawl_setup setup = build_setup(place.directory.path, server, round, plan.interval);
  setup.environment = build_fault_environment(plan.faults);
  if (number > 0) setup.options = {"-restore"};
  prepare_crawl(place, setup);
  running_program program;
  {
    const std::lock_guard<std::mutex> hold(watch.lock);
    watch.round = round;
    watch.is_last = plan.is_last;
    watch.end_at = plan.at_request;
    watch.signal = plan.signal;
    watch.nb_requests = 0;
    program = start_crawl(place, setup);
    watch.process = program.pid;
  }
  const program_result result = wait_program(program);
  EXPECT_TRUE(result.exit_status == 0 || result.exit_status == 128 + SIGKILL) << result.errors;
  EXPECT_EQ(result.errors, plan.signal == SIGTERM ? STOPPING : "");
  return result.exit_status;
}

void expect_sound(const std::string& directory) {
  const program_result result = check_horizon_files(directory, FILTER_BITS, NB_QUEUES);
  EXPECT_EQ(result.exit_status, 0) << result.output << result.errors;
}

// A round asks for nothing twice, and for nothing that was finished at the checkpoint it began at.
void expect_asked_once(crawl_watch& watch, uint32_t number, const scripted_server& server,
                       const checkpoint_urls& before) {
  const std::lock_guard<std::mutex> hold(watch.lock);
  for (const auto& [path, times] : watch.asked["round-" + std::to_string(number)]) {
    const std::string url = get_url_scripted_server(server, path);
    EXPECT_EQ(times, 1u) << path;
    EXPECT_TRUE(before.queued.contains(url) || !before.known.contains(url)) << path;
  }
}

// The paths of the tree's pages in the store, each as often as it is there.
std::multiset<std::string> read_stored_pages(const std::string& store) {
  std::vector<crawl_document> documents;
  read_store_documents(store, documents);
  std::multiset<std::string> stored;
  for (const crawl_document& document : documents) {
    const size_t at = document.url.find("/p/");
    if (at == std::string::npos) continue;
    const std::string path = document.url.substr(at);
    EXPECT_EQ(document.content, build_page(parse_unsigned(path.substr(3)))) << path;
    stored.insert(path);
  }
  return stored;
}

TEST(restore, loses_and_doubles_nothing_however_often_the_process_is_killed) {
  const crawl_place place;
  const std::string check = make_directory(place.directory, "check");
  crawl_watch watch;
  watch.store = make_directory(place.directory, "store");
  scripted_server server = start_scripted_server();
  serve_default_scripted_server(
      server, [&watch](const recorded_request& request) { return answer_request(watch, request); });

  std::minstd_rand random(20);
  checkpoint_urls before;
  for (uint32_t number = 0; number <= NB_KILLS; ++number) {
    SCOPED_TRACE("round " + std::to_string(number));
    const kill_plan plan = number == NB_KILLS
                               ? kill_plan{.faults = {{"WK_STEADY_SPEED", "20"}}, .is_last = true}
                               : draw_kill(place.directory.path, number, random);
    const int status = live_one_round(place, server, watch, number, plan);
    ASSERT_EQ(status, number == NB_KILLS ? 0 : 128 + SIGKILL);
    expect_sound(check);
    expect_asked_once(watch, number, server, before);
    before = list_checkpoint_urls(read_directory_bytes(check));
    if (HasFailure()) return;
  }

  const std::lock_guard<std::mutex> hold(watch.lock);
  std::set<std::string> asked;
  for (const auto& [round, paths] : watch.asked) {
    for (const auto& [path, times] : paths) {
      if (path.starts_with("/p/")) asked.insert(path);
    }
  }
  EXPECT_EQ(asked.size(), NB_PAGES);
  const std::multiset<std::string> stored = read_stored_pages(watch.store);
  EXPECT_EQ(std::set<std::string>(stored.begin(), stored.end()).size(), NB_PAGES);
}

// The checkpoint that a stop leaves is the only one.
TEST(restore, goes_on_after_every_stop_and_blames_no_page_for_them) {
  const crawl_place place;
  make_directory(place.directory, "check");
  crawl_watch watch;
  watch.store = make_directory(place.directory, "store");
  scripted_server server = start_scripted_server();
  serve_default_scripted_server(
      server, [&watch](const recorded_request& request) { return answer_request(watch, request); });
  std::minstd_rand random(7);
  for (uint32_t number = 0; number <= NB_STOPS; ++number) {
    SCOPED_TRACE("round " + std::to_string(number));
    const bool is_last = number == NB_STOPS;
    const kill_plan plan{.at_request = is_last ? 0 : 1 + random() % 300,
                         .signal = is_last ? 0 : SIGTERM,
                         .interval = "1000000",
                         .is_last = is_last};
    ASSERT_EQ(live_one_round(place, server, watch, number, plan), 0);
    const std::string log = read_test_file(place.directory.path + "/log");
    const std::string pages = get_url_scripted_server(server, "/");
    for (size_t at = log.find("  Didn't download"); at != std::string::npos;
         at = log.find("  Didn't download", at + 1)) {
      const std::string_view line = std::string_view(log).substr(0, at);
      EXPECT_EQ(line.substr(line.rfind("http")).find(pages), std::string_view::npos) << "blamed";
    }
    if (HasFailure()) return;
  }
  const std::multiset<std::string> stored = read_stored_pages(watch.store);
  EXPECT_EQ(stored.size(), NB_PAGES) << "each once";
  EXPECT_EQ(std::set<std::string>(stored.begin(), stored.end()).size(), NB_PAGES);
}

}  // namespace
}  // namespace wk
