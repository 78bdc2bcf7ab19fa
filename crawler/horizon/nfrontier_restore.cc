#include <unistd.h>

#include <algorithm>
#include <limits>
#include <map>
#include <vector>

#include "crawler/horizon/nfrontier.h"
#include "crawler/horizon/queue_file_name.h"
#include "crawler/url/url_form.h"
#include "wkstd/directory.h"
#include "wkstd/error.h"
#include "wkstd/text.h"

namespace wk {
namespace {

// A file whose URLs are pushed like new ones, from the line behind the first nb_taken URLs on.
struct leftover_file {
  std::string path;
  uint32_t nb_taken = 0;
};

// What the directory holds, sorted out.
struct found_files {
  std::map<uint32_t, std::vector<uint32_t>> spills;  // queue -> numbers
  std::vector<queue_file_name> buffers;
  std::vector<leftover_file> leftovers;
};

bool find_files(const nfrontier& frontier, found_files& found) {
  std::vector<std::string> names;
  if (!list_files(frontier.directory, names)) return false;
  for (const std::string& name : names) {
    const queue_file_name parsed = parse_queue_file_name(name);
    if (parsed.kind == QUEUE_FILE_NONE) continue;
    if (parsed.kind == QUEUE_FILE_FOREIGN || parsed.queue >= frontier.nb_queues) {
      found.leftovers.push_back({frontier.directory + "/" + name});
    } else if (parsed.kind == QUEUE_FILE_SPILL) {
      found.spills[parsed.queue].push_back(parsed.number);
    } else {
      found.buffers.push_back(parsed);
    }
  }
  return true;
}

bool load_buffer(nfrontier& frontier, const queue_file_name& name,
                 std::vector<leftover_file>& leftovers) {
  url_queue& queue = find_or_make_queue_nfrontier(frontier, name.queue).urls;
  const bool is_head = name.kind == QUEUE_FILE_HEAD;
  ring_buffer& buffer = is_head ? queue.head : queue.tail;
  const std::string path = is_head ? build_head_path(queue) : build_tail_path(queue);
  const load_status status = load_ring_buffer(buffer, path);
  queue.count += buffer.count;
  if (status == LOAD_TOO_MANY) leftovers.push_back({path, buffer.count});
  queue.has_saved_files = true;  // it may have refused to be read, or to go
  return status != LOAD_FAILED;
}

// A file counts a full buffer unread, so absurd settings could pass what a count can hold.
void adopt_spills(nfrontier& frontier, found_files& found) {
  uint64_t nb_urls = 0;
  for (const auto& [index, queue] : frontier.queues) nb_urls += queue.urls.count;
  for (auto& [index, numbers] : found.spills) {
    std::sort(numbers.begin(), numbers.end());
    url_queue& queue = find_or_make_queue_nfrontier(frontier, index).urls;
    for (const uint32_t number : numbers) {
      if (nb_urls + queue.capacity > std::numeric_limits<uint32_t>::max()) {
        found.leftovers.push_back({queue.path_prefix + std::to_string(number) + ".txt"});
        queue.end_file = number + 1;
        continue;
      }
      adopt_file_url_queue(queue, number);
      nb_urls += queue.capacity;
    }
  }
}

// Every queue that holds URLs is due at once.
void schedule_queues(nfrontier& frontier) {
  std::vector<uint32_t> indices;
  for (const auto& [index, queue] : frontier.queues) {
    if (queue.urls.count > 0) indices.push_back(index);
  }
  std::sort(indices.begin(), indices.end());
  for (const uint32_t index : indices) {
    frontier.nb_urls += frontier.queues[index].urls.count;
    insert_heap(frontier.due, {0, index});
  }
}

bool push_leftover(nfrontier& frontier, const leftover_file& file) {
  const line_reader_ptr reader = open_line_reader(file.path);
  uint32_t nb_urls = 0;
  std::string_view line;
  while (reader != nullptr && read_line(*reader, line)) {
    if (!is_acceptable_url(line) || ++nb_urls <= file.nb_taken) continue;
    push_nfrontier(frontier, line);
  }
  print_message(format_text("%s does not fit this horizon, %u URLs of it were added anew\n",
                            file.path.c_str(), nb_urls - std::min(nb_urls, file.nb_taken)));
  return reader != nullptr && !reader->failed && ::unlink(file.path.c_str()) == 0;
}

}  // namespace

bool restore_nfrontier(nfrontier& frontier) {
  found_files found;
  if (!find_files(frontier, found)) return false;
  bool whole = true;
  for (const queue_file_name& name : found.buffers) {
    if (!load_buffer(frontier, name, found.leftovers)) whole = false;
  }
  adopt_spills(frontier, found);
  schedule_queues(frontier);
  for (const leftover_file& file : found.leftovers) {
    if (!push_leftover(frontier, file)) whole = false;
  }
  return whole;
}

}  // namespace wk
