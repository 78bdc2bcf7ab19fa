#include "crawler/fetch/robots_rules.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace wk {
namespace {

using namespace std::string_literals;

// The paths that are kept, each followed by a blank; "none" without rules.
std::string read_paths(std::string text, std::string_view agent = "bot") {
  const robots_rules_ptr rules = robots_parse(text, "h.test:81", agent);
  if (rules == nullptr) return "none";
  EXPECT_EQ(rules->site, "http://h.test:81");
  std::string paths;
  for (size_t i = 0; i < rules->ends.size(); ++i) {
    paths.append(get_path_robots_rules(*rules, i)).append(" ");
  }
  return paths;
}

TEST(robots_parse, chooses_one_group) {
  const std::tuple<const char*, std::string, const char*> cases[] = {
      {"empty", "", "none"},
      {"no group", "Disallow: /a\n", "none"},
      {"all agents", "User-agent: *\nDisallow: /a\n", "/a "},
      {"another agent", "User-agent: other\nDisallow: /a\n", "none"},
      {"own group first", "User-agent: bot\nDisallow: /a\nUser-agent: *\nDisallow: /b\n", "/a "},
      {"own group last", "User-agent: *\nDisallow: /b\nUser-agent: bot\nDisallow: /a\n", "/a "},
      {"first own group", "User-agent: bot\nDisallow: /a\nUser-agent: bot\nDisallow: /b", "/a "},
      {"last of all agents", "User-agent: *\nDisallow: /a\nUser-agent: *\nDisallow: /b", "/b "},
      {"own name anywhere", "User-agent: a-BOT-1 *\nDisallow: /a\nUser-agent: *\n", "/a "},
      {"star anywhere", "User-agent: x # all*\nDisallow: /a\n", "/a "},
      {"head without colon", "user-agents are *\nDisallow: /a\n", "/a "},
      {"head with a blank before", " User-agent: *\nDisallow: /a\n", "none"},
      {"two heads", "User-agent: bot\nUser-agent: x\nDisallow: /a\n", "none"},
      {"two heads, second", "User-agent: x\nUser-agent: bot\nDisallow: /a\n", "/a "},
      {"empty own group", "User-agent: *\nDisallow: /a\nUser-agent: bot", "none"},
      {"empty lines inside", "User-agent: *\r\n\r\nDisallow: /a\r\r\n\nDisallow: /b", "/a /b "},
      {"upper case", "USER-AGENT: *\nDISALLOW: /A\n", "/a "},
      {"byte order mark", "\xef\xbb\xbfUser-agent: *\nDisallow: /a\n", "none"},
  };
  for (const auto& [name, text, paths] : cases) EXPECT_EQ(read_paths(text), paths) << name;

  EXPECT_EQ(read_paths("User-agent: bot\nDisallow: /a\nUser-agent: *\nDisallow: /b", ""), "/b ");
  EXPECT_EQ(read_paths("User-agent: x\nDisallow: /a", "agent"), "/a ") << "the head's own word";
}

TEST(robots_parse, reads_the_lines_of_a_group) {
  const std::tuple<const char*, std::string, std::string> cases[] = {
      {"comment behind a blank", "Disallow: /x # note", "/x "},
      {"comment at the path", "Disallow: /x#note", "/x#note "},
      {"tab ends", "Disallow:\t/x\ty", "/x "},
      {"no blank", "Disallow:/x", "/x "},
      {"blank before the colon", "Disallow : /x\nDisallow: /y", "/y "},
      {"blank before the word", " Disallow: /x\nDisallow: /y", "/y "},
      {"path behind noise", "Disallow: *x/y", "/y "},
      {"whole URL", "Disallow: http://h.test/x", "//h.test/x "},
      {"path of a comment", "Disallow: # /x", "/x "},
      {"empty drops the group", "Disallow: /x\nDisallow:", "none"},
      {"empty before drops it too", "Disallow:\nDisallow: /x", "none"},
      {"no path drops it too", "Disallow: /x\nDisallow: *.gif$\nDisallow: /y", "none"},
      {"empty of the next group", "Disallow: /x\nUser-agent: z\nDisallow:", "/x "},
      {"other lines", "Allow: /a\n#Disallow: /b\nCrawl-delay: 1\nSitemap: /s\nDisallow: /x", "/x "},
      {"covered and repeated", "Disallow: /b\nDisallow: /ab\nDisallow: /a\nDisallow: /b", "/a /b "},
      {"bytes beyond ASCII", "Disallow: /\xc3\x84\nDisallow: /z", "/z /\xc3\x84 "},
      {"zero bytes", "Disallow: /a\0b\n\0Disallow: /c\n"s, "/a\0b "s},
  };
  for (const auto& [name, lines, paths] : cases) {
    EXPECT_EQ(read_paths("User-agent: *\n" + lines), paths) << name;
  }
}

TEST(robots_match, compares_the_beginning_of_the_url) {
  std::string text = "User-agent: *\nDisallow: /private\nDisallow: /a?b\n";
  const robots_rules_ptr rules = robots_parse(text, "Host:8080", "bot");
  ASSERT_NE(rules, nullptr);
  const std::tuple<const char*, int> cases[] = {
      {"http://Host:8080/private", 0},  {"http://Host:8080/private/x", 0},
      {"http://Host:8080/private2", 0}, {"http://Host:8080/privat", 1},
      {"http://Host:8080/public", 1},   {"http://Host:8080/Private", 1},
      {"http://Host:8080/a?b=1", 0},    {"http://Host:8080/a", 1},
      {"http://Host:8080", 1},          {"http://Host:80800/private", 1},
      {"http://host:8080/private", 1},  {"HTTP://Host:8080/private", 1},
      {"https://Host:8080/private", 1}, {"http://Host:8080/%70rivate", 1},
      {"http://Host:8080//private", 1}, {"", 1},
  };
  for (const auto& [url, answer] : cases) EXPECT_EQ(robots_match(*rules, url), answer) << url;
  EXPECT_EQ(robots_match(robots_rules{}, "http://h/"), 0);
}

// The plain reading of the same rules: each one, in the order of the file.
int match_one_by_one(const std::vector<std::string>& paths, std::string_view path) {
  return std::none_of(paths.begin(), paths.end(),
                      [path](const std::string& rule) { return path.starts_with(rule); })
             ? 1
             : 0;
}

TEST(robots_match, gives_the_answer_of_all_rules_compared_one_by_one) {
  std::mt19937 random(1);
  const auto make_path = [&random] {
    std::string path = "/";
    for (uint64_t n = random() % 7; n > 0; --n) path += "ab\xff/"[random() % 4];
    return path;
  };
  uint32_t nb_refused = 0;
  for (int file = 0; file < 300; ++file) {
    std::vector<std::string> paths;
    std::string text = "User-agent: *\n";
    for (uint64_t n = 1 + random() % 20; n > 0; --n) {
      std::string path = make_path();
      if (path.size() == 1) path += 'b';  // "/" alone forbids everything
      text += "Disallow: " + path + "\n";
      paths.push_back(std::move(path));
    }
    const robots_rules_ptr rules = robots_parse(text, "h", "bot");
    ASSERT_NE(rules, nullptr);
    EXPECT_EQ(rules->nb_rules, paths.size());
    for (int question = 0; question < 100; ++question) {
      const std::string path = make_path();
      const int answer = match_one_by_one(paths, path);
      nb_refused += answer == 0 ? 1 : 0;
      ASSERT_EQ(robots_match(*rules, "http://h" + path), answer) << text << path;
    }
  }
  EXPECT_GT(nb_refused, 3'000u);
  EXPECT_LT(nb_refused, 27'000u);
}

std::string repeat(std::string_view piece, size_t nb_bytes) {
  std::string text;
  while (text.size() < nb_bytes) text += piece;
  return text;
}

TEST(robots_parse, reads_hostile_files) {
  constexpr size_t SIZE = 5'000'000;
  const std::string head = "User-agent: *\n";
  std::mt19937 random(2);
  std::string noise(SIZE, '\0');
  std::generate(noise.begin(), noise.end(), [&random] { return static_cast<char>(random()); });

  const std::tuple<const char*, std::string, size_t> cases[] = {
      {"one line", std::string(SIZE, 'a'), 0},
      {"noise", noise, 0},
      {"noise in a group", head + "Disallow: /x\n" + noise, 1},
      {"only line feeds", std::string(SIZE, '\n'), 0},
      {"only heads", repeat("User-agent: *\n", SIZE), 0},
      {"nearly the agent's name", head + "Disallow: /x\nuser-agent" + repeat("bo", SIZE), 1},
      {"one rule over and over", head + repeat("Disallow: /x\n", SIZE), 1},
      {"rules that cover each other", head + repeat("Disallow: /x\nDisallow: /xx\n", SIZE), 1},
      {"a path without an end", head + "Disallow: /" + std::string(SIZE, 'a'), 0},
      {"a long path", head + "Disallow: /" + std::string(SIZE / 2, 'a'), 1},
      {"an empty path behind all", head + repeat("Disallow: /x\n", SIZE) + "Disallow:", 0},
  };
  for (const auto& [name, text, nb_kept] : cases) {
    std::string copy = text;
    const robots_rules_ptr rules = robots_parse(copy, "h", "bot");
    EXPECT_EQ(rules == nullptr ? 0 : rules->ends.size(), nb_kept) << name;
  }
}

TEST(robots_parse, keeps_the_first_rules_of_a_file_without_end) {
  std::string text = "User-agent: *\n";
  for (size_t i = 0; i < ROBOTS_MAX_RULES + 10; ++i) {
    text += "Disallow: /" + std::to_string(i) + "/\n";
  }
  const robots_rules_ptr many = robots_parse(text, "h", "bot");
  ASSERT_NE(many, nullptr);
  EXPECT_EQ(many->nb_rules, ROBOTS_MAX_RULES);
  EXPECT_EQ(many->ends.size(), ROBOTS_MAX_RULES);
  for (const size_t i : {size_t{0}, size_t{1}, size_t{54'321}, ROBOTS_MAX_RULES - 1}) {
    EXPECT_EQ(robots_match(*many, "http://h/" + std::to_string(i) + "/x"), 0) << i;
    EXPECT_EQ(robots_match(*many, "http://h/" + std::to_string(i)), 1) << i;
  }
  EXPECT_EQ(robots_match(*many, "http://h/" + std::to_string(ROBOTS_MAX_RULES) + "/"), 1);

  const std::string half(ROBOTS_MAX_RULE_BYTES / 2 - 2, 'a');
  text = "User-agent: *\nDisallow: /b" + half + "\nDisallow: /c" + half + "\nDisallow: /d\n";
  const robots_rules_ptr large = robots_parse(text, "h", "bot");
  ASSERT_NE(large, nullptr);
  EXPECT_EQ(large->paths.size(), ROBOTS_MAX_RULE_BYTES);
  EXPECT_EQ(robots_match(*large, "http://h/d"), 1);
}

TEST(build_robots_agent, takes_the_product_token) {
  const std::tuple<const char*, const char*> cases[] = {
      {"", ""},
      {"Crawl", "crawl"},
      {"Crawl-Er_2/1.0 (+http://x.test/)", "crawl-er_2"},
      {"Crawl Er/1.0", "crawl"},
      {"Crawl(x)", "crawl"},
      {"Crawl\tx", "crawl"},
      {" Crawl", ""},
      {"(x) Crawl", ""},
  };
  for (const auto& [user_agent, agent] : cases) EXPECT_EQ(build_robots_agent(user_agent), agent);
}

}  // namespace
}  // namespace wk
