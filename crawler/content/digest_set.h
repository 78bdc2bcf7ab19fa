// A set of digests in as little memory as a crawl of millions of pages asks for.
//
// 16 bytes a place, between a bit over half and four fifths of them in use: 20 to 31 bytes a
// digest. Threads: none inside; the digest table guards it.
#pragma once

#include <cstdint>
#include <vector>

#include "crawler/content/digest_table.h"
#include "crawler/content/seeded_hash.h"

namespace wk {

// A digest as two words in memory order, its bytes behind the first zero byte cleared.
struct digest_key {
  uint64_t low = 0;
  uint64_t high = 0;
};
[[nodiscard]] inline bool is_empty_digest_key(digest_key key) { return (key.low | key.high) == 0; }

[[nodiscard]] digest_key build_digest_key(const content_digest& digest);

struct digest_set {
  hash_seed seed = create_hash_seed();  // digests can be made to measure, places cannot
  std::vector<digest_key> slots;        // linear probing; an empty key is a free place
  uint64_t nb_used = 0;                 // places in use
  bool has_empty_key = false;           // the key of no bytes has no place of its own
};

[[nodiscard]] bool is_in_digest_set(const digest_set& set, digest_key key);
bool add_digest_set(digest_set& set, digest_key key);  // false: it was there
[[nodiscard]] uint64_t count_digest_set(const digest_set& set);

}  // namespace wk
