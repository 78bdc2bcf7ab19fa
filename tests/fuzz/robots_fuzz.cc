// Rules forbid what a plain reading of the file forbids, line after line and rule after rule.
#include <algorithm>
#include <string>
#include <vector>

#include "crawler/fetch/robots_rules.h"
#include "tests/fuzz/fuzz_law.h"
#include "wkstd/text.h"

namespace wk {
namespace {

using lines = std::vector<std::string>;

lines split_lines(std::string text) {
  lines all(1);
  lower_text(text);
  for (const char c : text) {
    if (c == '\r' || c == '\n') {
      all.emplace_back();
    } else {
      all.back() += c;
    }
  }
  return all;
}

bool holds(const std::string& line, std::string_view part) {
  return line.find(part) != std::string::npos;
}

lines read_rules_slowly(const lines& file, std::string_view agent) {
  const auto is_head = [](const std::string& line) { return line.starts_with("user-agent"); };
  auto head = std::find_if(file.begin(), file.end(), [&](const std::string& line) {
    return is_head(line) && !agent.empty() && holds(line, agent);
  });
  for (auto at = file.begin(); head == file.end() && at != file.end(); ++at) {
    if (is_head(*at) && holds(*at, "*") && std::none_of(at + 1, file.end(), [&](const auto& line) {
          return is_head(line) && holds(line, "*");
        })) {
      head = at;
    }
  }
  lines rules;
  for (auto at = head; at != file.end() && ++at != file.end() && !is_head(*at);) {
    if (!at->starts_with("disallow:")) continue;
    const size_t slash = at->find('/');
    if (slash == std::string::npos) return {};
    const size_t end = at->find_first_of(" \t", slash);
    rules.push_back("http://h.test" + at->substr(slash, end - slash));
  }
  return rules;
}

}  // namespace

void test_one_input(std::string_view bytes) {
  const std::string agent = build_robots_agent(take_part(bytes));
  const std::string url = "http://h.test" + std::string(take_part(bytes));
  const lines expected = read_rules_slowly(split_lines(std::string(bytes)), agent);
  std::string text(bytes);
  const robots_rules_ptr rules = robots_parse(text, "h.test", agent);
  require_law((rules == nullptr) == expected.empty(), "rules exist when a group has some");
  if (rules == nullptr) return;
  const bool forbidden = std::any_of(expected.begin(), expected.end(), [&](const auto& rule) {
    return std::string_view(url).starts_with(rule);
  });
  require_law(rules->nb_rules == expected.size(), "every rule is counted");
  require_law(robots_match(*rules, url) == (forbidden ? 0 : 1), "both readings forbid the same");
}

}  // namespace wk
