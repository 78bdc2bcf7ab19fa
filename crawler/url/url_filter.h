// Which URLs may be crawled: a white list and a black list of patterns.
//
// A URL is allowed when some restricted pattern matches the whole of it, or there is none, and no
// excluded pattern does. All patterns of one side are one set. Threads: spiders test while an
// operator adds; an addition builds beside them and then takes the write lock only to exchange the
// side's set, so a test sees the old one or the new one and never waits for a build.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "wkfs/pattern_set.h"

namespace wk {

enum url_filter_side : uint32_t { URL_FILTER_RESTRICTED = 0, URL_FILTER_EXCLUDED = 1 };

// How an entry becomes a pattern.
enum url_filter_kind : uint32_t {
  URL_FILTER_URL = 0,        // the URL begins with a match of the entry
  URL_FILTER_EXTENSION = 1,  // the URL ends in "." and the entry, or a query follows
  URL_FILTER_REGEX = 2,      // the entry matches the whole URL
};

// True when the entry is a pattern by itself. fault, when not null, receives the reason when not.
[[nodiscard]] bool is_valid_url_filter_entry(url_filter_kind kind, const std::string& entry,
                                             std::string* fault = nullptr);

using pattern_set_ptr = std::shared_ptr<const pattern_set>;

struct url_filter {
  struct side {
    std::vector<listed_pattern> patterns;  // guarded by change_lock
    pattern_set_ptr set;                   // guarded by lock; null: the side is empty
  };
  std::mutex change_lock;  // one addition at a time; taken before lock
  mutable std::shared_mutex lock;
  side sides[2];
};

// Adds the entries that are valid and counts them. False, and the filter is as it was, when these
// can't be built together with what is there, or stop (may be null) was set meanwhile.
[[nodiscard]] bool add_list_url_filter(url_filter& filter, url_filter_side side,
                                       url_filter_kind kind, std::span<const std::string> entries,
                                       uint32_t& nb_added,
                                       const std::atomic<uint32_t>* stop = nullptr);
// 1 when added, 0 when the entry is not valid or can't be built.
uint32_t add_url_filter(url_filter& filter, url_filter_side side, url_filter_kind kind,
                        const std::string& entry);

[[nodiscard]] bool is_allowed_url_filter(const url_filter& filter, std::string_view url);

// The filter as it stands, for many tests with one look at the lock. Later additions are not seen.
struct url_filter_state {
  pattern_set_ptr restricted;
  pattern_set_ptr excluded;
};
[[nodiscard]] url_filter_state get_state_url_filter(const url_filter& filter);
[[nodiscard]] bool is_allowed_url_filter(const url_filter_state& state, std::string_view url);

// Image (encoding of wkstd/state_stream.h): the integer 1; for each side, restricted first, the
// number of sets (0 or 1) and for a set its number of patterns and each as a string.
void save_url_filter(url_filter& filter, std::string& stream);
// Replaces the patterns. False, and the filter is unchanged, for bytes that are no image.
[[nodiscard]] bool load_url_filter(std::string_view& stream, url_filter& filter);

}  // namespace wk
