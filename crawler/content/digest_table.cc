// The digest set behind its lock, and its image.
//
// DIGEST TABLE IMAGE
//
//   count of digests, as an 8-byte integer
//   the digests, 16 bytes each as computed, without order; bytes behind the first zero byte are
//   zero
#include "crawler/content/digest_table.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <shared_mutex>
#include <utility>

#include "crawler/content/digest_set.h"
#include "wkstd/state_stream.h"

namespace wk {

struct digest_table {
  mutable std::shared_mutex lock;  // guards seen; nothing else is locked while it is held
  digest_set seen;
};

namespace {

void append_digest_key(std::string& stream, digest_key key) {
  char bytes[sizeof key.low + sizeof key.high];
  std::memcpy(bytes, &key.low, sizeof key.low);
  std::memcpy(bytes + sizeof key.low, &key.high, sizeof key.high);
  stream.append(bytes, sizeof bytes);
}

}  // namespace

void destroy_digest_table::operator()(digest_table* table) const { delete table; }

digest_table_ptr create_digest_table() { return digest_table_ptr(new digest_table); }

bool test_and_enter_digest_table(digest_table& table, const content_digest& digest) {
  const digest_key key = build_digest_key(digest);
  {
    const std::shared_lock reading(table.lock);
    if (is_in_digest_set(table.seen, key)) return true;
  }
  const std::unique_lock writing(table.lock);
  return !add_digest_set(table.seen, key);
}

uint64_t count_digest_table(const digest_table& table) {
  const std::shared_lock reading(table.lock);
  return count_digest_set(table.seen);
}

void save_digest_table(const digest_table& table, std::string& stream) {
  const std::shared_lock reading(table.lock);
  append_u64(stream, count_digest_set(table.seen));
  if (table.seen.has_empty_key) append_digest_key(stream, {});
  for (const digest_key& key : table.seen.slots) {
    if (!is_empty_digest_key(key)) append_digest_key(stream, key);
  }
}

// The set grows with the bytes that are there, never with the count that they announce.
bool load_digest_table(std::string_view& stream, digest_table& table) {
  std::string_view rest = stream;
  uint64_t count = 0;
  content_digest digest{};
  if (!take_u64(rest, count) || count > rest.size() / digest.size()) return false;

  digest_set seen;
  for (uint64_t i = 0; i < count; ++i) {
    std::copy_n(rest.begin(), digest.size(), digest.begin());
    rest.remove_prefix(digest.size());
    add_digest_set(seen, build_digest_key(digest));
  }
  const std::unique_lock writing(table.lock);
  std::swap(table.seen, seen);
  stream = rest;
  return true;
}

}  // namespace wk
