// Checkpoints: a directory that holds the horizon as it stood at one moment, and the way back.
//
// A checkpoint is a flat directory with a copy of each file of the horizon. Whatever happens while
// it is written leaves the earlier checkpoint or the new one, whole (checkpoint_directory.h).
// Restoring reads a checkpoint and never changes it.
#pragma once

#include <cstdint>
#include <string>

#include "crawler/core/crawler.h"

namespace wk {

enum checkpoint_status : uint32_t {
  CHECKPOINT_OK = 0,
  CHECKPOINT_REFUSED = 1,  // no directory for checkpoints, or another crawl's; nothing was touched
  CHECKPOINT_FAILED = 2,   // the disk refused; the earlier checkpoint stands
};

// Writes a checkpoint and says so in the log, or why not (level 4) and in reason. The crawl keeps
// the directory of its last checkpoint to itself (crawl_directories.h) and leaves an earlier one to
// others. The caller holds the crawler's lock; the horizon's is taken and held over the copy, so
// spiders wait.
[[nodiscard]] checkpoint_status write_checkpoint(Crawler& crawler, const std::string& directory,
                                                 std::string& reason);

// Takes the horizon, the store and the link file up where the crawler's checkpoint directory left
// them; without one the crawl begins with an empty horizon, and says so. Before any thread is
// started. False when some of it could not be read, which was said on standard error; checkpoints
// are then written on request only.
bool restore_crawler(Crawler& crawler);

}  // namespace wk
