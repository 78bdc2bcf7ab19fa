// A crawl whose disk refuses work for a while: it says so, and goes on when the disk takes it
// again.

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
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

constexpr uint32_t NB_PAGES = 800;
constexpr uint32_t NB_DEAD_LINKS = 16;    // of each page
constexpr uint32_t FILTER_BITS = 20'011;  // few: new URLs are often doubtful and have to be merged
constexpr uint32_t NB_QUEUES = 7;

std::string build_path(uint32_t page) { return "/p/" + std::to_string(page); }

// A tree of pages, of which each links back to an early one as well, with so many dead links (no
// connection can be made to port 0) that the list of known URLs is flushed.
std::string build_page(uint32_t page) {
  std::string html = format_text("<p>%08u</p>", page);
  for (uint32_t child = 3 * page + 1; child <= 3 * page + 3 && child < NB_PAGES; ++child) {
    html += "<a href=\"" + build_path(child) + "\"></a>";
  }
  html += "<a href=\"" + build_path(page / 10) + "\"></a>";
  for (uint32_t i = 0; i < NB_DEAD_LINKS; ++i) {
    html += "<a href=\"http://127.0.0.1:0/" + std::to_string(page * NB_DEAD_LINKS + i) + "\"></a>";
  }
  return html;
}

// Pages that lead from one to the next until something has happened: the crawl does not end before.
std::string build_waiting_page(const std::string& path, bool goes_on) {
  const uint32_t number = parse_unsigned(path.substr(3));
  const std::string next = "<a href=\"/w/" + std::to_string(number + 1) + "\"></a>";
  return format_text("<p>w%07u</p>", number) + (goes_on ? next : "");
}

struct fault_case {
  const char* name;
  const char* path;  // below the test's directory
  const char* action;
  const char* calls;
  const char* first;
  const char* last;
  const char* said;  // on standard error, with a number of URLs before or behind it; or in the log
};

crawl_setup build_setup(const crawl_place& place, const scripted_server& server,
                        const fault_case& c) {
  const std::string& base = place.directory.path;
  crawl_setup setup;
  setup.profile.seeds = {get_url_scripted_server(server, build_path(0)),
                         get_url_scripted_server(server, "/w/0")};
  setup.profile.nb_queues = NB_QUEUES;
  setup.profile.queue_buffer_size = 50;
  setup.profile.round_time_ms = 100;
  setup.profile.elements = "<checkpoint dir=\"" + base + "/check\" interval=\"1\"/>\n" +
                           "<due disk_cache_size=\"" + std::to_string(FILTER_BITS) + "\"/>\n";
  setup.environment = build_fault_environment({{"WK_STEADY_SPEED", "20"},
                                               {"WK_FAULT_NO_SYNC", "1"},
                                               {"WK_FAULT_PATH", base + c.path},
                                               {"WK_FAULT_ACTION", c.action},
                                               {"WK_FAULT_CALLS", c.calls},
                                               {"WK_FAULT_FIRST", c.first},
                                               {"WK_FAULT_LAST", c.last}});
  return setup;
}

void expect_every_page_once(const scripted_server& server, const crawl_result& crawl) {
  std::map<std::string, uint32_t> asked;
  for (const recorded_request& request : get_requests_scripted_server(server)) {
    if (!request.path.starts_with("/p/")) continue;
    EXPECT_EQ(++asked[request.path], 1u) << request.path;
  }
  EXPECT_EQ(asked.size(), NB_PAGES);
  std::set<std::string> stored;
  for (const crawl_document& document : crawl.documents) {
    if (document.url.find("/p/") != std::string::npos) stored.insert(document.url);
  }
  EXPECT_EQ(stored.size(), NB_PAGES);
  // A line of the status file stands for each dead link too, once.
  std::set<std::string_view> lines;
  size_t nb_dead = 0;
  std::string_view rest = crawl.status;
  for (size_t end = rest.find('\n'); end != std::string_view::npos; end = rest.find('\n')) {
    const size_t url = rest.substr(0, end).find("http://127.0.0.1:0/");
    if (url != std::string_view::npos) {
      ++nb_dead;
      const std::string_view from_url = rest.substr(url, end - url);
      lines.insert(from_url.substr(0, from_url.find_first_of(" \t")));
    }
    rest.remove_prefix(end + 1);
  }
  EXPECT_EQ(nb_dead, NB_PAGES * NB_DEAD_LINKS);
  EXPECT_EQ(lines.size(), nb_dead);
}

