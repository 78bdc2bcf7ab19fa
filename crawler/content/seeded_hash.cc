#include "crawler/content/seeded_hash.h"

#include <random>

namespace wk {
namespace {

uint64_t load_word(const char* from) {
  uint64_t word = 0;
  std::memcpy(&word, from, sizeof word);
  return word;
}

}  // namespace

hash_seed create_hash_seed() {
  static const hash_seed seed = [] {
    std::random_device random;
    const auto draw = [&random] { return uint64_t{random()} << 32 | random(); };
    return hash_seed{.first = draw(), .second = draw()};
  }();
  return seed;
}

uint64_t hash_bytes(const hash_seed& seed, std::string_view bytes) {
  const char* at = bytes.data();
  size_t left = bytes.size();
  uint64_t state = seed.first;
  for (; left > 16; at += 16, left -= 16) {
    state = mix_hash(load_word(at) ^ seed.second, load_word(at + 8) ^ state);
  }
  // The last one to sixteen bytes as two words that may overlap; the length tells such texts apart.
  uint64_t low = 0;
  uint64_t high = 0;
  if (left >= 8) {
    low = load_word(at);
    high = load_word(at + left - 8);
  } else if (left > 0) {
    std::memcpy(&low, at, left);
  }
  return mix_hash(mix_hash(low ^ seed.second, high ^ state) ^ bytes.size(), seed.first | 1);
}

}  // namespace wk
