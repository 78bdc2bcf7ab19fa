#include "crawler/content/link_set.h"

#include <algorithm>

namespace wk {
namespace {

constexpr size_t MIN_SLOTS = 1'024;

void start_generation(link_set& set) {
  if (++set.generation != 0) return;
  // The generations have come round: old marks could be taken for fresh ones.
  std::fill(set.slots.begin(), set.slots.end(), link_slot{});
  set.generation = 1;
}

template <typename Text>
void grow_link_set(link_set& set, const std::vector<Text>& texts) {
  set.moved.clear();
  for (size_t i = 0; i < set.nb_open; ++i) {
    if (set.slots[i].generation == set.generation) set.moved.push_back(set.slots[i]);
  }
  start_generation(set);
  set.nb_open = std::max(MIN_SLOTS, set.nb_open * 2);
  if (set.slots.size() < set.nb_open) set.slots.resize(set.nb_open);
  const size_t mask = set.nb_open - 1;
  for (link_slot& slot : set.moved) {
    size_t at = hash_bytes(set.seed, texts[slot.index]) & mask;
    while (set.slots[at].generation == set.generation) at = (at + 1) & mask;
    slot.generation = set.generation;
    set.slots[at] = slot;
  }
}

template <typename Text>
bool add_text(link_set& set, const std::vector<Text>& texts, std::string_view text,
              uint32_t index) {
  if ((set.nb_used + 1) * 2 > set.nb_open) grow_link_set(set, texts);
  const uint64_t hash = hash_bytes(set.seed, text);
  const auto mark = static_cast<uint32_t>(hash >> 32);
  const size_t mask = set.nb_open - 1;
  size_t at = hash & mask;
  for (; set.slots[at].generation == set.generation; at = (at + 1) & mask) {
    if (set.slots[at].hash == mark && texts[set.slots[at].index] == text) return false;
  }
  set.slots[at] = {.generation = set.generation, .hash = mark, .index = index};
  ++set.nb_used;
  return true;
}

}  // namespace

void clear_link_set(link_set& set) {
  set.nb_used = 0;
  set.nb_open = std::min(MIN_SLOTS, set.slots.size());
  start_generation(set);
}

bool add_link_set(link_set& set, const std::vector<std::string>& texts, std::string_view text,
                  uint32_t index) {
  return add_text(set, texts, text, index);
}

bool add_link_set(link_set& set, const std::vector<std::string_view>& texts, std::string_view text,
                  uint32_t index) {
  return add_text(set, texts, text, index);
}

}  // namespace wk
