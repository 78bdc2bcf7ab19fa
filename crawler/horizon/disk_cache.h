// The known URLs that are no longer in memory: one sorted file, and a filter that spares asking it.
//
// FILE ndue_disk_cache.txt: one URL a line, rising in byte order, each once. It is only ever
// replaced as a whole: a merge writes it anew beside itself and renames that over it, after every
// byte was taken, so a failure leaves the file as it was.
//
// FILTER FILE ndue_mhash.txt, written by a save. Integers: unsigned 32-bit little-endian.
//   OFFSET  SIZE  CONTENT
//        0     4  number of URLs in the disk cache
//        4     *  the words of the filter (bit_filter.h), 4 bytes each
//
// Threads: one at a time, under the horizon's lock.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "crawler/horizon/bit_filter.h"
#include "crawler/horizon/sorted_merge.h"

namespace wk {

struct disk_cache {
  uint32_t count = 0;  // URLs in the file
  std::string path;
  std::string filter_path;
  bit_filter filter;
};

void init_disk_cache(disk_cache& cache, const std::string& directory, uint32_t nb_bits);
void clear_disk_cache(disk_cache& cache);  // forgets; files stay as they are

// False when the disk cache cannot hold url.
[[nodiscard]] inline bool may_hold_disk_cache(const disk_cache& cache, std::string_view url) {
  return cache.count > 0 && may_hold_bit_filter(cache.filter, url);
}
// Takes up the lines of a sorted file. On failure nothing has changed and outcome means nothing.
[[nodiscard]] bool merge_disk_cache(disk_cache& cache, const std::string& sorted_path,
                                    merge_outcome& outcome);

[[nodiscard]] bool save_filter_disk_cache(const disk_cache& cache);
// Reads the filter's file and removes it. A filter that does not fit this cache or its file is
// built anew from that. False when a file cannot be read.
[[nodiscard]] bool load_filter_disk_cache(disk_cache& cache);

}  // namespace wk
