// The record behind the operations of frontier.h, and what a checkpoint does with it.
//
// A horizon's whole state can be put into the files of its directory (save) and taken out of them
// again (restore). A checkpoint holds the lock from before the save until the files are copied:
//
//   const std::unique_lock<std::mutex> hold = lock_horizon(horizon);
//   if (save_horizon(horizon) != HORIZON_OK) ...
//   ... copy the files ...
//
// A restore clears the horizon (frontier_ops.clear), puts the files into the directory, takes the
// lock and restores. No operation of frontier_ops may be called by who holds the lock, but those
// that say that they take none.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>

#include "crawler/horizon/nfrontier.h"
#include "crawler/horizon/url_cache.h"
#include "crawler/horizon/urls_in_hands.h"

namespace wk {

enum horizon_status : uint32_t {
  HORIZON_OK = 0,
  HORIZON_IO_ERROR = 1,  // the disk refused something; it was said on standard error
};

// Owned by its frontier_ops.
struct horizon {
  std::string directory;                // fixed at creation
  uint64_t (*get_time_us)() = nullptr;  // fixed at creation
  // Written under the lock; anybody reads them without it, and so while a merge holds it.
  std::atomic<uint32_t> active_urls{0};  // handed out, not ended
  std::atomic<uint64_t> nb_known{0};     // URLs on the known list or in the disk cache
  std::atomic<uint32_t> nb_doubtful{0};

  // Guards all below. Taken after the crawler's lock; held over file work.
  std::mutex lock;
  std::condition_variable changed;  // signalled when URLs were added
  nfrontier frontier;
  url_cache cache;  // its key is fixed at creation and read without the lock
  urls_in_hands hands;
  uint64_t merge_not_before_us = 0;  // a merge that the disk refused is not tried at every look
};

[[nodiscard]] std::unique_lock<std::mutex> lock_horizon(horizon& self);

[[nodiscard]] url_cache_counts get_counts_horizon(horizon& self);  // takes the lock
// Brings nb_known and nb_doubtful up to date. The caller holds the lock and has changed the cache.
void publish_counts_horizon(horizon& self);

// Both: the caller holds the lock.
//
// After a save the files of the directory hold every URL that was accepted and not ended. With
// HORIZON_IO_ERROR they do not; the horizon itself goes on as before.
[[nodiscard]] horizon_status save_horizon(horizon& self);
// The horizon was cleared and the files stand in its directory. With HORIZON_IO_ERROR what could be
// read was taken.
[[nodiscard]] horizon_status restore_horizon(horizon& self);

}  // namespace wk
