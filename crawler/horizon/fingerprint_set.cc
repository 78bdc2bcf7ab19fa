#include "crawler/horizon/fingerprint_set.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace wk {
namespace {

constexpr size_t MIN_SLOTS = 1'024;

bool is_crowded(const fingerprint_table& table) {
  return table.count + 1 > table.slots.size() / 4 * 3;
}

// The slot that holds print, or the free one where it belongs. The table is never full.
size_t find_slot(const fingerprint_table& table, const url_fingerprint& print) {
  const size_t mask = table.slots.size() - 1;
  size_t at = static_cast<size_t>(print.low) & mask;
  while (table.slots[at] != url_fingerprint{} && table.slots[at] != print) at = (at + 1) & mask;
  return at;
}

bool holds(const fingerprint_table& table, const url_fingerprint& print) {
  return table.count > 0 && table.slots[find_slot(table, print)] == print;
}

void double_table(fingerprint_table& table) {
  fingerprint_table larger;
  larger.slots.resize(std::max(MIN_SLOTS, 2 * table.slots.size()));
  larger.count = table.count;
  for (const url_fingerprint& print : table.slots) {
    if (print != url_fingerprint{}) larger.slots[find_slot(larger, print)] = print;
  }
  table = std::move(larger);
}

void start_generation(fingerprint_set& set) {
  if (set.old.count > 0) set.is_complete = false;
  std::swap(set.young, set.old);
  set.young.slots.assign(set.max_slots, url_fingerprint{});
  set.young.count = 0;
}

}  // namespace

size_t count_slots_fingerprint_set(size_t nb_bytes) {
  const size_t nb_slots = std::bit_floor(nb_bytes / (2 * sizeof(url_fingerprint)));
  return nb_slots < MIN_SLOTS ? 0 : nb_slots;
}

void clear_fingerprint_set(fingerprint_set& set) {
  set.young = {};
  set.old = {};
  set.is_complete = true;
}

void add_fingerprint_set(fingerprint_set& set, const url_fingerprint& print) {
  if (set.max_slots == 0) {
    set.is_complete = false;
    return;
  }
  if (holds(set.young, print)) return;
  if (is_crowded(set.young)) {
    if (set.young.slots.size() < set.max_slots) {
      double_table(set.young);
    } else {
      start_generation(set);
    }
  }
  set.young.slots[find_slot(set.young, print)] = print;
  ++set.young.count;
}

bool find_fingerprint_set(fingerprint_set& set, const url_fingerprint& print) {
  if (holds(set.young, print)) return true;
  if (!holds(set.old, print)) return false;
  add_fingerprint_set(set, print);
  return true;
}

}  // namespace wk
