#include "crawler/horizon/horizon.h"

#include <unistd.h>

#include <cerrno>

#include "crawler/url/url_form.h"
#include "wkstd/error.h"
#include "wkstd/file.h"
#include "wkstd/text.h"

namespace wk {
namespace {

// PENDING FILE ndue_pending.txt, written by a save: accepted URLs that no other file of the horizon
// shows, one a line: those in the hands of spiders, and those of buffers that are full. A restore
// pushes them without asking whether they are known, for they are.
std::string build_pending_path(const horizon& self) { return self.directory + "/ndue_pending.txt"; }

bool save_queues_and_pending(horizon& self) {
  const std::string path = build_pending_path(self);
  output_file_ptr pending = open_output_file(path, FILE_TRUNCATE);
  if (pending == nullptr) return false;
  write_urls_in_hands(*pending, self.hands);
  const bool queues_saved = save_nfrontier(self.frontier, *pending);
  const bool has_pending = pending->size > 0 || !pending->buffer.empty();
  if (!finish_output_file(pending) || !queues_saved) return false;
  return has_pending || ::unlink(path.c_str()) == 0;
}

bool restore_pending(horizon& self) {
  const std::string path = build_pending_path(self);
  const line_reader_ptr reader = open_line_reader(path);
  if (reader == nullptr) return errno == ENOENT;
  std::string_view line;
  while (read_line(*reader, line)) {
    if (is_acceptable_url(line)) push_nfrontier(self.frontier, line);
  }
  return !reader->failed && ::unlink(path.c_str()) == 0;
}

}  // namespace

std::unique_lock<std::mutex> lock_horizon(horizon& self) {
  return std::unique_lock<std::mutex>(self.lock);
}

url_cache_counts get_counts_horizon(horizon& self) {
  const std::lock_guard<std::mutex> hold(self.lock);
  return self.cache.counts;
}

void publish_counts_horizon(horizon& self) {
  const url_cache& cache = self.cache;
  self.nb_known.store(uint64_t{cache.known.count} + cache.on_disk.count, std::memory_order_relaxed);
  self.nb_doubtful.store(cache.unknown.count, std::memory_order_relaxed);
}

horizon_status save_horizon(horizon& self) {
  const bool queues_saved = save_queues_and_pending(self);
  if (save_url_cache(self.cache) && queues_saved) return HORIZON_OK;
  print_message(
      format_text("the files of the horizon in %s can't be written\n", self.directory.c_str()));
  return HORIZON_IO_ERROR;
}

horizon_status restore_horizon(horizon& self) {
  const bool queues_read = restore_nfrontier(self.frontier);
  const bool cache_read = restore_url_cache(self.cache);
  publish_counts_horizon(self);
  if (restore_pending(self) && cache_read && queues_read) return HORIZON_OK;
  print_message(
      format_text("the files of the horizon in %s can't be read whole\n", self.directory.c_str()));
  return HORIZON_IO_ERROR;
}

}  // namespace wk
