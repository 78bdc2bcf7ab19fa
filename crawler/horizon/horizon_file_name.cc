#include "crawler/horizon/horizon_file_name.h"

#include "crawler/horizon/queue_file_name.h"

namespace wk {

bool is_horizon_file_name(std::string_view name) {
  for (const std::string_view file : {"ndue_cache.txt", "ndue_unknown.txt", "ndue_disk_cache.txt",
                                      "ndue_mhash.txt", "ndue_pending.txt"}) {
    if (name == file) return true;
  }
  const queue_file_kind kind = parse_queue_file_name(name).kind;
  return kind != QUEUE_FILE_NONE && kind != QUEUE_FILE_FOREIGN;
}

}  // namespace wk
