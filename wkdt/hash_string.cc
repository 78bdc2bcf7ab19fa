#include "wkdt/hash_string.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <new>

#include "wkdt/hash_string_record.h"
#include "wkstd/error.h"
#include "wkstd/memory.h"

namespace wk {
namespace {

constexpr uint32_t BUCKET_COUNTS[] = {11,      19,      37,      73,      109,     163,     251,
                                      367,     557,     823,     1237,    1861,    2777,    4177,
                                      6247,    9371,    14057,   21089,   31627,   47431,   71143,
                                      106721,  160073,  240101,  360163,  540217,  810343,  1215497,
                                      1823231, 2734867, 4102283, 6153409, 9230113, 13845163};

__extension__ using wide_uint = unsigned __int128;

constexpr size_t FIRST_BLOCK_BYTES = 4'096;
constexpr size_t LARGEST_BLOCK_BYTES = 1 << 20;

void* allocate_from_pool(memory_pool& pool, size_t size, size_t alignment) {
  for (;; ++pool.current, pool.used = 0) {
    if (pool.current == pool.blocks.size()) {
      const size_t wanted = pool.sizes.empty()
                                ? FIRST_BLOCK_BYTES
                                : std::min(2 * pool.sizes.back(), LARGEST_BLOCK_BYTES);
      pool.sizes.push_back(std::max(wanted, size));
      pool.blocks.push_back(std::make_unique_for_overwrite<char[]>(pool.sizes.back()));
    }
    const size_t begin = (pool.used + alignment - 1) / alignment * alignment;
    if (begin + size > pool.sizes[pool.current]) continue;
    pool.used = begin + size;
    return pool.blocks[pool.current].get() + begin;
  }
}

void reset_pool(memory_pool& pool) {
  pool.current = 0;
  pool.used = 0;
}

uint32_t reduce(const hash_string& table, uint64_t value) {
  const auto quotient =
      static_cast<uint64_t>((static_cast<wide_uint>(value) * table.reciprocal) >> 64);
  uint64_t rest = value - quotient * table.nb_buckets;
  if (rest >= table.nb_buckets) rest -= table.nb_buckets;
  return static_cast<uint32_t>(rest);
}

hash_string_entry* find_entry(const hash_string& table, uint32_t bucket, std::string_view key) {
  for (hash_string_entry* entry = table.buckets[bucket]; entry != nullptr; entry = entry->next) {
    if (entry->key_length == key.size() + 1 &&
        std::memcmp(entry->key, key.data(), key.size()) == 0) {
      return entry;
    }
  }
  return nullptr;
}

void log_key(hash_string& table, std::string_view key) {
  table.key_log.push_back({table.count + 1, static_cast<uint32_t>(table.key_log_bytes.size())});
  table.key_log_bytes.append(key);
}

}  // namespace

// The hash is h = (c + 128 h) modulo the bucket count for each byte c. With h below 2^24, five
// bytes can be taken before a number of 64 bits is full, so the modulus is taken once for all of
// them: the value is the same.
uint32_t hash_key(const hash_string& table, std::string_view key) {
  const auto* byte = reinterpret_cast<const unsigned char*>(key.data());
  size_t left = key.size();
  uint64_t h = 0;
  for (; left >= 5; left -= 5, byte += 5) {
    const uint64_t next = (uint64_t{byte[0]} << 28) + (uint64_t{byte[1]} << 21) +
                          (uint64_t{byte[2]} << 14) + (uint64_t{byte[3]} << 7) + byte[4];
    h = reduce(table, (h << 35) + next);
  }
  for (; left > 0; --left, ++byte) h = reduce(table, (h << 7) + *byte);
  return static_cast<uint32_t>(h);
}

hash_string_ptr create_hash_string_of(uint32_t nb_buckets, bool with_key_log) {
  hash_string_ptr table(new hash_string);
  table->nb_buckets = nb_buckets;
  table->reciprocal = UINT64_MAX / nb_buckets;  // no bucket count divides 2^64
  table->buckets.reset(static_cast<hash_string_entry**>(
      // NOLINTNEXTLINE(bugprone-sizeof-expression): a bucket is a pointer
      allocate_zeroed_memory(nb_buckets * sizeof(hash_string_entry*))));
  table->used_buckets.push_back(HASH_STRING_LIST_END);
  table->with_key_log = with_key_log;
  return table;
}

hash_string_entry* make_hash_string_entry(hash_string& table, std::string_view key,
                                          uint32_t value) {
  void* place =
      allocate_from_pool(table.entry_pool, sizeof(hash_string_entry), alignof(hash_string_entry));
  char* copy = static_cast<char*>(allocate_from_pool(table.key_pool, key.size() + 1, 1));
  if (!key.empty()) std::memcpy(copy, key.data(), key.size());
  copy[key.size()] = '\0';
  return new (place) hash_string_entry{copy, static_cast<uint32_t>(key.size() + 1), value, nullptr};
}

hash_string_ptr create_hash_string(uint32_t size, bool with_key_log) {
  const auto* at = std::upper_bound(std::begin(BUCKET_COUNTS), std::end(BUCKET_COUNTS), size);
  return create_hash_string_of(at == std::end(BUCKET_COUNTS) ? *(at - 1) : *at, with_key_log);
}

void destroy_hash_string::operator()(hash_string* table) const { delete table; }

uint32_t insert_hash_string(hash_string& table, std::string_view key, uint32_t value) {
  if (value >= HASH_STRING_NOT_FOUND) print_message("number is too big");
  return set_hash_string(table, key, value);
}

uint32_t set_hash_string(hash_string& table, std::string_view key, uint32_t value) {
  const uint32_t bucket = hash_key(table, key);
  if (hash_string_entry* known = find_entry(table, bucket, key); known != nullptr) {
    known->value = value;
    return table.count;
  }
  hash_string_entry* entry = make_hash_string_entry(table, key, value);
  entry->next = table.buckets[bucket];
  if (entry->next == nullptr) {
    table.used_buckets.back() = bucket;
    table.used_buckets.push_back(HASH_STRING_LIST_END);
  }
  table.buckets[bucket] = entry;
  if (table.with_key_log) log_key(table, key);
  return ++table.count;
}

uint32_t lookup_hash_string(std::string_view key, const hash_string& table) {
  if (key.empty()) return HASH_STRING_NOT_FOUND;
  const hash_string_entry* entry = find_entry(table, hash_key(table, key), key);
  return entry == nullptr ? HASH_STRING_NOT_FOUND : entry->value;
}

uint32_t count_hash_string(const hash_string& table) { return table.count; }

// Every bucket is looked at: a table that was read from a file lists no used ones.
void visit_hash_string(const hash_string& table,
                       void (*visit)(std::string_view key, uint32_t value, void* context),
                       void* context) {
  for (uint32_t bucket = 0; bucket < table.nb_buckets; ++bucket) {
    for (const hash_string_entry* entry = table.buckets[bucket]; entry != nullptr;
         entry = entry->next) {
      visit({entry->key, entry->key_length - 1}, entry->value, context);
    }
  }
}

void clear_hash_string(hash_string& table) {
  for (const uint32_t bucket : table.used_buckets) {
    if (bucket != HASH_STRING_LIST_END) table.buckets[bucket] = nullptr;
  }
  table.used_buckets.assign(1, HASH_STRING_LIST_END);
  reset_pool(table.entry_pool);
  reset_pool(table.key_pool);
  table.count = 0;
  table.key_log.clear();
  table.key_log_bytes.clear();
}

}  // namespace wk
