// The real program among servers that mean it harm: each of them alone, and all of them at once.

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/crawl_run.h"
#include "tests/support/hostile_behaviours.h"
#include "tests/support/loopback_port.h"
#include "tests/support/scripted_server.h"

namespace wk {
namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool IS_MEASURED = false;  // a sanitizer has a memory and a time of its own
#else
constexpr bool IS_MEASURED = true;
#endif

constexpr size_t NB_AT_ONCE = 12;
constexpr uint32_t NB_CALENDAR_DAYS = 25;

// A site whose start page links to the others.
scripted_server start_sound_site(size_t nb_pages) {
  scripted_server server = start_scripted_server();
  std::string index;
  for (size_t i = 1; i <= nb_pages; ++i) {
    const std::string path = "/p" + std::to_string(i);
    index += "<a href='" + path + "'>x</a>";
    serve_page_scripted_server(server, path, "sound page " + path);
  }
  serve_page_scripted_server(server, "/", index);
  return server;
}

size_t count_sound_documents(const crawl_result& crawl, const scripted_server& server) {
  const std::string prefix = get_url_scripted_server(server, "/p");
  return static_cast<size_t>(
      std::count_if(crawl.documents.begin(), crawl.documents.end(),
                    [&prefix](const crawl_document& one) { return one.url.starts_with(prefix); }));
}

// A behaviour with its server.
struct hostile_place {
  const hostile_behaviour& behaviour;
  scripted_server server = start_scripted_server();

  hostile_place(const hostile_behaviour& of, const std::string& admin) : behaviour(of) {
    of.serve({server, admin, "127.0.0.1:" + std::to_string(hold_free_port())});
  }

  std::string get_url() const { return get_url_scripted_server(server, behaviour.path); }

  // As a seed of a profile; a site without an end gets one.
  std::string get_seed() const {
    return get_url() + "\" site_max_num=\"" + std::to_string(NB_CALENDAR_DAYS);
  }

