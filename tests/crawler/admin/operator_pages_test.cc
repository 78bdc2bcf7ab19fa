#include "crawler/admin/operator_pages.h"

#include <gtest/gtest.h>
#include <re2/re2.h>

#include <map>
#include <set>
#include <string>
#include <tuple>

#include "crawler/admin/crawl_figures.h"
#include "crawler/admin/live_files.h"
#include "crawler/admin/live_page.h"
#include "crawler/admin/metrics_page.h"
#include "crawler/admin/status_page.h"
#include "tests/crawler/core/built_crawler.h"
#include "tests/support/child_process.h"

namespace wk {
namespace {

crawl_facts build_some_facts() {
  crawl_facts facts;
  facts.nb_spiders = 4;
  facts.uptime_us = 90'500'000;
  facts.counts.fetches = {1, 2, 30, 4, 5, 6};
  facts.nb_fetches = 48;
  facts.counts.fetch_times[0] = 40;
  facts.counts.fetch_times[5] = 5;
  facts.counts.fetch_times[NB_FETCH_TIME_CLASSES - 1] = 3;
  facts.counts.fetch_time_us = 123'456'789;
  facts.counts.spiders[SPIDER_FETCHING] = 4;
  facts.quota.has_page_limit = true;
  facts.quota.page_limit = 7;
  return facts;
}

// The text exposition format, version 0.0.4, as strictly as its documents put it: what is not
// allowed there fails the test.
struct exposition {
  std::map<std::string, std::string> types;
  std::map<std::string, double> samples;  // by name and labels as they stand
};

void read_comment(const std::string& kind, const std::string& metric, const std::string& text,
                  exposition& read, std::set<std::string>& helped) {
  if (kind == "HELP") {
    EXPECT_TRUE(helped.insert(metric).second) << "a second HELP for " << metric;
    return;
  }
  EXPECT_TRUE(read.types.emplace(metric, text).second) << "a second TYPE for " << metric;
  EXPECT_TRUE(text == "counter" || text == "gauge" || text == "histogram") << text;
  EXPECT_TRUE(helped.contains(metric)) << metric << " without HELP";
}

void read_sample(const std::string& line, const std::string& current, const std::string& name,
                 exposition& read) {
  const std::string type = read.types[current];
  EXPECT_EQ(type == "counter", name.ends_with("_total")) << line;
  if (type == "histogram") {
    EXPECT_TRUE(RE2::FullMatch(name, current + "_(bucket|sum|count)")) << line;
  } else {
    EXPECT_EQ(name, current) << line;
  }
  const size_t blank = line.rfind(' ');
  EXPECT_TRUE(read.samples.emplace(line.substr(0, blank), std::stod(line.substr(blank))).second)
      << "twice: " << line;
}

exposition read_exposition(const std::string& text) {
  static const RE2 comment("# (HELP|TYPE) (wkcrawler_[a-z_]+) ([^\\n\\\\]+)");
  const std::string label = "[a-z_]+=\"(?:[^\"\\\\\\n]|\\\\[\\\\\"n])*\"";
  static const RE2 sample("(wkcrawler_[a-z_]+)(?:\\{" + label + "(?:," + label +
                          ")*\\})? [0-9]+(?:\\.[0-9]+)?");
  exposition read;
  std::set<std::string> helped;
  std::string current;
  EXPECT_TRUE(text.ends_with('\n'));
  for (size_t at = 0; at < text.size();) {
    const size_t end = text.find('\n', at);
    const std::string line = text.substr(at, end - at);
    at = end + 1;
    std::string kind;
    std::string rest;
    std::string name;
    if (RE2::FullMatch(line, comment, &kind, &current, &rest)) {
      read_comment(kind, current, rest, read, helped);
    } else if (RE2::FullMatch(line, sample, &name)) {
      read_sample(line, current, name, read);
    } else {
      ADD_FAILURE() << "no line of the format: " << line;
    }
  }
  return read;
}

// Strict about both JSON and UTF-8. Prints as ASCII what an expression makes of the document.
constexpr const char* READ_JSON =
    "import json, sys\n"
    "d = json.loads(open(sys.argv[1], 'rb').read().decode('utf-8', 'strict'),"
    " parse_constant=lambda c: sys.exit('constant ' + c))\n"
    "print(ascii(eval(sys.argv[2])), end='')";

std::string read_json_member(const std::string& json, const std::string& member) {
  const temp_directory directory;
  const std::string path = directory.path + "/status.json";
  write_test_file(path, json);
  const program_result result =
      run_program_to_end({{"/usr/bin/env", "python3", "-c", READ_JSON, path, member}});
  EXPECT_EQ(result.exit_status, 0) << result.errors << json;
  return result.output;
}

TEST(metrics_page, is_strict_exposition_text) {
  std::string text;
  append_metrics(text, build_some_facts());
  exposition read = read_exposition(text);
  const std::tuple<const char*, double> expected[] = {
      {"wkcrawler_fetches_total{status=\"2xx\"}", 30},
      {"wkcrawler_fetches_total{status=\"none\"}", 1},
      {"wkcrawler_uptime_seconds", 90.5},
      {"wkcrawler_spiders{state=\"fetching\"}", 4},
      {"wkcrawler_quota_page_limit", 7},
      {"wkcrawler_fetch_seconds_bucket{le=\"0.005\"}", 40},
      {"wkcrawler_fetch_seconds_bucket{le=\"0.1\"}", 40},
      {"wkcrawler_fetch_seconds_bucket{le=\"2.5\"}", 45},
      {"wkcrawler_fetch_seconds_bucket{le=\"60\"}", 45},
      {"wkcrawler_fetch_seconds_bucket{le=\"+Inf\"}", 48},
      {"wkcrawler_fetch_seconds_count", 48},
      {"wkcrawler_fetch_seconds_sum", 123.456789},
  };
  for (const auto& [name, value] : expected) {
    ASSERT_TRUE(read.samples.contains(name)) << name;
    EXPECT_DOUBLE_EQ(read.samples[name], value) << name;
  }
  EXPECT_FALSE(read.types.contains("wkcrawler_quota_byte_limit")) << "there is no such quota";
}

TEST(status_page, is_json_with_every_figure) {
  std::string json;
  append_status(json, build_some_facts());
  EXPECT_EQ(read_json_member(json, "d['state']"), "'starting'");
  EXPECT_EQ(read_json_member(json, "d['fetches_5xx'], d['uptime_seconds'], d['quota_byte_limit']"),
            "(6, 90.5, None)");
  EXPECT_EQ(read_json_member(json,
                             "sum(c['fetches'] for c in d['fetch_times']['classes']), "
                             "d['fetch_times']['classes'][-1]['up_to_seconds']"),
            "(48, None)");
  EXPECT_EQ(read_json_member(json, "len(d)"), std::to_string(get_crawl_figures().size() + 3));
}

TEST(operator_pages, survive_hostile_profile_names) {
  const std::tuple<std::string, std::string, std::string> cases[] = {
      // the name, as Python reads it from JSON, in a label's quotes
      {"", "''", ""},
      {"</script><script>alert(1)</script>", "'</script><script>alert(1)</script>'",
       "</script><script>alert(1)</script>"},
      {"a\"b\\c'd", R"('a"b\\c\'d')", R"(a\"b\\c'd)"},
      {"two\nlines\r\t\x01\x7f", R"('two\nlines\r\t\x01\x7f')", "two\\nlines\r\t\x01\x7f"},
      {std::string("nul\0!", 5), R"('nul\x00!')", std::string("nul\0!", 5)},
      {"St\xc3\xa4\xe2\x82\xac\xf0\x9f\x95\xb7", R"('St\xe4\u20ac\U0001f577')",
       "St\xc3\xa4\xe2\x82\xac\xf0\x9f\x95\xb7"},
      {"cut \xe2\x82", R"('cut \xe2\x82')", "cut \xc3\xa2\xc2\x82"},
      {"overlong \xc0\xaf", R"('overlong \xc0\xaf')", "overlong \xc3\x80\xc2\xaf"},
      {"surrogate \xed\xa0\x80", R"('surrogate \xed\xa0\x80')",
       "surrogate \xc3\xad\xc2\xa0\xc2\x80"},
      {"beyond \xf4\x90\x80\x80", R"('beyond \xf4\x90\x80\x80')",
       "beyond \xc3\xb4\xc2\x90\xc2\x80\xc2\x80"},
      {"latin \xe4\xff", R"('latin \xe4\xff')", "latin \xc3\xa4\xc3\xbf"},
      {"{{script}} %s", "'{{script}} %s'", "{{script}} %s"},
  };
  for (const auto& [name, in_json, in_label] : cases) {
    SCOPED_TRACE(testing::PrintToString(name));
    crawl_facts facts = build_some_facts();
    facts.profile_name = name;
    std::string json;
    append_status(json, facts);
    EXPECT_EQ(read_json_member(json, "d['profile']"), in_json);
    std::string metrics;
    append_metrics(metrics, facts);
    EXPECT_EQ(
        read_exposition(metrics).samples.count("wkcrawler_info{profile=\"" + in_label + "\"}"), 1u);
    std::string html;
    append_live_page(html, facts, "the-nonce");
    EXPECT_EQ(html.find("<script>alert"), std::string::npos);
    EXPECT_EQ(html.find(LIVE_JS), html.rfind(LIVE_JS)) << "the name is no place to fill in";
  }
}

TEST(live_page, is_filled_in_and_asks_for_nothing_outside) {
  std::string html;
  append_live_page(html, build_some_facts(), "the-nonce");
  EXPECT_NE(html.find("<td data-figure=\"fetches_2xx\">30</td>"), std::string::npos);
  EXPECT_NE(html.find("<dd id=\"elapsed\">0:01:30</dd>"), std::string::npos);
  EXPECT_NE(html.find("id=\"byte-quota\" aria-labelledby=\"byte-quota-title\" hidden>"),
            std::string::npos);
  EXPECT_NE(html.find(LIVE_CSS), std::string::npos);
  // Under its policy no handler or style in an attribute works, and no element without the nonce.
  for (const char* outside : {"src=", " style=\"", " onclick=", "@import", "url(", "<script>",
                              "<style>", "href=\"http", "href=\"//"}) {
    EXPECT_EQ(html.find(outside), std::string::npos) << outside;
  }
  EXPECT_NE(draw_live_nonce(), draw_live_nonce());
}

TEST(operator_pages, are_found_by_their_whole_path_and_written_from_a_crawler) {
  const crawler_place place;
  const crawler_ptr crawler = build(place);
  const std::tuple<const char*, const char*> cases[] = {
      {"/metrics", "text/plain; version=0.0.4; charset=utf-8"},
      {"/status.json?x=/live", "application/json"},
      {"/live?", "text/html; charset=utf-8"},
      {"/metrics/", nullptr},
      {"/live2", nullptr},
      {"", nullptr},
  };
  for (const auto& [path, content_type] : cases) {
    SCOPED_TRACE(path);
    const operator_page* page = find_operator_page(path);
    ASSERT_EQ(page != nullptr, content_type != nullptr);
    if (page == nullptr) continue;
    http_response response;
    page->write(*crawler, {}, response);
    EXPECT_EQ(*find_http_headers(response.headers, "Content-Type"), content_type);
    EXPECT_FALSE(response.body.empty());
    const std::string* policy = find_http_headers(response.headers, "Content-Security-Policy");
    if (policy == nullptr) continue;
    std::string nonce;
    ASSERT_TRUE(RE2::PartialMatch(*policy, "script-src 'nonce-([A-Za-z0-9+/=]+)'", &nonce));
    EXPECT_NE(response.body.find("<script nonce=\"" + nonce + "\">"), std::string::npos);
  }
}

}  // namespace
}  // namespace wk