TEST(disk_fault, of_a_while_loses_and_doubles_nothing) {
  const char* writing = "create,write,fsync,close,mkdir,rename";
  const fault_case cases[] = {
      {"spills refused", "/temp/nfrontier", "ENOSPC", writing, "20", "60", "stay in memory\n"},
      {"spills refused by the medium", "/temp/nfrontier", "EIO", "create,write", "1", "25",
       "stay in memory\n"},
      {"spills not to be read", "/temp/nfrontier", "EIO", "read", "3", "8", "its URLs wait\n"},
      {"spills not to be opened", "/temp/nfrontier", "EIO", "open", "3", "8", "its URLs wait\n"},
      {"lists refused", "/temp/ndue_cache.txt", "ENOSPC", writing, "2", "9", "wait in memory\n"},
      {"the sort refused", "/temp/ndue_cache.txt.sort", "ENOSPC", writing, "1", "2",
       "URLs are kept\n"},
      {"the disk cache refused", "/temp/ndue_disk_cache.txt", "EIO", "", "1", "9",
       "URLs are kept\n"},
      {"the merge refused", "/temp/ndue_unknown.txt.sort", "EIO", "", "1", "3", "URLs are kept\n"},
      {"everything refused", "/temp/", "ENOSPC", writing, "150", "400", "URLs"},
      {"checkpoints refused", "/check", "ENOSPC", writing, "1", "5",
       "Couldn't checkpoint the crawler to "},
  };
  for (const fault_case& c : cases) {
    SCOPED_TRACE(c.name);
    const crawl_place place;
    const std::string check = make_directory(place.directory, "check");
    scripted_server server = start_scripted_server();
    serve_default_scripted_server(server, [&check](const recorded_request& request) {
      const std::string page =
          request.path.starts_with("/p/")
              ? build_page(parse_unsigned(request.path.substr(3)))
              : build_waiting_page(request.path,
                                   !std::filesystem::exists(check + "/ndue_mhash.txt"));
      return build_response_text(200, "Content-Type: text/html\r\n", page);
    });
    const crawl_result crawl = run_crawl(place, build_setup(place, server, c));
    EXPECT_EQ(crawl.program.exit_status, 0) << crawl.program.errors;
    const std::string& said =
        c.path == std::string_view("/check") ? crawl.log : crawl.program.errors;
    EXPECT_NE(said.find(c.said), std::string::npos) << crawl.program.errors;
    expect_every_page_once(server, crawl);
    EXPECT_NE(crawl.log.find("Checkpointed the crawler to " + check), std::string::npos);
    const program_result checked = check_horizon_files(check, FILTER_BITS, NB_QUEUES);
    EXPECT_EQ(checked.exit_status, 0) << checked.output;
  }
}

TEST(disk_fault, of_the_store_is_counted_at_the_end) {
  const crawl_place place;
  scripted_server server = start_scripted_server();
  crawl_setup setup;
  for (uint32_t page = 0; page < 9; ++page) {
    serve_page_scripted_server(server, build_path(page), build_page(page));
    setup.profile.seeds.push_back(get_url_scripted_server(server, build_path(page)));
  }
  setup.profile.elements = "<hyperlink-extraction disable=\"1\"/>\n";
  setup.environment = build_fault_environment({{"WK_FAULT_PATH", place.directory.path + "/store/"},
                                               {"WK_FAULT_ACTION", "ENOSPC"},
                                               {"WK_FAULT_CALLS", "create,write"},
                                               {"WK_FAULT_FIRST", "1"},
                                               {"WK_FAULT_LAST", "4"}});
  const crawl_result crawl = run_crawl(place, setup);
  EXPECT_EQ(crawl.program.exit_status, 0);
  EXPECT_EQ(crawl.documents.size(), 5u) << "files that did not open, and writes";
  EXPECT_EQ(crawl.program.errors, "4 documents could not be stored\n");
  EXPECT_EQ(count_text(crawl.log, " 4 documents could not be stored\n"), 1u);
}

}  // namespace
}  // namespace wk
