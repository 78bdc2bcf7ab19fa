// How the files of the queues are named, inside the horizon's directory:
//
//   nfrontier.<queue>.<number>.txt   a spill file; the numbers of a queue rise with age
//   nfrontier.<queue>.head.txt       the head buffer, written by a save
//   nfrontier.<queue>.tail.txt       the tail buffer, written by a save
//
// Numbers are decimal without leading zeros, at most MAX_QUEUE_FILE_NUMBER.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace wk {

constexpr uint32_t MAX_QUEUE_FILE_NUMBER = 2'147'483'646;

enum queue_file_kind : uint32_t {
  QUEUE_FILE_NONE = 0,     // the name of something else
  QUEUE_FILE_FOREIGN = 1,  // begins like the file of a queue and then goes on differently
  QUEUE_FILE_HEAD = 2,
  QUEUE_FILE_TAIL = 3,
  QUEUE_FILE_SPILL = 4,
};

struct queue_file_name {
  queue_file_kind kind = QUEUE_FILE_NONE;
  uint32_t queue = 0;
  uint32_t number = 0;  // of a spill file
};

[[nodiscard]] queue_file_name parse_queue_file_name(std::string_view name);

// "<directory>/nfrontier.<queue>.", which the rest of each name is put behind.
[[nodiscard]] std::string build_queue_path_prefix(const std::string& directory, uint32_t queue);

}  // namespace wk
