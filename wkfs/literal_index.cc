#include "wkfs/literal_index.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <deque>
#include <limits>
#include <span>
#include <tuple>

#include "wkfs/pattern_literal.h"

namespace wk {
namespace {

using entry = literal_list::entry;

constexpr size_t NB_SYMBOLS = ANY_BYTE + 1;
constexpr size_t MAX_END_PATTERNS = 4;  // compared one by one
constexpr size_t MAX_SAMPLE = 256;      // patterns that a question is chosen by
constexpr size_t NO_PLACE = std::numeric_limits<size_t>::max();

// What is left of the list at a node of the index.
struct node_work {
  size_t node;
  size_t begin;
  size_t end;
};

struct index_build {
  literal_list& list;
  literal_index index;
  std::deque<node_work> works;
  std::vector<entry> scratch;
  std::array<float, MAX_SAMPLE + 1> ways_of = {};  // of so many patterns: how long their search is
};

std::u16string_view get_symbols(const literal_list& list, const entry& of) {
  return std::u16string_view(list.symbols).substr(of.begin, of.size);
}

// Behind a pattern's end it takes any byte, and none.
char16_t get_symbol(std::u16string_view symbols, size_t place) {
  return place < symbols.size() ? symbols[place] : ANY_BYTE;
}

// How long a search is behind a question for a place: the way of the byte, on the average over the
// patterns, and the way of any byte beside it. Less than 0 when the question tells nothing apart.
float rate_place(const index_build& build, std::span<const std::u16string_view> sample,
                 size_t place, std::array<uint16_t, NB_SYMBOLS>& counts) {
  for (const std::u16string_view symbols : sample) ++counts[get_symbol(symbols, place)];
  const uint16_t nb_any = counts[ANY_BYTE];
  bool tells_apart = false;
  float by_byte = 0;
  for (const std::u16string_view symbols : sample) {
    uint16_t& count = counts[get_symbol(symbols, place)];
    if (count == 0) continue;  // seen already
    tells_apart |= count != sample.size();
    if (&count != &counts[ANY_BYTE]) by_byte += static_cast<float>(count) * build.ways_of[count];
    count = 0;
  }
  if (!tells_apart) return -1;
  const auto nb_bytes = static_cast<float>(sample.size() - nb_any);
  return build.ways_of[nb_any] + (nb_bytes > 0 ? by_byte / nb_bytes : 0);
}

// The place to ask for; NO_PLACE when no place tells patterns apart.
size_t choose_place(const index_build& build, const node_work& work) {
  std::array<std::u16string_view, MAX_SAMPLE> views;
  const size_t nb_patterns = work.end - work.begin;
  const size_t nb_views = std::min(nb_patterns, MAX_SAMPLE);
  size_t nb_places = 0;
  for (size_t i = 0; i < nb_views; ++i) {
    views[i] = get_symbols(build.list, build.list.entries[work.begin + i * nb_patterns / nb_views]);
    nb_places = std::max(nb_places, views[i].size());
  }
  std::array<uint16_t, NB_SYMBOLS> counts = {};
  size_t chosen = NO_PLACE;
  float best = 0;
  for (size_t place = 0; place < nb_places; ++place) {
    const float rate = rate_place(build, std::span(views).first(nb_views), place, counts);
    if (rate < 0 || (chosen != NO_PLACE && rate >= best)) continue;
    chosen = place;
    best = rate;
    if (rate <= build.ways_of[1]) break;  // each has a byte of its own
  }
  return chosen;
}

// Any place that tells two of the patterns apart.
size_t find_place(const index_build& build, const node_work& work) {
  const std::u16string_view first = get_symbols(build.list, build.list.entries[work.begin]);
  for (size_t i = work.begin + 1; i < work.end; ++i) {
    const std::u16string_view other = get_symbols(build.list, build.list.entries[i]);
    for (size_t place = 0; place < std::max(first.size(), other.size()); ++place) {
      if (get_symbol(first, place) != get_symbol(other, place)) return place;
    }
  }
  return NO_PLACE;
}

void drop_doubles(const literal_list& list, std::vector<entry>& entries, node_work& work) {
  const auto get_key = [&list](const entry& of) {
    return std::tuple(get_symbols(list, of), of.is_prefix);
  };
  const auto begin = entries.begin() + static_cast<ptrdiff_t>(work.begin);
  const auto end = entries.begin() + static_cast<ptrdiff_t>(work.end);
  std::sort(begin, end, [&](const entry& a, const entry& b) { return get_key(a) < get_key(b); });
  const auto last = std::unique(
      begin, end, [&](const entry& a, const entry& b) { return get_key(a) == get_key(b); });
  work.end = static_cast<size_t>(last - entries.begin());
}

void add_end(index_build& build, const node_work& work) {
  std::string& patterns = build.index.patterns;
  build.index.nodes[work.node] = {patterns.size(), 0, static_cast<uint16_t>(work.end - work.begin),
                                  false, true};
  for (size_t i = work.begin; i < work.end; ++i) {
    const entry& of = build.list.entries[i];
    patterns.append(reinterpret_cast<const char*>(&of.size), sizeof of.size);
    patterns += of.is_prefix ? '\1' : '\0';
    const std::u16string_view symbols = get_symbols(build.list, of);
    for (const char16_t c : symbols) patterns += static_cast<char>(c == ANY_BYTE ? 0 : c);
    for (const char16_t c : symbols) patterns += c == ANY_BYTE ? '\0' : '\xFF';
  }
}

// Sorts the node's patterns by their symbols at the place: a child for each.
void add_question(index_build& build, const node_work& work, size_t place) {
  std::vector<entry>& entries = build.list.entries;
  std::array<size_t, NB_SYMBOLS + 1> begins = {};
  const auto get_key = [&](size_t i) {
    return get_symbol(get_symbols(build.list, entries[i]), place);
  };
  for (size_t i = work.begin; i < work.end; ++i) ++begins[get_key(i) + 1u];
  std::array<size_t, NB_SYMBOLS> next;
  for (size_t symbol = 0; symbol < NB_SYMBOLS; ++symbol) {
    next[symbol] = begins[symbol];
    begins[symbol + 1] += begins[symbol];
  }
  build.scratch.resize(std::max(build.scratch.size(), work.end - work.begin));
  for (size_t i = work.begin; i < work.end; ++i) build.scratch[next[get_key(i)]++] = entries[i];
  std::copy_n(build.scratch.begin(), work.end - work.begin,
              entries.begin() + static_cast<ptrdiff_t>(work.begin));

  literal_index& index = build.index;
  literal_index::node node = {index.nodes.size(), static_cast<uint32_t>(place), 0, false, false};
  for (size_t symbol = 0; symbol < NB_SYMBOLS; ++symbol) {
    if (begins[symbol] == begins[symbol + 1]) continue;
    if (symbol == ANY_BYTE) {
      node.has_any_child = true;
    } else {
      ++node.nb_children;
    }
    build.works.push_back(
        {index.nodes.size(), work.begin + begins[symbol], work.begin + begins[symbol + 1]});
    index.nodes.emplace_back();
    index.asked_bytes += static_cast<char>(symbol);
  }
  index.nodes[work.node] = node;
}

void add_node(index_build& build, node_work work) {
  if (work.end - work.begin <= MAX_END_PATTERNS) return add_end(build, work);
  size_t place = choose_place(build, work);
  if (place == NO_PLACE) {
    drop_doubles(build.list, build.list.entries, work);
    place = find_place(build, work);
  }
  if (place == NO_PLACE) return add_end(build, work);  // they differ in their lengths alone
  add_question(build, work, place);
}

// True when text, bytes and mask, of one size, say the same wherever mask is not 0.
bool matches_bytes(const char* text, const char* bytes, const char* mask, size_t size) {
  constexpr size_t WORD = sizeof(uint64_t);
  const auto differs = [&](size_t at) {
    uint64_t a, b, m;
    std::memcpy(&a, text + at, WORD);
    std::memcpy(&b, bytes + at, WORD);
    std::memcpy(&m, mask + at, WORD);
    return ((a ^ b) & m) != 0;
  };
  size_t i = 0;
  for (; i + WORD <= size; i += WORD) {
    if (differs(i)) return false;
  }
  if (size >= WORD) return !differs(size - WORD);
  for (; i < size; ++i) {
    if (((text[i] ^ bytes[i]) & mask[i]) != 0) return false;
  }
  return true;
}

bool matches_end(const literal_index& index, const literal_index::node& end,
                 std::string_view text) {
  const char* pattern = index.patterns.data() + end.begin;
  for (uint32_t i = 0; i < end.nb_children; ++i) {
    uint32_t size = 0;
    std::memcpy(&size, pattern, sizeof size);
    const bool is_prefix = pattern[sizeof size] != 0;
    const char* bytes = pattern + sizeof size + 1;
    const bool fits = is_prefix ? text.size() >= size : text.size() == size;
    if (fits && matches_bytes(text.data(), bytes, bytes + size, size)) return true;
    pattern = bytes + 2 * size_t{size};
  }
  return false;
}

constexpr uint64_t NO_NODE = 0;  // the root is nobody's child

uint64_t find_child(const literal_index& index, const literal_index::node& node,
                    std::string_view text) {
  if (node.place >= text.size() || node.nb_children == 0) return NO_NODE;
  const char* bytes = index.asked_bytes.data() + node.begin;
  const void* found = std::memchr(bytes, text[node.place], node.nb_children);
  if (found == nullptr) return NO_NODE;
  return node.begin + static_cast<uint64_t>(static_cast<const char*>(found) - bytes);
}

}  // namespace

void add_literal_list(literal_list& list, std::u16string_view symbols, bool is_prefix) {
  list.entries.push_back({list.symbols.size(), static_cast<uint32_t>(symbols.size()), is_prefix});
  list.symbols += symbols;
}

literal_index build_literal_index(literal_list& list) {
  if (list.entries.empty()) return {};
  index_build build{list, {}, {}, {}, {}};
  for (size_t i = 1; i <= MAX_SAMPLE; ++i) {
    build.ways_of[i] = 1 + std::log2(static_cast<float>(i));
  }
  build.index.patterns.reserve(list.entries.size() * 5 + list.symbols.size() * 2);
  build.index.nodes.emplace_back();
  build.index.asked_bytes += '\0';
  build.works.push_back({0, 0, list.entries.size()});
  for (; !build.works.empty(); build.works.pop_front()) add_node(build, build.works.front());
  return std::move(build.index);
}

bool matches_literal_index(const literal_index& index, std::string_view text) {
  if (index.nodes.empty()) return false;
  std::vector<uint64_t> ways;  // nodes left for later
  uint64_t here = 0;
  for (;;) {
    const literal_index::node& node = index.nodes[here];
    uint64_t next = NO_NODE;
    if (node.is_end) {
      if (matches_end(index, node, text)) return true;
    } else {
      next = find_child(index, node, text);
      const uint64_t any_child = node.begin + node.nb_children;
      if (node.has_any_child && next != NO_NODE) ways.push_back(any_child);
      if (node.has_any_child && next == NO_NODE) next = any_child;
    }
    if (next == NO_NODE) {
      if (ways.empty()) return false;
      next = ways.back();
      ways.pop_back();
    }
    here = next;
  }
}

}  // namespace wk
