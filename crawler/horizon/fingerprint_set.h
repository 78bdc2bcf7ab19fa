// A bounded memory of fingerprints: what it answers yes to was entered; what was entered is
// forgotten some time after it was last asked for.
//
// Two generations of open-addressed tables. New fingerprints, and old ones that are asked for, go
// to the young one; when that is full it becomes the old one, whose contents are dropped. The young
// table grows by doubling up to the limit, so a small crawl pays for what it knows. With the
// default limit the two take at most 64 MB.
//
// Threads: one at a time, under the horizon's lock.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "crawler/horizon/url_fingerprint.h"

namespace wk {

struct fingerprint_table {
  std::vector<url_fingerprint> slots;  // a power of two of them, or none; all zero: free
  size_t count = 0;
};

struct fingerprint_set {
  size_t max_slots = size_t{1} << 21;  // of one generation; a power of two, or 0 to remember none
  fingerprint_table young;
  fingerprint_table old;
  bool is_complete = true;  // nothing was forgotten since it was last cleared
};

// The slots of one generation when the two take at most nb_bytes; 0 when that is too little.
[[nodiscard]] size_t count_slots_fingerprint_set(size_t nb_bytes);
void clear_fingerprint_set(fingerprint_set& set);
void add_fingerprint_set(fingerprint_set& set, const url_fingerprint& print);
[[nodiscard]] bool find_fingerprint_set(fingerprint_set& set, const url_fingerprint& print);

}  // namespace wk
