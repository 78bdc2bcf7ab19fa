// The inside of a hash_string, for the table itself and its file form.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "wkdt/hash_string.h"

namespace wk {

struct hash_string_entry {
  const char* key = nullptr;  // a copy in the table's pool, with a terminator
  uint32_t key_length = 0;    // terminator included
  uint32_t value = 0;
  hash_string_entry* next = nullptr;  // of the chain
};

// Memory handed out piece by piece and taken back all at once. Blocks are kept for the next round.
struct memory_pool {
  std::vector<std::unique_ptr<char[]>> blocks;
  std::vector<size_t> sizes;  // of the blocks
  size_t current = 0;         // block that is being handed out
  size_t used = 0;            // bytes of it
};

struct free_memory {
  void operator()(void* block) const { std::free(block); }
};

struct key_log_entry {
  uint32_t number = 0;    // of the key
  uint32_t position = 0;  // of its first byte in the log's bytes
};

struct hash_string {
  uint32_t count = 0;
  uint32_t nb_buckets = 0;
  uint64_t reciprocal = 0;                                     // floor(2^64 / nb_buckets)
  std::unique_ptr<hash_string_entry*[], free_memory> buckets;  // chain heads
  // Numbers of the buckets that hold keys, in the order in which each got its first one, and
  // HASH_STRING_LIST_END behind them.
  std::vector<uint32_t> used_buckets;
  memory_pool entry_pool;
  memory_pool key_pool;

  bool with_key_log = false;
  std::vector<key_log_entry> key_log;
  std::string key_log_bytes;
};

// Makes a table with exactly so many buckets.
[[nodiscard]] hash_string_ptr create_hash_string_of(uint32_t nb_buckets, bool with_key_log);
[[nodiscard]] uint32_t hash_key(const hash_string& table, std::string_view key);
// An entry that is in no chain yet; the key is copied.
[[nodiscard]] hash_string_entry* make_hash_string_entry(hash_string& table, std::string_view key,
                                                        uint32_t value);

}  // namespace wk