  void check(const crawl_result& crawl) const {
    SCOPED_TRACE(behaviour.name);
    const size_t record = crawl.log.find(get_url() + "  ");
    EXPECT_NE(crawl.log.find(get_url() + "  " + behaviour.record), std::string::npos)
        << crawl.log.substr(std::min(record, crawl.log.size()), 200);
    // A page that was taken for another one was not searched for links.
    if (std::string_view(behaviour.name).starts_with("page: ")) {
      EXPECT_EQ(crawl.log.find(get_url() + "  Seen this content before"), std::string::npos);
    }
    size_t nb_days = 0;
    for (const recorded_request& request : get_requests_scripted_server(server)) {
      EXPECT_EQ(request.head.find("\nX-Evil"), std::string::npos) << request.head;
      EXPECT_EQ(request.head.find("\rX-Evil"), std::string::npos) << request.head;
      EXPECT_EQ(request.path.find("never"), std::string::npos) << request.path;
      EXPECT_FALSE(request.path.starts_with("/out/")) << request.path;
      nb_days += request.path.starts_with("/xn") ? 1 : 0;
    }
    EXPECT_LE(nb_days, NB_CALENDAR_DAYS);
  }
};

crawl_setup build_setup(const scripted_server& sound, const std::string& admin_port) {
  crawl_setup setup;
  setup.options = {"-admin-port", admin_port};
  setup.profile.seeds = {get_url_scripted_server(sound, "/")};
  setup.profile.elements =
      "<robot honor=\"true\"/><parse-javascript-flash enable=\"1\"/><excluded-regexes>"
      "<regex expr=\"[^?]*/out/.*\"/></excluded-regexes>\n";
  return setup;
}

void check_sound_crawl(const crawl_result& crawl, const scripted_server& sound, size_t nb_pages) {
  EXPECT_EQ(crawl.program.exit_status, 0) << crawl.program.errors.substr(0, 5'000);
  EXPECT_EQ(count_sound_documents(crawl, sound), nb_pages);
  EXPECT_EQ(count_text(crawl.log, " /webadmin/"), 0u) << "the administration was asked";
  EXPECT_EQ(count_text(crawl.log, "root:x:"), 0u) << "a file was read";
}

// The most memory that the program had. A content plug-in looks it up when it is told to end: what
// the system tells about an ended program counts the memory of the test, too, that forked it.
const std::vector<std::string> PEAK_OPTIONS = {
    "-content-plugin", "sh", "-c",
    "printf '\\1\\0\\0\\0'; cat >/dev/null; grep VmHWM /proc/$PPID/status >peak", ";"};

size_t read_peak_mib(const crawl_place& place) {
  const std::string line = read_test_file(place.directory.path + "/peak");
  return std::strtoull(line.substr(line.find(':') + 1).c_str(), nullptr, 10) >> 10;
}

// A crawl of one behaviour and three sound pages.
struct lone_crawl {
  std::string admin_port = std::to_string(hold_free_port());
  scripted_server sound = start_sound_site(3);
  hostile_place hostile;
  crawl_place place;
  running_program program;

  explicit lone_crawl(const hostile_behaviour& behaviour)
      : hostile(behaviour, "127.0.0.1:" + admin_port) {
    crawl_setup setup = build_setup(sound, admin_port);
    setup.profile.seeds.push_back(hostile.get_seed());
    prepare_crawl(place, setup);
    program = start_crawl(place, setup);
  }

  void check_end() {
    SCOPED_TRACE(hostile.behaviour.name);
    const crawl_result crawl = read_crawl(place, wait_program(program));
    check_sound_crawl(crawl, sound, 3);
    hostile.check(crawl);
  }
};

// Waits for any of the crawls to end, and checks it.
void check_next_end(std::vector<std::unique_ptr<lone_crawl>>& crawls) {
  siginfo_t facts;
  ASSERT_EQ(::waitid(P_ALL, 0, &facts, WEXITED | WNOWAIT), 0);
  const auto ended = std::find_if(crawls.begin(), crawls.end(), [&facts](const auto& crawl) {
    return crawl->program.pid == facts.si_pid;
  });
  ASSERT_NE(ended, crawls.end());
  (*ended)->check_end();
  crawls.erase(ended);
}

TEST(hostile_server, harms_no_crawl_alone) {
  EXPECT_GE(get_hostile_behaviours().size(), 60u);
  std::vector<std::unique_ptr<lone_crawl>> crawls;
  for (const hostile_behaviour& behaviour : get_hostile_behaviours()) {
    crawls.push_back(std::make_unique<lone_crawl>(behaviour));
    if (crawls.size() == NB_AT_ONCE) check_next_end(crawls);
  }
  while (!crawls.empty() && !HasFatalFailure()) check_next_end(crawls);
}

TEST(hostile_server, harms_no_crawl_together) {
  constexpr size_t NB_PAGES = 200;
  constexpr uint32_t NB_SPIDERS = 8;
  const scripted_server sound = start_sound_site(NB_PAGES);
  const std::string admin_port = std::to_string(hold_free_port());
  crawl_setup setup = build_setup(sound, admin_port);
  setup.profile.nb_spiders = NB_SPIDERS;
  setup.profile.elements += "<safety strict=\"true\"/>\n";
  std::vector<std::unique_ptr<hostile_place>> places;
  for (const hostile_behaviour& behaviour : get_hostile_behaviours()) {
    places.push_back(std::make_unique<hostile_place>(behaviour, "127.0.0.1:" + admin_port));
    setup.profile.seeds.push_back(places.back()->get_seed());
  }
  setup.options.insert(setup.options.end(), PEAK_OPTIONS.begin(), PEAK_OPTIONS.end());
  const crawl_place place;
  const crawl_result crawl = run_crawl(place, setup);
  check_sound_crawl(crawl, sound, NB_PAGES);
  for (size_t i = 1; i <= NB_PAGES; ++i) {
    EXPECT_EQ(count_requests_scripted_server(sound, "/p" + std::to_string(i)), 1u) << i;
  }
  for (const auto& one : places) one->check(crawl);
  const size_t peak_mib = read_peak_mib(place);
  std::printf("%zu hostile servers at once: %.1f s of CPU, %zu MiB at most\n", places.size(),
              crawl.program.cpu_seconds, peak_mib);
  EXPECT_GT(peak_mib, 0u);
  if (!IS_MEASURED) return;
  EXPECT_LE(crawl.program.cpu_seconds, 2.0 * static_cast<double>(places.size()));
  EXPECT_LE(peak_mib, 200 + 16 * NB_SPIDERS);
}

}  // namespace
}  // namespace wk
