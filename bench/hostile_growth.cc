// Shows that work on a hostile document grows with its length and not with its square: for each
// kind it measures the CPU time of a document and of one twice as long, the best of five, and
// prints their ratio. Ends with 1 when one costs more than 2.3 times the other.
//
//   hostile_growth

#include <malloc.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <ctime>
#include <string>
#include <string_view>

#include "crawler/content/digest_table.h"
#include "crawler/content/link_extractor.h"
#include "crawler/content/page_text.h"
#include "crawler/fetch/http_fetcher.h"
#include "crawler/fetch/robots_rules.h"

namespace {

using namespace wk;
using namespace std::string_view_literals;

constexpr double MAX_RATIO = 2.3;
constexpr int NB_ROUNDS = 5;
constexpr double SHORTEST_SECONDS = 0.02;  // of what is measured at once

// What documents are given to; nothing is fetched, for no document here names a script.
struct workbench {
  fetch_settings settings = {};
  http_fetcher_ptr script_fetcher = create_http_fetcher(settings);
  const crawl_rules rules{.canonical_urls = true};
  link_context_ptr tags = create_link_context(rules);
  link_context_ptr all = create_link_context(rules);
  link_list links = {};
  std::string text = {};
};

void read_tags(workbench& bench, std::string_view document) {
  extract_links("http://h/a/b", document, *bench.tags, bench.links);
}
void read_scripts(workbench& bench, std::string_view document) {
  extract_links("http://h/a/b", document, *bench.all, bench.links);
}
void read_text(workbench& bench, std::string_view document) {
  build_page_text(bench.text, document);
  (void)compute_page_digest(document);
}
void read_movie(workbench& bench, std::string_view document) {
  extract_flash_links("http://h/x.swf", document, *bench.tags, bench.links);
}
void read_feed(workbench& bench, std::string_view document) {
  extract_feed_links("http://h/feed", document, *bench.tags, bench.links);
}
void read_robots(workbench& bench, std::string_view document) {
  bench.text = document;
  (void)robots_parse(bench.text, "h", "any");
}

struct family {
  const char* name;
  void (*read)(workbench& bench, std::string_view document);
  std::string_view head;
  std::string_view piece;  // a "#" in it is its number
  std::string_view tail = "";
  size_t nb_bytes = 2 << 20;  // of the shorter document
};

// A movie without frames, and an action tag without an end.
constexpr std::string_view ACTIONS = "FWS\5\x2A\0\0\0\0\0\1\1\0\x3F\3\xFF\xFF\xFF\x7F"sv;
constexpr std::string_view BOMB = "CWS\5\xFF\xFF\xFF\xFF\x78\x9c\x63\x18"sv;
constexpr std::string_view TWO_KB_OF_ZEROS = "\x05\xa3\x60\x14\x8c\x82\x51\x30\x0a\x46\xc1\x28\x18";
// So many pieces, and twice as many, have fewer links than a page may give.
constexpr size_t NB_LINKS = 90'000;
constexpr size_t MENDED_BYTES = 900'000;  // twice as much is still read a second time

const family FAMILIES[] = {
    {"tags: <", read_tags, "", "<"},
    {"tags: <a", read_tags, "", "<a "},
    {"tags: open comments", read_tags, "", "<!-- -- "},
    {"tags: an open script", read_tags, "<script>", "</scrip '"},
    {"tags: open scripts", read_tags, "", "<script></"},
    {"tags: styles", read_tags, "", "<style></scrip"},
    {"tags: open values", read_tags, "", "<a href='"},
    {"tags: other links", read_tags, "", "<a href=#>", "", 17 * NB_LINKS},
    {"tags: one link", read_tags, "<a href=\"", "a", "\">"},
    {"tags: references in a link", read_tags, "<a href=\"/", "&amp;#38;&x;", "\">"},
    {"tags: steps up", read_tags, "<a href=\"", "../", "\">"},
    {"tags: steps up and down", read_tags, "<a href=\"", "a/../", "\">"},
    {"tags: steps that stay", read_tags, "<a href=\"", "/./", "\">"},
    {"tags: links below a base", read_tags, "<base href=\"http://h/bbbbbbbb/\">", "<a href=#>", "",
     16 * NB_LINKS},
    {"text: open comments", read_text, "", "<!-- -- "},
    {"text: open scripts", read_text, "", "<script></"},
    {"text: references", read_text, "", "&nbsp&#38;&"},
    {"text: blanks", read_text, "", " \n"},
    {"scripts: quotes", read_scripts, "<script>", "'\""},
    {"scripts: open quotes", read_scripts, "<script>", "'a.htm\n"},
    {"scripts: literals", read_scripts, "<script>", "'a#.htm'", "", 14 * NB_LINKS},
    {"scripts: comments", read_scripts, "<script>", "/*/"},
    {"scripts: open comments", read_scripts, "<script>", "/ *"},
    {"scripts: schemes", read_scripts, "", "http://"},
    {"scripts: colons", read_scripts, "", "http:/"},
    {"scripts: handlers in a tag", read_scripts, "<a ", "onclick=", ">"},
    {"scripts: handlers", read_scripts, "", "<a onclick='\"a.htm\"'>"},
    {"scripts: open handlers", read_scripts, "", "<a onclick='\"a.htm\""},
    {"scripts: script tags", read_scripts, "", "<script "},
    {"scripts: empty scripts", read_scripts, "", "<script></script>", "", 4 << 20},
    {"scripts: refreshes", read_scripts, "", "<meta http-equiv=\"refresh\""},
    {"movies: a bomb", read_movie, BOMB, TWO_KB_OF_ZEROS, "", 200'000},
    {"movies: tags", read_movie, "FWS\5\x2A\0\0\0\0\0\1\1\0"sv, "\0\3"sv},
    {"movies: addresses", read_movie, ACTIONS, "\x83\3\0a\0\0"sv, "", 6 * NB_LINKS},
    {"movies: pushes", read_movie, ACTIONS, "\x96\3\0\0a\0"sv},
    {"movies: constants", read_movie, ACTIONS, "\x88\4\0\1\0a\0\x96\2\0\x08\0\x9A\1\0\0"sv, "",
     16 * NB_LINKS},
    {"feeds: items", read_feed, "<rss>", "<item><link>/#</link></item>"},
    {"feeds: depth", read_feed, "<rss>", "<item>"},
    {"feeds: broken depth", read_feed, "<rss>", "<item><link>/", "", MENDED_BYTES},
    {"feeds: broken items", read_feed, "<rss>", "<item><link>/#</lin></item>", "", MENDED_BYTES},
    {"feeds: types", read_feed, "", "<!DOCTYPE [<!--"},
    {"feeds: open types", read_feed, "", "<!DOCTYPE [\"'"},
    {"feeds: an open tag", read_feed, "<rss><item a=\"", "x>"},
    {"feeds: attributes", read_feed, "<rss><item", " a#='b'", ">"},
    {"feeds: references", read_feed, "<rss>", "&x;&amp;&", "</rss>"},
    {"feeds: open references", read_feed, "<rss>", "&aaaaaaaaaaaaaaaaaaaaaaaaaaaaaa"},
    {"feeds: character data", read_feed, "<rss><item><link>", "<![CDATA[a]]>"},
    {"feeds: instructions", read_feed, "<rss>", "<?a "},
    {"robots: rules", read_robots, "User-agent: *\n", "Disallow: /#\n", "", 500'000},
    {"robots: groups", read_robots, "", "User-agent: *\n"},
    {"robots: one line", read_robots, "User-agent: *\n", "Disallow: /"},
};

std::string build_document(const family& kind, size_t nb_bytes) {
  std::string document(kind.head);
  const size_t at = kind.piece.find('#');
  for (size_t i = 0; document.size() < nb_bytes; ++i) {
    document.append(kind.piece.substr(0, at));
    if (at == std::string_view::npos) continue;
    document.append(std::to_string(1'000'000 + i)).append(kind.piece.substr(at + 1));
  }
  return document.append(kind.tail);
}

double get_cpu_seconds() {
  struct timespec now {};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

double measure(workbench& bench, const family& kind, std::string_view document, int nb_times) {
  const double start = get_cpu_seconds();
  for (int i = 0; i < nb_times; ++i) kind.read(bench, document);
  return get_cpu_seconds() - start;
}

// How many readings are long enough to be measured.
int choose_times(workbench& bench, const family& kind, std::string_view document) {
  int nb_times = 1;
  while (measure(bench, kind, document, nb_times) < SHORTEST_SECONDS) nb_times *= 2;
  return nb_times;
}

}  // namespace

int main() {
  // What is wrong with each document is said there, thousands of times.
  if (std::freopen("/dev/null", "w", stderr) == nullptr) return 1;
  // Memory stays with the process: a length from which on it goes back to the system after every
  // document would look like growth.
  mallopt(M_MMAP_THRESHOLD, 1 << 30);
  mallopt(M_TRIM_THRESHOLD, INT_MAX);
  workbench bench;
  set_script_fetcher_link_context(*bench.all, bench.script_fetcher.get());
  bool is_bounded = true;
  for (const family& kind : FAMILIES) {
    const std::string one = build_document(kind, kind.nb_bytes);
    const std::string two = build_document(kind, 2 * kind.nb_bytes);
    const int nb_times = choose_times(bench, kind, one);
    double best_one = 1e9;
    double best_two = 1e9;
    for (int i = 0; i < NB_ROUNDS; ++i) {
      best_one = std::min(best_one, measure(bench, kind, one, nb_times));
      best_two = std::min(best_two, measure(bench, kind, two, nb_times));
    }
    const double ratio = best_two / best_one;
    std::printf("%-30s %8.2f ms %8.2f ms %6.2f%s\n", kind.name, best_one * 1e3 / nb_times,
                best_two * 1e3 / nb_times, ratio, ratio > MAX_RATIO ? "  TOO MUCH" : "");
    is_bounded = is_bounded && ratio <= MAX_RATIO;
  }
  return is_bounded ? 0 : 1;
}
