// HASH STRING FILE: a table as bytes. Integers are those of wkstd/state_stream.h.
//
//   magic       0x800299
//   version     3; 2 is read the same way, any other is refused
//   count       of keys
//   nb_buckets
//   buckets     for each that holds keys: its number, its entries in chain order, 100,000,000
//   entry       length of the key with its terminator, so many bytes, the value
//   end         100,000,000 in place of a bucket number
#pragma once

#include <string>
#include <string_view>

#include "wkdt/hash_string.h"

namespace wk {

void write_hash_string(const hash_string& table, std::string& stream);
// Cuts one table off the front of bytes. Null, after a warning on the error channel, for a foreign
// version; null for bytes that are cut short or contradict themselves; bytes is left alone then. A
// table read this way knows its keys but lists no used bucket: it is not cleared for another use.
[[nodiscard]] hash_string_ptr read_hash_string(std::string_view& bytes);

}  // namespace wk
