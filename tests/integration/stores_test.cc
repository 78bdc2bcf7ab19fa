// What a crawl hands to its store: to a news pipeline that takes, refuses and leaves, and to store
// files that are read back; and the dates of earlier crawls.

#include <gtest/gtest.h>

#include <csignal>
#include <latch>
#include <map>
#include <set>
#include <sstream>
#include <tuple>

#include "tests/support/crawl_run.h"
#include "tests/support/nginx_server.h"
#include "tests/support/pipeline_peer.h"
#include "tests/support/scripted_server.h"

namespace wk {
namespace {

constexpr size_t NB_PAGES = 40;

// A feed with every page as an item, and the pipeline that a crawl of it is to use.
struct pipeline_fixture {
  scripted_server server = start_scripted_server();
  std::map<std::string, std::string> pages;  // by URL
  pipeline_peer peer;
  crawl_setup setup;

  explicit pipeline_fixture(pipeline_peer with) : peer(std::move(with)) {
    std::string& feed = pages[get_url_scripted_server(server, "/")];
    feed = "<rss version=\"2.0\"><channel>";
    for (size_t number = 1; number < NB_PAGES; ++number) {
      const std::string path = "/" + std::to_string(number);
      const std::string page(number * 4'999, static_cast<char>('A' + number));
      pages[get_url_scripted_server(server, path)] = page;
      serve_page_scripted_server(server, path, page);
      feed += "<item><link>" + get_url_scripted_server(server, path) + "</link></item>";
    }
    feed += "</channel></rss>";
    serve_bytes_scripted_server(server, "/",
                                build_response_text(200, "Content-Type: text/xml\r\n", feed));
    start_pipeline_peer(peer);
    setup.profile.seeds = {get_url_scripted_server(server, "/")};
    setup.profile.attributes = "type=\"rss\"";
    setup.profile.elements = "<news-pipeline-mode enable=\"1\" hostname=\"127.0.0.1\" port=\"" +
                             std::to_string(peer.port) + "\"/>\n";
  }
};

TEST(pipeline, gets_every_story_of_a_feed_and_the_crawl_agrees_with_it) {
  for (const char* quota : {"", "<quota files=\"12\"/>"}) {
    std::map<int, size_t> counts;
    pipeline_fixture f({[&counts](size_t number) {
      const int answer = number % 7 == 0 ? PEER_CLOSES : number % 3 == 0 ? 1 : 0;
      ++counts[answer];
      return answer;
    }});
    f.setup.profile.elements += quota;
    const crawl_result crawl = run_crawl({}, f.setup);
    end_pipeline_peer(f.peer);
    EXPECT_EQ(crawl.program.exit_status, 0) << crawl.program.errors;
    std::set<std::string> urls;
    for (const received_item& item : f.peer.items) {
      EXPECT_TRUE(urls.insert(item.url).second) << item.url << " came twice";
      EXPECT_TRUE(item.text.find("[" + f.pages[item.url] + "]") != std::string::npos) << item.url;
      EXPECT_EQ(count_text(crawl.log, item.url + "  Not stored by the pipeline (refused)\n"),
                item.answer == 1 ? 1u : 0u);
    }
    EXPECT_EQ(f.peer.items.size(), counts[0] + counts[1]);
    EXPECT_EQ(count_text(crawl.log, "  Not stored by"), counts[1] + counts[PEER_CLOSES]);
    EXPECT_EQ(counts[0], *quota != '\0' ? 12u : NB_PAGES - counts[1] - counts[PEER_CLOSES]);
    EXPECT_EQ(count_text(crawl.program.output, "quota full!"), *quota != '\0' ? 1u : 0u);
    const std::string lost =
        std::to_string(counts[1] + counts[PEER_CLOSES]) + " documents could not be stored\n";
    EXPECT_EQ(crawl.program.errors, lost);
    EXPECT_EQ(count_text(crawl.log, " " + lost), 1u);
  }
}

TEST(pipeline, that_is_silent_holds_up_no_stop) {
  std::latch to_come(3);
  pipeline_fixture f({[](size_t number) { return number < 3 ? 0 : PEER_IS_SILENT; },
                      [&to_come] { to_come.count_down(); }});
  const crawl_place place;
  prepare_crawl(place, f.setup);
  running_program program = start_crawl(place, f.setup);
  to_come.wait();
  signal_program(program, SIGTERM);
  const crawl_result crawl = read_crawl(place, wait_program(program));
  end_pipeline_peer(f.peer);
  EXPECT_EQ(crawl.program.exit_status, 0) << crawl.program.errors;
  ASSERT_EQ(f.peer.items.size(), 3u) << "nothing is sent behind a stop";
  const std::string said = f.peer.items[2].url + "  Not stored by the pipeline (no answer)\n";
  EXPECT_EQ(count_text(crawl.log, said), 1u) << "the peer stores what is waited for too long";
  EXPECT_EQ(count_text(crawl.program.errors, "could not be stored"), 0u) << "a stop loses nothing";
}

std::string run_flatsite(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), WK_FLATSITE_PATH);
  const program_result result = run_program_to_end({.arguments = arguments});
  EXPECT_EQ(result.exit_status, 0) << result.errors;
  return result.output;
}

TEST(real_site, is_read_back_from_its_store_files_byte_for_byte) {
  const std::string site = "/usr/share/doc";
  const nginx_server server{site};
  const crawl_place place;
  crawl_setup setup;
  setup.profile.seeds = {server.url + "/python3.11/html/index.html",
                         server.url + "/cmake-data/html/index.html"};
  setup.profile.elements =
      "<restricted-urls><url name=\"" + server.url + "/\"/></restricted-urls>\n";
  const crawl_result crawl = run_crawl(place, setup);
  ASSERT_GT(crawl.documents.size(), 2'000u) << crawl.program.errors;
  const std::string store = place.directory.path + "/store", out = place.directory.path + "/out/";
  std::istringstream exported(run_flatsite({"export", out, store}));
  std::map<std::string, std::string> names;  // by URL
  for (std::string name, size, type, url, at; exported >> name >> size >> type >> url >> at;)
    names[url] = name;
  EXPECT_EQ(names.size(), crawl.documents.size());
  for (const crawl_document& document : crawl.documents) {
    const size_t path_at = server.url.size(), path_end = document.url.find('?');
    std::string served = site + document.url.substr(path_at, path_end - path_at);
    for (size_t at; (at = served.find("%20")) != std::string::npos;) served.replace(at, 3, " ");
    EXPECT_TRUE(document.content == read_test_file(served)) << document.url;
    EXPECT_TRUE(document.content == read_test_file(out + names[document.url])) << document.url;
  }
  const crawl_document& last = crawl.documents.back();
  EXPECT_TRUE(run_flatsite({"cat", last.url, store}) == last.content);
  EXPECT_EQ(count_text(run_flatsite({"check", store}), std::to_string(names.size()) + " rec"), 1u);
}

TEST(url_date_map, brings_its_urls_into_the_crawl) {
  scripted_server server = start_scripted_server();
  const auto build = [&server](const char* path, const char* date) {
    return "FLATSITE_START\nDB_DOC_URL=" + get_url_scripted_server(server, path) + date +
           "\nFLATSITE_END\n";
  };
  const crawl_place place;
  const std::string list = place.directory.path + "/list", old = place.directory.path + "/old";
  const char* date = "\nWK_CRAWLER_DATE=1600000000";
  write_test_file(old, build("/5#top", date) + build("/6", "") + build("/7\x01", date));
  write_test_file(list, old + "\n" + old + "-none\n");
  crawl_setup setup;
  setup.profile.seeds = {get_url_scripted_server(server, "/1")};
  setup.options = {"-url-date-map", list};
  EXPECT_EQ(run_crawl(place, setup).program.errors,
            "The URL date map '" + list + "' names store files that can't be read: 1\n");
  std::set<std::string> fetched;
  for (const auto& request : get_requests_scripted_server(server)) fetched.insert(request.path);
  EXPECT_EQ(fetched, (std::set<std::string>{"/1", "/5"}));
}

TEST(store_files, are_a_url_date_map_where_servers_tell_dates) {
  const std::tuple<const char*, const char*, const char*> cases[] = {
      // path, header lines, the document's date
      {"/both",
       "Last-Modified: Sun, 06 Nov 1994 08:49:37 GMT\r\nDate: Sat, 31 Jan 2026 12:00:00 GMT",
       "19941106"},
      {"/date", "Last-Modified: yesterday\r\nDate: Saturday, 31-Jan-26 12:00:00 GMT", "20260131"},
      {"/modified", "Last-Modified: Sun Nov  6 08:49:37 1994", "19941106"},
      {"/epoch", "Last-Modified: Thu, 01 Jan 1970 00:00:00 GMT", ""},
      {"/none", "X-Date: Sun, 06 Nov 1994 08:49:37 GMT", ""},
  };
  scripted_server server = start_scripted_server();
  const crawl_place place, later;
  crawl_setup setup;
  std::set<std::string> dated;
  for (const auto& [path, lines, date] : cases) {
    serve_bytes_scripted_server(server, path,
                                build_response_text(200, std::string(lines) + "\r\n", path));
    setup.profile.seeds.push_back(get_url_scripted_server(server, path));
    if (*date != '\0') dated.insert(setup.profile.seeds.back());
  }
  setup.profile.nb_spiders = 1;
  EXPECT_EQ(run_crawl(place, setup).documents.size(), std::size(cases));
  const std::string store = place.directory.path + "/store/flatsite-1";
  const std::string bytes = read_test_file(store);
  for (const auto& [path, lines, date] : cases) {
    const std::string head = get_url_scripted_server(server, path) + "\n";
    const std::string line =
        *date == '\0' ? "" : "DB_DOC_DATE=" + std::string(date) + "\nWK_CRAWLER_DATE=";
    EXPECT_NE(bytes.find(head + (line.empty() ? "DB_DOC_TYPE=" : line)), std::string::npos) << path;
  }
  const std::string list = place.directory.path + "/list";
  write_test_file(list, store + "\n");
  setup.profile.seeds.clear();
  setup.options = {"-url-date-map", list};
  std::set<std::string> fetched;
  for (const auto& document : run_crawl(later, setup).documents) fetched.insert(document.url);
  EXPECT_EQ(fetched, dated);
}

TEST(store_files, hold_a_body_in_a_content_coding_as_it_came_and_the_log_says_it_once_a_host) {
  scripted_server servers[] = {start_scripted_server("127.0.0.1"),
                               start_scripted_server("127.0.0.2")};
  crawl_setup setup;
  setup.profile.nb_spiders = 1;
  for (scripted_server& server : servers) {
    for (const char* coding : {"", "identity", "x\x1b-gzip", "br"}) {
      const std::string path = "/" + std::to_string(setup.profile.seeds.size());
      const std::string line = std::string("Content-Encoding: ") + coding + "\r\n";
      serve_bytes_scripted_server(server, path, build_response_text(200, line, path + "\x1f\x8b"));
      setup.profile.seeds.push_back(get_url_scripted_server(server, path));
    }
  }
  const crawl_place place;
  const crawl_result crawl = run_crawl(place, setup);
  ASSERT_EQ(crawl.documents.size(), setup.profile.seeds.size());
  for (const crawl_document& document : crawl.documents) {
    EXPECT_TRUE(document.content.ends_with("\x1f\x8b")) << document.url;
  }
  const std::string said = " came in the content coding ";
  EXPECT_EQ(count_text(crawl.log, said), 2u);
  for (const size_t seed : {2, 6}) {
    EXPECT_EQ(count_text(crawl.log, setup.profile.seeds[seed] + " " + said + "x?-gzip, unasked"),
              1u);
  }
}

}  // namespace
}  // namespace wk
