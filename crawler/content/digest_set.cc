#include "crawler/content/digest_set.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace wk {
namespace {

constexpr size_t MIN_SLOTS = 64;

// The place of key, or the free place where it would go. The set has places, and free ones.
size_t find_slot(const digest_set& set, digest_key key) {
  const uint64_t hash = hash_words(set.seed, key.low, key.high);
  // The hash scaled down to the number of places, which need not be a power of two: high bits
  // count.
  __extension__ using wide = unsigned __int128;
  size_t at = static_cast<size_t>((static_cast<wide>(hash) * set.slots.size()) >> 64);
  for (;;) {
    const digest_key& there = set.slots[at];
    if (is_empty_digest_key(there) || (there.low == key.low && there.high == key.high)) return at;
    if (++at == set.slots.size()) at = 0;
  }
}

void grow_digest_set(digest_set& set) {
  const size_t nb_slots = std::max(MIN_SLOTS, set.slots.size() + set.slots.size() / 2);
  const std::vector<digest_key> old = std::exchange(set.slots, std::vector<digest_key>(nb_slots));
  for (const digest_key& key : old) {
    if (!is_empty_digest_key(key)) set.slots[find_slot(set, key)] = key;
  }
}

}  // namespace

digest_key build_digest_key(const content_digest& digest) {
  content_digest text = digest;
  std::fill(std::find(text.begin(), text.end(), 0), text.end(), static_cast<unsigned char>(0));
  digest_key key;
  std::memcpy(&key.low, text.data(), sizeof key.low);
  std::memcpy(&key.high, text.data() + sizeof key.low, sizeof key.high);
  return key;
}

bool is_in_digest_set(const digest_set& set, digest_key key) {
  if (is_empty_digest_key(key)) return set.has_empty_key;
  return !set.slots.empty() && !is_empty_digest_key(set.slots[find_slot(set, key)]);
}

bool add_digest_set(digest_set& set, digest_key key) {
  if (is_empty_digest_key(key)) return !std::exchange(set.has_empty_key, true);
  if ((set.nb_used + 1) * 5 > set.slots.size() * 4) grow_digest_set(set);
  digest_key& slot = set.slots[find_slot(set, key)];
  if (!is_empty_digest_key(slot)) return false;
  slot = key;
  ++set.nb_used;
  return true;
}

uint64_t count_digest_set(const digest_set& set) {
  return set.nb_used + (set.has_empty_key ? 1 : 0);
}

}  // namespace wk
