// A table that is read is written back to the same bytes, and answers for each of its keys.
#include <string>

#include "tests/fuzz/fuzz_law.h"
#include "wkdt/hash_string_file.h"
#include "wkstd/state_stream.h"

namespace wk {
namespace {

struct visit_state {
  const hash_string* table;
  uint32_t nb_keys = 0;
};

void check_key(std::string_view key, uint32_t value, void* context) {
  auto& state = *static_cast<visit_state*>(context);
  ++state.nb_keys;
  require_law(key.empty() || lookup_hash_string(key, *state.table) == value,
              "every key is found with its value");
}

// Buckets cost what they are announced to be; a million empty ones show nothing that ten don't.
bool has_few_buckets(std::string_view bytes) {
  uint32_t number = 0;
  for (int i = 0; i < 4; ++i) {
    if (!take_u32(bytes, number)) return true;
  }
  return number <= 100'000;
}

}  // namespace

void test_one_input(std::string_view bytes) {
  if (!has_few_buckets(bytes)) return;
  std::string_view rest = bytes;
  const hash_string_ptr table = read_hash_string(rest);
  if (table == nullptr) return require_law(rest == bytes, "refused bytes are left alone");
  visit_state state{.table = table.get()};
  visit_hash_string(*table, check_key, &state);
  require_law(state.nb_keys == count_hash_string(*table), "as many keys as are counted");

  std::string written, again;
  write_hash_string(*table, written);
  std::string_view second = written;
  const hash_string_ptr copy = read_hash_string(second);
  require_law(copy != nullptr && second.empty(), "a written table is read");
  write_hash_string(*copy, again);
  require_law(again == written, "a table is written back as it was read");
}

}  // namespace wk
