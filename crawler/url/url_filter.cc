#include "crawler/url/url_filter.h"

#include <utility>

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

// Caller holds change_lock. False when the patterns together are beyond the automaton's memory.
bool exchange_side(url_filter& filter, url_filter_side which, std::vector<std::string> patterns) {
  pattern_automaton_ptr automaton = compile_pattern_automaton(patterns);
  if (automaton == nullptr && !patterns.empty()) return false;
  url_filter::side& side = filter.sides[which];
  side.patterns = std::move(patterns);
  const std::unique_lock<std::shared_mutex> hold(filter.lock);
  side.automaton.swap(automaton);  // the old one goes when the last test in it has ended
  return true;
}

bool take_side(std::string_view& stream, std::vector<std::string>& patterns) {
  uint32_t nb_automata = 0;
  if (!take_u32(stream, nb_automata) || nb_automata > 1) return false;
  uint32_t nb_patterns = 0;
  if (nb_automata == 1 && !take_u32(stream, nb_patterns)) return false;
  for (uint32_t i = 0; i < nb_patterns; ++i) {
    std::string pattern;
    if (!take_string(stream, pattern) || !is_valid_pattern(pattern)) return false;
    patterns.push_back(std::move(pattern));
  }
  return true;
}

}  // namespace

uint32_t add_list_url_filter(url_filter& filter, url_filter_side side, url_filter_kind kind,
                             std::span<const std::string> entries) {
  const std::lock_guard<std::mutex> change(filter.change_lock);
  std::vector<std::string> patterns = filter.sides[side].patterns;
  const size_t before = patterns.size();
  for (const std::string& entry : entries) {
    // An entry is to be a pattern by itself: one like "a)(b" would join with its tail into another.
    if (!is_valid_pattern(entry)) continue;
    std::string pattern = build_pattern(kind, entry);
    if (is_valid_pattern(pattern)) patterns.push_back(std::move(pattern));
  }
  const auto nb_added = static_cast<uint32_t>(patterns.size() - before);
  if (nb_added == 0) return 0;
  return exchange_side(filter, side, std::move(patterns)) ? nb_added : 0;
}

uint32_t add_url_filter(url_filter& filter, url_filter_side side, url_filter_kind kind,
                        const std::string& entry) {
  return add_list_url_filter(filter, side, kind, std::span<const std::string>(&entry, 1));
}

url_filter_state get_state_url_filter(const url_filter& filter) {
  const std::shared_lock<std::shared_mutex> hold(filter.lock);
  return {filter.sides[URL_FILTER_RESTRICTED].automaton,
          filter.sides[URL_FILTER_EXCLUDED].automaton};
}

bool is_allowed_url_filter(const url_filter_state& state, std::string_view url) {
  if (state.restricted != nullptr && !matches_pattern_automaton(*state.restricted, url)) {
    return false;
  }
  return state.excluded == nullptr || !matches_pattern_automaton(*state.excluded, url);
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
    for (const std::string& pattern : side.patterns) append_string(stream, pattern);
  }
}

bool load_url_filter(std::string_view& stream, url_filter& filter) {
  std::string_view rest = stream;
  uint32_t version = 0;
  std::vector<std::string> patterns[2];
  if (!take_u32(rest, version) || version != IMAGE_VERSION) return false;
  if (!take_side(rest, patterns[0]) || !take_side(rest, patterns[1])) return false;
  const std::lock_guard<std::mutex> change(filter.change_lock);
  if (!exchange_side(filter, URL_FILTER_RESTRICTED, std::move(patterns[0])) ||
      !exchange_side(filter, URL_FILTER_EXCLUDED, std::move(patterns[1]))) {
    return false;
  }
  stream = rest;
  return true;
}

}  // namespace wk
