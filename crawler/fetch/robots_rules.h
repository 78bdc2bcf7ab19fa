// What one host's robots.txt forbids to one agent: reading the file, and asking it about a URL.
//
// A rule is the beginning of URLs that may not be fetched: "http://", the host and the path of a
// Disallow line. The way of reading is older and plainer than RFC 9309; what stands here holds:
//
//   - The whole file is read in lower case, so "/A" is a rule for "/a" and none for "/A".
//   - A line that begins with "user-agent", colon or not, heads a group. The first head that holds
//     the agent's name anywhere is chosen; without one, the last head that holds a "*".
//   - The group ends at the next head. Two heads in a row leave the first one an empty group.
//   - "disallow:" counts at the beginning of a line only. The path runs from the first "/" behind
//     it to a space, a tab or the end of the line; a "#" without a space before it belongs to it.
//   - A Disallow line without any "/" drops its whole group, whatever other lines say.
//   - All other lines mean nothing: Allow, comments, Crawl-delay, Sitemap. There are no wildcards.
//
// A file holds bytes: a zero byte or any other noise is a byte of its line. Reading takes time
// linear in the file's length plus the sorting of its rules, and meanwhile 16 bytes of memory for
// each rule. All rules count; a group with more of them than can be kept (robots_paths.h) forbids
// everything.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "crawler/fetch/robots_paths.h"

namespace wk {

// Any match forbids, so neither the order of the rules nor a rule that a shorter one covers makes a
// difference.
struct robots_rules {
  std::string site;        // "http://" and the host: how every rule begins
  robots_paths_ptr paths;  // null: more than can be kept
  uint32_t nb_rules = 0;   // as the file states them, covered ones too
};
using robots_rules_ptr = std::unique_ptr<robots_rules>;

// The name that robots files know a crawler by: its User-Agent up to the first "/", blank or "(",
// in lower case.
[[nodiscard]] std::string build_robots_agent(std::string_view user_agent);

// Null when nothing is forbidden: no group, an empty one, or one that was dropped. agent is in
// lower case; an empty one is named by no group. text is changed.
[[nodiscard]] robots_rules_ptr robots_parse(std::string& text, std::string_view host,
                                            std::string_view agent);

// 0 when url begins with one of the rules, 1 otherwise; 0 for a list without paths.
[[nodiscard]] int robots_match(const robots_rules& rules, std::string_view url);

}  // namespace wk
