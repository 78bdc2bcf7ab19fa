#include "crawler/horizon/url_queue.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "crawler/horizon/queue_file_name.h"
#include "crawler/url/url_form.h"
#include "wkstd/error.h"
#include "wkstd/text.h"

namespace wk {
namespace {

constexpr uint32_t MAX_PUSHES_BEFORE_RETRY = 1'000;
constexpr uint32_t MAX_REFUSED_READS = 10;

std::string build_spill_path(const url_queue& queue, uint32_t number) {
  return queue.path_prefix + std::to_string(number) + ".txt";
}

bool remove_file(const std::string& path) { return ::unlink(path.c_str()) == 0 || errno == ENOENT; }

void remove_spill_file(url_queue& queue, uint32_t number) {
  if (!remove_file(build_spill_path(queue, number))) queue.spent_files.push_back(number);
}

bool remove_spent_files(url_queue& queue) {
  std::erase_if(queue.spent_files,
                [&](uint32_t number) { return remove_file(build_spill_path(queue, number)); });
  return queue.spent_files.empty();
}

bool write_urls(output_file& file, const ring_buffer& buffer, uint32_t nb_urls) {
  for (uint32_t i = 0; i < nb_urls; ++i) {
    write_output_file(file, peek_ring_buffer(buffer, i));
    write_output_file(file, "\n");
  }
  return !file.broken;
}

// Moves one bufferful from the tail to a new file; leaves the tail alone when the disk refuses.
bool spill_tail(url_queue& queue) {
  if (queue.end_file > MAX_QUEUE_FILE_NUMBER) return false;
  const std::string path = build_spill_path(queue, queue.end_file);
  output_file_ptr file = open_output_file(path, FILE_TRUNCATE);
  if (file == nullptr) return false;
  std::erase(queue.spent_files, queue.end_file);  // it is written over
  const uint32_t nb_urls = std::min(queue.tail.count, queue.capacity);
  const bool written = write_urls(*file, queue.tail, nb_urls);
  if (!finish_output_file(file) || !written) {
    remove_spill_file(queue, queue.end_file);
    return false;
  }
  drop_ring_buffer(queue.tail, nb_urls);
  queue.files.push_back(queue.end_file++);
  return true;
}

// Spills until the tail has room, or answers a refusal by letting it grow for a while.
void spill_full_tail(url_queue& queue) {
  if (queue.tail.count < queue.spill_at) return;
  while (is_full_ring_buffer(queue.tail)) {
    if (spill_tail(queue)) continue;
    queue.spill_at = queue.tail.count + std::min(queue.capacity, MAX_PUSHES_BEFORE_RETRY);
    print_message(format_text("%s can't be written, %u URLs of this queue stay in memory\n",
                              build_spill_path(queue, queue.end_file).c_str(), queue.tail.count));
    return;
  }
  queue.spill_at = 0;
}

// The file counted as a full buffer; from now on it counts what it held.
void recount_file(url_queue& queue, const std::string& path, uint32_t nb_read, bool failed) {
  queue.count = queue.count - std::min(queue.count, queue.capacity) + nb_read;
  if (nb_read >= queue.capacity && !failed) return;
  print_message(
      format_text("%s gave %u URLs instead of %u\n", path.c_str(), nb_read, queue.capacity));
}

void read_urls(line_reader& reader, std::vector<std::string>& urls) {
  std::string_view line;
  while (read_line(reader, line)) {
    if (is_acceptable_url(line)) urls.emplace_back(line);
  }
}

// Reads the oldest file into the head and removes it. False when it is there but cannot be read. A
// file that opens and cannot be read to its end is tried again some times: the disk may recover.
bool refill_head_from_file(url_queue& queue) {
  const uint32_t number = queue.files.front();
  const std::string path = build_spill_path(queue, number);
  const line_reader_ptr reader = open_line_reader(path);
  if (reader == nullptr && errno != ENOENT) return false;
  std::vector<std::string> urls;
  if (reader != nullptr) read_urls(*reader, urls);
  const bool is_whole = reader != nullptr && !reader->failed;
  if (reader != nullptr && !is_whole && ++queue.nb_refused_reads < MAX_REFUSED_READS) return false;
  queue.nb_refused_reads = 0;
  queue.files.erase(queue.files.begin());
  for (const std::string& url : urls) {
    // A file of more than a bufferful was spilled with a larger capacity.
    if (put_ring_buffer(queue.head, url)) continue;
    spill_full_tail(queue);
    put_beyond_ring_buffer(queue.tail, url);
  }
  recount_file(queue, path, static_cast<uint32_t>(urls.size()), !is_whole);
  remove_spill_file(queue, number);
  return true;
}

// Brings URLs into the empty head from what is behind it.
void refill_head(url_queue& queue) {
  while (queue.head.count == 0 && !queue.files.empty()) {
    if (refill_head_from_file(queue)) continue;
    print_message(format_text("%s can't be read, its URLs wait\n",
                              build_spill_path(queue, queue.files.front()).c_str()));
    break;
  }
  if (queue.head.count > 0) return;
  std::swap(queue.head, queue.tail);
  queue.spill_at = 0;
}

// A buffer's own file, or the pending file when its own cannot show it.
bool save_buffer(const ring_buffer& buffer, const std::string& path, output_file& pending) {
  if (!save_ring_buffer(buffer, path)) return false;
  return !is_full_ring_buffer(buffer) || write_urls(pending, buffer, buffer.count);
}

}  // namespace

std::string build_head_path(const url_queue& queue) { return queue.path_prefix + "head.txt"; }
std::string build_tail_path(const url_queue& queue) { return queue.path_prefix + "tail.txt"; }

void init_url_queue(url_queue& queue, const std::string& directory, uint32_t index,
                    uint32_t capacity) {
  queue = {};
  queue.path_prefix = build_queue_path_prefix(directory, index);
  queue.capacity = capacity;
  queue.head.capacity = capacity;
  queue.tail.capacity = capacity;
}

void push_url_queue(url_queue& queue, std::string_view url) {
  if (is_full_ring_buffer(queue.tail)) {
    if (!queue.files.empty() || is_full_ring_buffer(queue.head)) {
      spill_full_tail(queue);
    } else {
      move_ring_buffer(queue.tail, queue.head);
    }
  }
  put_beyond_ring_buffer(queue.tail, url);
  ++queue.count;
}

bool pop_url_queue(std::string& out, url_queue& queue) {
  if (queue.head.count == 0) refill_head(queue);
  if (!get_ring_buffer(queue.head, out)) return false;
  --queue.count;
  return true;
}

void clear_url_queue(url_queue& queue) {
  queue.end_file = 0;
  queue.files.clear();
  queue.spent_files.clear();
  clear_ring_buffer(queue.head);
  clear_ring_buffer(queue.tail);
  queue.count = 0;
  queue.nb_refused_reads = 0;
  queue.spill_at = 0;
}

bool save_url_queue(url_queue& queue, output_file& pending) {
  const bool no_file_left_over = remove_spent_files(queue);
  if (queue.count > 0) {
    queue.has_saved_files = true;
    const bool head_saved = save_buffer(queue.head, build_head_path(queue), pending);
    const bool tail_saved = save_buffer(queue.tail, build_tail_path(queue), pending);
    return head_saved && tail_saved && no_file_left_over;
  }
  if (!queue.has_saved_files) return no_file_left_over;
  const bool head_removed = remove_file(build_head_path(queue));
  queue.has_saved_files = !remove_file(build_tail_path(queue)) || !head_removed;
  return !queue.has_saved_files && no_file_left_over;
}

void adopt_file_url_queue(url_queue& queue, uint32_t number) {
  queue.files.push_back(number);
  queue.end_file = number + 1;
  queue.count += queue.capacity;
}

}  // namespace wk
