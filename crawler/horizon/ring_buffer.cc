#include "crawler/horizon/ring_buffer.h"

#include <unistd.h>

#include <algorithm>

#include "crawler/url/url_form.h"
#include "wkstd/error.h"
#include "wkstd/file.h"

namespace wk {
namespace {

constexpr size_t MIN_SLOTS = 16;
constexpr size_t LARGEST_REUSED_SLOT_BYTES = 1'024;

size_t find_slot(const ring_buffer& buffer, uint32_t i) {
  const size_t at = buffer.read_pos + i;
  return at < buffer.slots.size() ? at : at - buffer.slots.size();
}

// The next free slot; there are more slots afterwards when all were taken.
std::string& take_slot(ring_buffer& buffer) {
  if (buffer.count == buffer.slots.size()) {
    std::rotate(buffer.slots.begin(),
                buffer.slots.begin() + static_cast<std::ptrdiff_t>(buffer.read_pos),
                buffer.slots.end());
    buffer.read_pos = 0;
    buffer.slots.resize(std::max(MIN_SLOTS, 2 * buffer.slots.size()));
  }
  return buffer.slots[find_slot(buffer, buffer.count++)];
}

void give_slot_back(ring_buffer& buffer) {
  std::string& slot = buffer.slots[buffer.read_pos];
  slot.clear();
  if (slot.capacity() > LARGEST_REUSED_SLOT_BYTES) slot.shrink_to_fit();
  buffer.read_pos = find_slot(buffer, 1);
  --buffer.count;
}

}  // namespace

bool put_ring_buffer(ring_buffer& buffer, std::string_view url) {
  if (is_full_ring_buffer(buffer)) return false;
  put_beyond_ring_buffer(buffer, url);
  return true;
}

void put_beyond_ring_buffer(ring_buffer& buffer, std::string_view url) {
  if (url.empty()) print_message("try to put an empty url to the queue\n");
  take_slot(buffer).assign(url);
}

bool get_ring_buffer(ring_buffer& buffer, std::string& out) {
  if (buffer.count == 0) return false;
  out.swap(buffer.slots[buffer.read_pos]);
  give_slot_back(buffer);
  return true;
}

void move_ring_buffer(ring_buffer& from, ring_buffer& to) {
  while (from.count > 0 && !is_full_ring_buffer(to)) {
    take_slot(to).swap(from.slots[from.read_pos]);
    give_slot_back(from);
  }
}

const std::string& peek_ring_buffer(const ring_buffer& buffer, uint32_t i) {
  return buffer.slots[find_slot(buffer, i)];
}

void drop_ring_buffer(ring_buffer& buffer, uint32_t nb_urls) {
  for (uint32_t i = 0; i < nb_urls && buffer.count > 0; ++i) give_slot_back(buffer);
}

void clear_ring_buffer(ring_buffer& buffer) {
  buffer.count = 0;
  buffer.read_pos = 0;
  buffer.slots = {};
}

bool save_ring_buffer(const ring_buffer& buffer, const std::string& path) {
  output_file_ptr file = open_output_file(path, FILE_TRUNCATE);
  if (file == nullptr) {
    print_message("can't open backup file\n");
    return false;
  }
  const uint32_t nb_written = is_full_ring_buffer(buffer) ? 0 : buffer.count;
  for (uint32_t i = 0; i < nb_written; ++i) {
    write_output_file(*file, peek_ring_buffer(buffer, i));
    write_output_file(*file, "\n");
  }
  return finish_output_file(file);
}

load_status load_ring_buffer(ring_buffer& buffer, const std::string& path) {
  const line_reader_ptr reader = open_line_reader(path);
  if (reader == nullptr) {
    print_message("can't open backup file\n");
    return LOAD_FAILED;
  }
  std::string_view line;
  while (read_line(*reader, line)) {
    if (!is_acceptable_url(line)) continue;
    if (!put_ring_buffer(buffer, line)) {
      print_message("this buffer contains too many data\n");
      return LOAD_TOO_MANY;
    }
  }
  if (reader->failed) return LOAD_FAILED;
  ::unlink(path.c_str());
  return LOAD_OK;
}

}  // namespace wk
