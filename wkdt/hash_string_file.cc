#include "wkdt/hash_string_file.h"

#include "wkdt/hash_string_record.h"
#include "wkstd/error.h"
#include "wkstd/state_stream.h"
#include "wkstd/text.h"

namespace wk {
namespace {

constexpr uint32_t MAGIC = 0x800299;
constexpr uint32_t VERSION = 3;
constexpr uint32_t OLD_VERSION = 2;
constexpr uint32_t END = 100'000'000;
constexpr uint32_t MOST_BUCKETS = 13'845'163;

bool take_entry(std::string_view& bytes, uint32_t key_length, hash_string& table,
                hash_string_entry**& tail, uint32_t bucket) {
  uint32_t value = 0;
  if (key_length == 0 || bytes.size() < key_length) return false;
  const std::string_view key = bytes.substr(0, key_length - 1);
  if (bytes[key_length - 1] != '\0' || hash_key(table, key) != bucket) return false;
  bytes.remove_prefix(key_length);
  if (!take_u32(bytes, value)) return false;
  *tail = make_hash_string_entry(table, key, value);
  tail = &(*tail)->next;
  ++table.count;
  return true;
}

bool take_bucket(std::string_view& bytes, uint32_t bucket, hash_string& table) {
  if (bucket >= table.nb_buckets || table.buckets[bucket] != nullptr) return false;
  hash_string_entry** tail = &table.buckets[bucket];
  uint32_t key_length = 0;
  while (take_u32(bytes, key_length)) {
    if (key_length == END) return true;
    if (!take_entry(bytes, key_length, table, tail, bucket)) return false;
  }
  return false;
}

bool take_head(std::string_view& bytes, uint32_t& count, uint32_t& nb_buckets) {
  uint32_t magic = 0;
  uint32_t version = 0;
  if (!take_u32(bytes, magic) || magic != MAGIC || !take_u32(bytes, version)) return false;
  if (version != VERSION && version != OLD_VERSION) {
    report_error(ERROR_WARNING, format_text("hash_string: a table of unknown version %u", version));
    return false;
  }
  return take_u32(bytes, count) && take_u32(bytes, nb_buckets) && nb_buckets > 0 &&
         nb_buckets <= MOST_BUCKETS;
}

}  // namespace

void write_hash_string(const hash_string& table, std::string& stream) {
  append_u32(stream, MAGIC);
  append_u32(stream, VERSION);
  append_u32(stream, table.count);
  append_u32(stream, table.nb_buckets);
  for (uint32_t bucket = 0; bucket < table.nb_buckets; ++bucket) {
    if (table.buckets[bucket] == nullptr) continue;
    append_u32(stream, bucket);
    for (const hash_string_entry* entry = table.buckets[bucket]; entry != nullptr;
         entry = entry->next) {
      append_string(stream, {entry->key, entry->key_length});
      append_u32(stream, entry->value);
    }
    append_u32(stream, END);
  }
  append_u32(stream, END);
}

hash_string_ptr read_hash_string(std::string_view& bytes) {
  std::string_view rest = bytes;
  uint32_t count = 0;
  uint32_t nb_buckets = 0;
  if (!take_head(rest, count, nb_buckets)) return nullptr;
  hash_string_ptr table = create_hash_string_of(nb_buckets, false);
  uint32_t bucket = 0;
  while (take_u32(rest, bucket)) {
    if (bucket == END) {
      if (table->count != count) return nullptr;
      bytes = rest;
      return table;
    }
    if (!take_bucket(rest, bucket, *table)) return nullptr;
  }
  return nullptr;
}

}  // namespace wk
