// A real documentation site, served by nginx, crawled by the real program and compared with an
// independent walk over the site's files.

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <sstream>
#include <string>

#include "tests/support/child_process.h"
#include "tests/support/crawl_run.h"
#include "tests/support/nginx_server.h"

namespace wk {
namespace {

constexpr const char* SITE = "/usr/share/doc/python3.11/html";

struct walked_file {
  long nb_bytes = -1;  // -1: there is no such file
  std::string key;     // of its content
};

// What the independent walk reaches, by URL.
std::map<std::string, walked_file> walk_site(const std::string& base_url,
                                             const std::multiset<std::string>& known) {
  const temp_directory directory;
  std::string known_lines;
  for (const std::string& url : known) known_lines += url + "\n";
  write_test_file(directory.path + "/known", known_lines);
  const program_result walk = run_program_to_end(
      {.arguments = {"/usr/bin/env", "python3",
                     std::string(WK_SOURCE_DIRECTORY) + "/tests/integration/site_walk.py", SITE,
                     "/index.html", base_url, directory.path + "/known"}});
  EXPECT_EQ(walk.exit_status, 0) << walk.errors;
  std::map<std::string, walked_file> reached;
  std::istringstream lines(walk.output);
  walked_file file;
  std::string url;
  while (lines >> file.nb_bytes >> file.key >> url) reached[url] = file;
  return reached;
}

// URLs of the log records that end in the given text.
std::multiset<std::string> find_logged_urls(const std::string& log, const std::string& ending) {
  std::multiset<std::string> urls;
  std::istringstream lines(log);
  for (std::string line; std::getline(lines, line);) {
    if (!line.ends_with(ending)) continue;
    constexpr size_t TIME_BYTES = 20;  // "2026-01-31 12:00:00 "
    urls.insert(line.substr(TIME_BYTES, line.size() - ending.size() - TIME_BYTES));
  }
  return urls;
}

TEST(real_site, is_requested_and_stored_page_by_page_exactly_once) {
  const nginx_server server{SITE};
  const crawl_place place;
  crawl_setup setup;
  setup.profile.seeds = {server.url + "/index.html"};
  setup.profile.nb_spiders = 8;
  setup.profile.elements =
      "<restricted-urls><url name=\"" + server.url + "/\"/></restricted-urls>\n";
  const crawl_result crawl = run_crawl(place, setup);
  ASSERT_EQ(crawl.program.exit_status, 0) << crawl.program.errors;

  const std::multiset<std::string> known =
      find_logged_urls(crawl.log, "  Seen this content before");
  const std::map<std::string, walked_file> reached = walk_site(server.url, known);
  ASSERT_GT(reached.size(), 400u);
  std::multiset<std::string> requested;
  std::istringstream targets(read_nginx_access_log(server));
  for (std::string target; std::getline(targets, target);) requested.insert(server.url + target);
  std::map<std::string, size_t> stored;
  std::set<std::string> stored_keys;
  for (const crawl_document& document : crawl.documents) {
    EXPECT_EQ(stored.count(document.url), 0u) << document.url << " is stored twice";
    stored[document.url] = document.content.size();
    if (reached.count(document.url) != 0) stored_keys.insert(reached.at(document.url).key);
  }
  for (const auto& [url, file] : reached) {
    EXPECT_EQ(requested.count(url), 1u) << url;
    if (file.nb_bytes < 0) {
      EXPECT_EQ(stored.count(url), 0u) << url;
    } else if (known.count(url) != 0) {
      EXPECT_EQ(stored_keys.count(file.key), 1u) << url << " is like no page that is stored";
    } else {
      ASSERT_EQ(stored.count(url), 1u) << url;
      EXPECT_EQ(stored[url], static_cast<size_t>(file.nb_bytes)) << url;
    }
  }
  for (const std::string& url : requested) EXPECT_EQ(reached.count(url), 1u) << url;
  EXPECT_LE(known.size(), reached.size() / 100) << "content that repeats is the exception";
}

TEST(real_site, gives_the_same_crawl_with_either_profile_reader) {
  const nginx_server server{SITE};
  std::set<std::string> urls[2];
  for (const bool use_libxml : {true, false}) {
    const crawl_place place;
    crawl_setup setup;
    setup.profile.seeds = {server.url + "/howto/index.html"};
    setup.profile.elements = "<quota files=\"60\"/>\n";
    setup.profile.nb_spiders = 1;
    if (!use_libxml) setup.options = {"-no-libxml"};
    const crawl_result crawl = run_crawl(place, setup);
    ASSERT_EQ(crawl.program.exit_status, 0) << crawl.program.errors;
    EXPECT_EQ(crawl.program.output, "stop the crawler because quota full!\n");
    for (const crawl_document& document : crawl.documents) {
      urls[use_libxml ? 1 : 0].insert(document.url);
    }
  }
  EXPECT_EQ(urls[0].size(), 60u);
  EXPECT_EQ(urls[0], urls[1]);
}

}  // namespace
}  // namespace wk
