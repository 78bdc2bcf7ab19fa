#include "crawler/fetch/robots_rules.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <string_view>
#include <tuple>

namespace wk {
namespace {

using namespace std::string_literals;

// The paths that are kept, each followed by a blank; "none" without rules.
std::string read_paths(std::string text) {
  const robots_rules_ptr rules = robots_parse(text, "h.test:81", "bot");
  if (rules == nullptr) return "none";
  std::string paths;
  for (size_t i = 0; i < rules->ends.size(); ++i) {
    paths.append(get_path_robots_rules(*rules, i)).append(" ");
  }
  return paths;
}

std::string repeat(std::string_view piece, size_t nb_bytes) {
  std::string text;
  while (text.size() < nb_bytes) text += piece;
  return text;
}

// What the vectors of RFC 9309 (robots_rfc_test.cc) do not ask for. Work that grew with the square
// of the large files would outlast any time limit of a test run.
TEST(robots_parse, reads_any_file) {
  constexpr size_t SIZE = 5'000'000;
  const std::string a_rule = "User-agent: *\nDisallow: /x\n";
  std::mt19937 random(2);
  std::string noise(SIZE, '\0');
  std::generate(noise.begin(), noise.end(), [&random] { return static_cast<char>(random()); });
  const std::tuple<const char*, std::string, std::string> cases[] = {
      {"empty", "", "none"},
      {"last of all agents", "User-agent: *\nDisallow: /a\nUser-agent: *\nDisallow: /b", "/b "},
      {"own name anywhere", "User-agent: a-BOT-1 *\nDisallow: /a\nUser-agent: *\n", "/a "},
      {"star anywhere", "User-agent: x # all*\nDisallow: /a\n", "/a "},
      {"head without colon", "user-agents are *\nDisallow: /a\n", "/a "},
      {"head with a blank before", " User-agent: *\nDisallow: /a\n", "none"},
      {"empty own group", "User-agent: *\nDisallow: /a\nUser-agent: bot", "none"},
      {"empty lines", "User-agent: *\r\n\r\nDisallow: /a\r\r\n\nDisallow: /b", "/a /b "},
      {"byte order mark", "\xef\xbb\xbfUser-agent: *\nDisallow: /a\n", "none"},
      {"comment at the path", a_rule + "Disallow: /y#note", "/x /y#note "},
      {"tab ends", a_rule + "Disallow:\t/y\tz", "/x /y "},
      {"blank before the word", a_rule + " Disallow: /y", "/x "},
      {"path behind noise", a_rule + "Disallow: *z/y", "/x /y "},
      {"empty drops the group", a_rule + "Disallow:\nDisallow: /y", "none"},
      {"no path drops it too", a_rule + "Disallow: *.gif$", "none"},
      {"empty of the next group", a_rule + "User-agent: z\nDisallow:", "/x "},
      {"covered and repeated", a_rule + "Disallow: /x\nDisallow: /xy\nDisallow: /b", "/b /x "},
      {"bytes beyond ASCII", a_rule + "Disallow: /\xc3\x84", "/x /\xc3\x84 "},
      {"zero bytes", a_rule + "Disallow: /a\0b\n\0Disallow: /c\n"s, "/a\0b /x "s},
      {"one line", std::string(SIZE, 'a'), "none"},
      {"noise", a_rule + noise, "/x "},
      {"only line feeds", std::string(SIZE, '\n'), "none"},
      {"only heads", repeat("User-agent: *\n", SIZE), "none"},
      {"nearly the name", a_rule + "user-agent" + repeat("bo", SIZE), "/x "},
      {"rules that cover each other", a_rule + repeat("Disallow: /x\nDisallow: /xx\n", SIZE),
       "/x "},
      {"a path without an end", "User-agent: *\nDisallow: /" + std::string(SIZE, 'a'), "none"},
  };
  for (const auto& [name, text, paths] : cases) EXPECT_EQ(read_paths(text), paths) << name;
}

TEST(robots_match, compares_the_bytes_of_the_url) {
  std::string text = "User-agent: *\nDisallow: /private\n";
  const robots_rules_ptr rules = robots_parse(text, "Host:80", "");
  ASSERT_NE(rules, nullptr);
  EXPECT_EQ(robots_match(*rules, "http://Host:80/private2"), 0);
  for (const char* url : {"http://Host:80/privat", "http://Host:80", "http://Host:800/private",
                          "http://host:80/private", "HTTP://Host:80/private", "",
                          "https://Host:80/private", "http://Host:80//private"}) {
    EXPECT_EQ(robots_match(*rules, url), 1) << url;
  }
}

TEST(robots_match, finds_each_of_many_rules_and_no_more_than_are_kept) {
  std::string text = "User-agent: *\n";
  for (size_t i = 0; i < ROBOTS_MAX_RULES + 10; ++i)
    text += "Disallow: /" + std::to_string(i) + "/\n";
  const robots_rules_ptr many = robots_parse(text, "h", "bot");
  ASSERT_NE(many, nullptr);
  for (size_t i = 0; i < ROBOTS_MAX_RULES + 10; ++i) {
    const std::string url = "http://h/" + std::to_string(i);
    ASSERT_EQ(robots_match(*many, url + "/x"), i < ROBOTS_MAX_RULES ? 0 : 1) << i;
    ASSERT_EQ(robots_match(*many, url), 1) << i;
  }
  const std::string half(ROBOTS_MAX_RULE_BYTES / 2 - 2, 'a');
  text = "User-agent: *\nDisallow: /b" + half + "\nDisallow: /c" + half + "\nDisallow: /d\n";
  const robots_rules_ptr large = robots_parse(text, "h", "bot");
  ASSERT_NE(large, nullptr);
  EXPECT_EQ(large->paths.size(), ROBOTS_MAX_RULE_BYTES);
}

TEST(build_robots_agent, takes_the_product_token) {
  for (const char* text : {"Crawl-Er_2/1.0 (+http://x.test/)", "Crawl-ER_2 x", "crawl-er_2(x)",
                           "crawl-er_2\tx", "crawl-er_2"}) {
    EXPECT_EQ(build_robots_agent(text), "crawl-er_2");
  }
  EXPECT_EQ(build_robots_agent(" Crawl"), "");
}

}  // namespace
}  // namespace wk
