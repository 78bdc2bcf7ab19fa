// A first-in-first-out queue of URLs of any length with a bounded part of it in memory.
//
//   order:   head  ->  spill files, oldest first  ->  tail
//
// URLs enter at the tail and leave at the head. A full tail is spilled to a file as soon as there
// is one already or the head is full too; an empty head is refilled from the oldest file, or takes
// the whole tail when there is none. A spill file holds `capacity` URLs, one a line.
//
// No URL is lost to a full disk: what cannot be spilled stays in the tail, which then grows beyond
// its capacity until a later spill succeeds. A file that cannot be read at the moment stays in the
// queue, and what is behind it is served meanwhile. Only what is gone from the disk is lost, or
// cannot be read time and again, and that is said with the number of URLs.
//
// Threads: one at a time, under the horizon's lock.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "crawler/horizon/ring_buffer.h"
#include "wkstd/file.h"

namespace wk {

struct url_queue {
  std::string path_prefix;      // what every file of this queue begins with
  uint32_t capacity = 0;        // of each buffer, at least 1
  uint32_t end_file = 0;        // the number that the next spill file gets
  std::vector<uint32_t> files;  // numbers of the spill files, rising
  ring_buffer head;
  ring_buffer tail;
  uint32_t count = 0;  // URLs in head, files and tail; each file counts `capacity` until it is read

  std::vector<uint32_t> spent_files;  // no part of the queue, but the disk refused to remove them

  uint32_t nb_refused_reads = 0;  // of the oldest file, in a row
  uint32_t spill_at = 0;          // after a refused spill: the length of the tail to try again at
  bool has_saved_files = false;   // head and tail files of an earlier save may be on disk
};

void init_url_queue(url_queue& queue, const std::string& directory, uint32_t index,
                    uint32_t capacity);
void push_url_queue(url_queue& queue, std::string_view url);
// Takes the oldest URL. False when there is none within reach; count then tells whether there are
// URLs in a file that cannot be read. count may fall by more than one, or rise, when a file turns
// out to hold less or more than a full buffer.
[[nodiscard]] bool pop_url_queue(std::string& out, url_queue& queue);
// Forgets every URL; leaves files alone.
void clear_url_queue(url_queue& queue);
// Writes the buffers to their files. A full buffer, which has no written form, goes to pending
// instead, one URL a line. Files of a queue that is empty are removed, as are spent ones: what is
// saved holds no URL twice. False when the disk refused.
[[nodiscard]] bool save_url_queue(url_queue& queue, output_file& pending);

// Makes a spill file that is on disk part of the queue. Numbers come in rising order.
void adopt_file_url_queue(url_queue& queue, uint32_t number);

[[nodiscard]] std::string build_head_path(const url_queue& queue);
[[nodiscard]] std::string build_tail_path(const url_queue& queue);

}  // namespace wk
