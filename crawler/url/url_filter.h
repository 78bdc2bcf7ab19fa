// Which URLs may be crawled: a white list and a black list of patterns.
//
// A URL is allowed when some restricted pattern matches the whole of it, or there is none, and no
// excluded pattern does. All patterns of one side are one automaton. Threads: spiders test while an
// operator adds; an addition compiles beside them and then takes the write lock only to exchange
// the side's automaton, so a test sees the old one or the new one and never waits for a compile.
#pragma once

#include <cstdint>
#include <mutex>
#include <shared_mutex>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "wkfs/pattern_automaton.h"

namespace wk {

enum url_filter_side : uint32_t { URL_FILTER_RESTRICTED = 0, URL_FILTER_EXCLUDED = 1 };

// How an entry becomes a pattern.
enum url_filter_kind : uint32_t {
  URL_FILTER_URL = 0,        // the URL begins with a match of the entry
  URL_FILTER_EXTENSION = 1,  // the URL ends in "." and the entry, or a query follows
  URL_FILTER_REGEX = 2,      // the entry matches the whole URL
};

struct url_filter {
  struct side {
    std::vector<std::string> patterns;  // guarded by change_lock
    pattern_automaton_ptr automaton;    // guarded by lock; null: the side is empty
  };
  std::mutex change_lock;  // one addition at a time; taken before lock
  mutable std::shared_mutex lock;
  side sides[2];
};

// Adds what compiles of entries; the number of entries added. A list is compiled once.
uint32_t add_list_url_filter(url_filter& filter, url_filter_side side, url_filter_kind kind,
                             std::span<const std::string> entries);
// 1 when added, 0 when the entry does not compile.
uint32_t add_url_filter(url_filter& filter, url_filter_side side, url_filter_kind kind,
                        const std::string& entry);

[[nodiscard]] bool is_allowed_url_filter(const url_filter& filter, std::string_view url);

// The filter as it stands, for many tests with one look at the lock. Later additions are not seen.
struct url_filter_state {
  pattern_automaton_ptr restricted;
  pattern_automaton_ptr excluded;
};
[[nodiscard]] url_filter_state get_state_url_filter(const url_filter& filter);
[[nodiscard]] bool is_allowed_url_filter(const url_filter_state& state, std::string_view url);

// Image (encoding of wkstd/state_stream.h): the integer 1; for each side, restricted first, the
// number of automata (0 or 1) and for an automaton its number of patterns and each as a string.
void save_url_filter(url_filter& filter, std::string& stream);
// Replaces the patterns. False, and the filter is unchanged, for bytes that are no image.
[[nodiscard]] bool load_url_filter(std::string_view& stream, url_filter& filter);

}  // namespace wk
