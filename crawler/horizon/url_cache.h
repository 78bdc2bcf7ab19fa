// Decides whether an added URL is new, with bounded memory: recent URLs are asked in a table, older
// ones in a sorted file behind a filter.
//
//   add:  listed as doubtful or known?     -> nothing to do
//         may the disk cache hold it?      -> doubtful; a merge will tell
//         otherwise                        -> known from now on, and pushed into the queues
//
// 10,000 known URLs are flushed into the disk cache. 10,000 doubtful ones, or any number when the
// queues run empty, are merged with it: those that it did not hold are pushed. A flush or merge
// that the disk refuses changes nothing and is tried again later; the lists grow beyond their limit
// meanwhile.
//
// In front stands a memory of fingerprints of URLs for which an add has nothing to do, so that the
// usual case, a link to a page that is known, costs one look. It only ever spares work.
//
// Threads: one at a time, under the horizon's lock.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "crawler/horizon/disk_cache.h"
#include "crawler/horizon/fingerprint_set.h"
#include "crawler/horizon/nfrontier.h"
#include "crawler/horizon/url_fingerprint.h"
#include "crawler/horizon/url_list.h"

namespace wk {

// What happened since the horizon was made; a clear leaves them.
struct url_cache_counts {
  uint64_t nb_added = 0;     // URLs given to add, known or not
  uint64_t nb_doubtful = 0;  // of these, listed as doubtful
  uint64_t nb_flushes = 0;   // of the known list into the disk cache
  uint64_t nb_merges = 0;    // of the doubtful list with the disk cache
};

struct url_cache {
  std::string directory;
  url_list known;      // ndue_cache.txt
  disk_cache on_disk;  // ndue_disk_cache.txt
  url_list unknown;    // ndue_unknown.txt
  fingerprint_key key;
  fingerprint_set settled;  // known, or listed as doubtful
  url_cache_counts counts;
};

void init_url_cache(url_cache& cache, const std::string& directory, uint32_t disk_cache_size);
// print is the fingerprint of url with the cache's key.
void add_url_cache(url_cache& cache, std::string_view url, const url_fingerprint& print,
                   nfrontier& frontier);
// Settles the doubtful URLs. False when the disk refused and they stay doubtful.
bool merge_unknown_url_cache(url_cache& cache, nfrontier& frontier);
void clear_url_cache(url_cache& cache);  // forgets everything; closes the files and leaves them

// Both are true when every file was written, or read, whole.
[[nodiscard]] bool save_url_cache(url_cache& cache);
[[nodiscard]] bool restore_url_cache(url_cache& cache);  // a cleared cache, from its files

}  // namespace wk
