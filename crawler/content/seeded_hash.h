// A fast 64-bit hash of bytes under a secret seed: for sets whose keys a hostile page can choose.
//
// Without the seed nobody can make keys that meet in one place of a table. Values differ from run
// to run, so they are never written to a file.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

namespace wk {

struct hash_seed {
  uint64_t first = 0;
  uint64_t second = 0;
};

[[nodiscard]] hash_seed create_hash_seed();  // from the random source, one for the process

// Both halves of a 128-bit product, folded: every bit of the answer depends on every bit of a and
// b.
[[nodiscard]] inline uint64_t mix_hash(uint64_t a, uint64_t b) {
  __extension__ using wide = unsigned __int128;
  const wide product = static_cast<wide>(a) * b;
  return static_cast<uint64_t>(product) ^ static_cast<uint64_t>(product >> 64);
}

[[nodiscard]] inline uint64_t hash_words(const hash_seed& seed, uint64_t low, uint64_t high) {
  return mix_hash(mix_hash(low ^ seed.first, high ^ seed.second) ^ seed.second, seed.first | 1);
}

[[nodiscard]] uint64_t hash_bytes(const hash_seed& seed, std::string_view bytes);

}  // namespace wk
