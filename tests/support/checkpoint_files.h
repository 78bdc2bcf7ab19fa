// What stands in a checkpoint, or in the files of a horizon, as a test compares it.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>

#include "tests/support/child_process.h"

namespace wk {

// Name -> bytes of every file directly inside; a directory inside has its name and "/".
using directory_bytes = std::map<std::string, std::string>;
[[nodiscard]] directory_bytes read_directory_bytes(const std::string& directory);
// Makes directory hold exactly these files.
void write_directory_bytes(const std::string& directory, const directory_bytes& files);

// The URLs of a horizon's files, read by their names and lines alone.
struct checkpoint_urls {
  std::set<std::string> known;        // on the list of known URLs or in the disk cache
  std::multiset<std::string> queued;  // to be crawled: queues and pending
  std::set<std::string> doubtful;
};
[[nodiscard]] checkpoint_urls list_checkpoint_urls(const directory_bytes& files);

// Runs check_horizon on the directory.
[[nodiscard]] program_result check_horizon_files(const std::string& directory, uint32_t filter_bits,
                                                 uint32_t nb_queues);

}  // namespace wk
