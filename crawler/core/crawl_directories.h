// The directories that a crawl keeps to itself, so that no other crawl empties or writes them:
// those of its store, of its temporary data and of its checkpoints.
//
// Each is locked (wkstd/directory_lock.h) from before the crawl's first effect until its end; one
// that serves for two of them is locked once. Where the system has no locks a crawl goes on
// without.
#pragma once

#include <string>

#include "crawler/config/crawler_config.h"
#include "wkstd/directory_lock.h"

namespace wk {

// Null for a directory that is not there, has no locks, or is held by another of the three.
struct crawl_directories {
  directory_lock_ptr store;
  directory_lock_ptr temp;
  directory_lock_ptr checkpoint;  // once the crawl runs: guarded by the crawler's lock
};

// Locks the directories that a profile names and changes nothing. One that another crawl holds ends
// the process with a fatal report that names it.
void lock_crawl_directories(crawl_directories& directories, const config_values& config);

}  // namespace wk
