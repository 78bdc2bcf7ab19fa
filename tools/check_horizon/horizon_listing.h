// What stands in a directory of the horizon, sorted out by name.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "crawler/horizon/queue_file_name.h"
#include "tools/check_horizon/fault_report.h"

namespace wk {

inline constexpr char KNOWN_LIST_NAME[] = "ndue_cache.txt";
inline constexpr char UNKNOWN_LIST_NAME[] = "ndue_unknown.txt";
inline constexpr char DISK_CACHE_NAME[] = "ndue_disk_cache.txt";
inline constexpr char PENDING_NAME[] = "ndue_pending.txt";
inline constexpr char FILTER_NAME[] = "ndue_mhash.txt";

struct queue_file {
  queue_file_name parsed;  // head, tail or spill
  std::string name;
};

struct horizon_listing {
  std::vector<queue_file> queue_files;  // by queue, then head, spill files by number, tail
  bool has_known_list = false;
  bool has_unknown_list = false;
  bool has_disk_cache = false;
  bool has_pending = false;
  bool has_filter = false;  // only a save writes it, so this is a checkpoint
};

// Reports names that the horizon never writes, and notes work files. nb_queues is 0 when it isn't
// known. False when the directory can't be read.
[[nodiscard]] bool list_horizon(const std::string& directory, uint32_t nb_queues,
                                horizon_listing& listing, fault_report& report);
// Reports files that must have been there: spill files between two others of their queue; in a
// checkpoint the head and the tail of every queue that has a file; and the filter, which is written
// and removed together with heads, tails and the pending file.
void check_missing_files(const horizon_listing& listing, fault_report& report);

}  // namespace wk
