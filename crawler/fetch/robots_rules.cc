#include "crawler/fetch/robots_rules.h"

#include <algorithm>
#include <vector>

#include "wkstd/text.h"

namespace wk {
namespace {

constexpr std::string_view GROUP_HEAD = "user-agent";
constexpr std::string_view DISALLOW = "disallow:";
constexpr std::string_view SCHEME = "http://";

// Cuts the first line off text. A CR LF pair gives an empty line, which means nothing.
std::string_view take_line(std::string_view& text) {
  const size_t end = std::min(text.find('\n'), text.size());
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return line;
}

void unify_text(std::string& text) {
  for (char& c : text) c = c == '\r' ? '\n' : to_lower(c);
}

// The lines behind the head of the agent's group, to the end of the file. False without a group.
bool find_group(std::string_view text, std::string_view agent, std::string_view& group) {
  bool has_group = false;
  while (!text.empty()) {
    const std::string_view line = take_line(text);
    if (!line.starts_with(GROUP_HEAD)) continue;
    if (!agent.empty() && line.find(agent) != std::string_view::npos) {
      group = text;
      return true;
    }
    if (line.find('*') == std::string_view::npos) continue;
    group = text;
    has_group = true;
  }
  return has_group;
}

// The paths of a group's Disallow lines, as views into it. None when one of the lines has no path.
std::vector<std::string_view> read_group(std::string_view group) {
  std::vector<std::string_view> paths;
  while (!group.empty()) {
    const std::string_view line = take_line(group);
    if (line.starts_with(GROUP_HEAD)) break;
    if (!line.starts_with(DISALLOW)) continue;
    const size_t slash = line.find('/', DISALLOW.size());
    if (slash == std::string_view::npos) return {};
    const std::string_view path = line.substr(slash);
    paths.push_back(path.substr(0, path.find_first_of(" \t")));
  }
  return paths;
}

}  // namespace

std::string build_robots_agent(std::string_view user_agent) {
  std::string agent;
  for (const char c : user_agent) {
    if (c == '/' || c == '(' || is_blank(static_cast<unsigned char>(c))) break;
    agent += to_lower(c);
  }
  return agent;
}

robots_rules_ptr robots_parse(std::string& text, std::string_view host, std::string_view agent) {
  unify_text(text);
  std::string_view group;
  if (!find_group(text, agent, group)) return nullptr;
  std::vector<std::string_view> paths = read_group(group);
  if (paths.empty()) return nullptr;

  auto rules = std::make_unique<robots_rules>();
  rules->nb_rules = static_cast<uint32_t>(paths.size());
  rules->site.append(SCHEME).append(host);
  rules->paths = build_robots_paths(paths);
  return rules;
}

int robots_match(const robots_rules& rules, std::string_view url) {
  if (rules.paths == nullptr) return 0;
  if (!url.starts_with(rules.site)) return 1;
  return is_covered_robots_paths(*rules.paths, url.substr(rules.site.size())) ? 0 : 1;
}

}  // namespace wk
