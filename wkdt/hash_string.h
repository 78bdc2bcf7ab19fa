// A table from byte strings to unsigned 32-bit numbers.
//
// The bucket count is a prime, fixed at creation. Entries and keys live in pools, so that clearing
// costs what was used and not what there is room for. Two numbers are reserved:
// HASH_STRING_NOT_FOUND and HASH_STRING_LIST_END. Owner: whoever holds the hash_string_ptr.
// Threads: one at a time; a shared table is guarded by its owner's lock.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace wk {

constexpr uint32_t HASH_STRING_NOT_FOUND = 100'000'000;
constexpr uint32_t HASH_STRING_LIST_END = 100'000'001;

struct hash_string;
struct destroy_hash_string {
  void operator()(hash_string* table) const;
};
using hash_string_ptr = std::unique_ptr<hash_string, destroy_hash_string>;

// size asks for buckets; the count is the first prime of the table's list above it.
[[nodiscard]] hash_string_ptr create_hash_string(uint32_t size, bool with_key_log = false);

// Enters key or replaces its value. Answers the number of keys: for a key that was absent, its own
// number, the first being 1. A value of 100,000,000 or more prints "number is too big".
uint32_t insert_hash_string(hash_string& table, std::string_view key, uint32_t value);
// The same for values that may be of any size: nothing is printed.
uint32_t set_hash_string(hash_string& table, std::string_view key, uint32_t value);
// The value of key, or HASH_STRING_NOT_FOUND when it is absent or empty.
[[nodiscard]] uint32_t lookup_hash_string(std::string_view key, const hash_string& table);
[[nodiscard]] uint32_t count_hash_string(const hash_string& table);
void clear_hash_string(hash_string& table);
// Calls visit for every key, in no order that means anything. visit must not change the table.
void visit_hash_string(const hash_string& table,
                       void (*visit)(std::string_view key, uint32_t value, void* context),
                       void* context);

}  // namespace wk
