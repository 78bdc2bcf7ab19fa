#include "crawler/url/url_filter.h"

#include <utility>

#include "wkfs/pattern_automaton.h"
#include "wkstd/state_stream.h"

namespace wk {
namespace {

constexpr uint32_t IMAGE_VERSION = 1;

std::string build_pattern(url_filter_kind kind, const std::string& entry) {
  switch (kind) {
    case URL_FILTER_URL:
      return entry + ".*";
    case URL_FILTER_EXTENSION:
      return ".*\\." + entry + "(?:\\?.*)?";
    case URL_FILTER_REGEX:
      break;
  }
  return entry;
}

bool read_entry(listed_pattern& pattern, url_filter_kind kind, const std::string& entry,
                std::string* fault) {
  if (!read_listed_pattern(pattern, build_pattern(kind, entry), fault)) return false;
  // An entry is to be a pattern by itself: one like "a)(b" would join with its tail into another.
  const bool is_literal = pattern.nb_steps == 0;
  return is_literal || kind == URL_FILTER_REGEX || measure_pattern(entry, fault) != 0;
}

bool is_set(const std::atomic<uint32_t>* stop) {
  return stop != nullptr && stop->load(std::memory_order_relaxed) != 0;
}

void exchange_set(url_filter& filter, url_filter_side which, pattern_set_ptr set) {
  const std::unique_lock<std::shared_mutex> hold(filter.lock);
  filter.sides[which].set.swap(set);  // the old one goes when the last test in it has ended
}

// Caller holds change_lock. The side's patterns from nb_before on are those that its set lacks;
// when they can't be built they go again.
bool build_added(url_filter& filter, url_filter_side which, size_t nb_before,
                 const std::atomic<uint32_t>* stop) {
  url_filter::side& side = filter.sides[which];
  if (side.patterns.size() == nb_before) return true;
  auto set = side.set == nullptr ? std::make_shared<pattern_set>()
                                 : std::make_shared<pattern_set>(*side.set);
  if (!extend_pattern_set(*set, side.patterns, stop)) {
    side.patterns.resize(nb_before);
    return false;
  }
  exchange_set(filter, which, std::move(set));
  return true;
}

// An empty side has no set.
bool take_side(std::string_view& stream, url_filter::side& side) {
  uint32_t nb_sets = 0;
  if (!take_u32(stream, nb_sets) || nb_sets > 1) return false;
  uint32_t nb_patterns = 0;
  if (nb_sets == 1 && !take_u32(stream, nb_patterns)) return false;
  for (uint32_t i = 0; i < nb_patterns; ++i) {
    std::string text;
    listed_pattern pattern;
    if (!take_string(stream, text) || !read_listed_pattern(pattern, text)) return false;
    side.patterns.push_back(std::move(pattern));
  }
  if (side.patterns.empty()) return true;
  const auto set = std::make_shared<pattern_set>();
  side.set = set;
  return extend_pattern_set(*set, side.patterns);
}

}  // namespace

bool is_valid_url_filter_entry(url_filter_kind kind, const std::string& entry, std::string* fault) {
  listed_pattern pattern;
  return read_entry(pattern, kind, entry, fault);
}

bool add_list_url_filter(url_filter& filter, url_filter_side side, url_filter_kind kind,
                         std::span<const std::string> entries, uint32_t& nb_added,
                         const std::atomic<uint32_t>* stop) {
  const std::lock_guard<std::mutex> change(filter.change_lock);
  std::vector<listed_pattern>& patterns = filter.sides[side].patterns;
  const size_t before = patterns.size();
  for (const std::string& entry : entries) {
    listed_pattern pattern;
    if (is_set(stop)) {
      patterns.resize(before);
      return false;
    }
    if (read_entry(pattern, kind, entry, nullptr)) patterns.push_back(std::move(pattern));
  }
  nb_added = static_cast<uint32_t>(patterns.size() - before);
  return build_added(filter, side, before, stop);
}

uint32_t add_url_filter(url_filter& filter, url_filter_side side, url_filter_kind kind,
                        const std::string& entry) {
  uint32_t nb_added = 0;
  const std::span<const std::string> one(&entry, 1);
  return add_list_url_filter(filter, side, kind, one, nb_added) ? nb_added : 0;
}

url_filter_state get_state_url_filter(const url_filter& filter) {
  const std::shared_lock<std::shared_mutex> hold(filter.lock);
  return {filter.sides[URL_FILTER_RESTRICTED].set, filter.sides[URL_FILTER_EXCLUDED].set};
}

bool is_allowed_url_filter(const url_filter_state& state, std::string_view url) {
  if (state.restricted != nullptr && !matches_pattern_set(*state.restricted, url)) {
    return false;
  }
  return state.excluded == nullptr || !matches_pattern_set(*state.excluded, url);
}

bool is_allowed_url_filter(const url_filter& filter, std::string_view url) {
  return is_allowed_url_filter(get_state_url_filter(filter), url);
}

void save_url_filter(url_filter& filter, std::string& stream) {
  const std::lock_guard<std::mutex> change(filter.change_lock);
  append_u32(stream, IMAGE_VERSION);
  for (const url_filter::side& side : filter.sides) {
    append_u32(stream, side.patterns.empty() ? 0 : 1);
    if (side.patterns.empty()) continue;
    append_u32(stream, static_cast<uint32_t>(side.patterns.size()));
    for (const listed_pattern& pattern : side.patterns) append_string(stream, pattern.text);
  }
}

bool load_url_filter(std::string_view& stream, url_filter& filter) {
  std::string_view rest = stream;
  uint32_t version = 0;
  url_filter::side sides[2];
  if (!take_u32(rest, version) || version != IMAGE_VERSION) return false;
  if (!take_side(rest, sides[0]) || !take_side(rest, sides[1])) return false;
  const std::lock_guard<std::mutex> change(filter.change_lock);
  for (const url_filter_side which : {URL_FILTER_RESTRICTED, URL_FILTER_EXCLUDED}) {
    filter.sides[which].patterns = std::move(sides[which].patterns);
    exchange_set(filter, which, std::move(sides[which].set));
  }
  stream = rest;
  return true;
}

}  // namespace wk
