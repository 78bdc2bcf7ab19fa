// A first-in-first-out buffer of URLs in memory with a fixed capacity.
//
// Slots are made when they are first needed and reused afterwards, so a large capacity costs
// nothing until it is used. Threads: one at a time, under the horizon's lock.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace wk {

struct ring_buffer {
  uint32_t capacity = 0;  // URLs; passed only by put_beyond_ring_buffer
  uint32_t count = 0;
  size_t read_pos = 0;             // slot of the oldest URL
  std::vector<std::string> slots;  // the URLs from read_pos on, wrapping
};

enum load_status : uint32_t {
  LOAD_OK = 0,
  LOAD_FAILED = 1,    // the file cannot be opened or read; what was read stands in the buffer
  LOAD_TOO_MANY = 2,  // the file holds more; the buffer is full and the file is still there
};

[[nodiscard]] inline bool is_full_ring_buffer(const ring_buffer& buffer) {
  return buffer.count >= buffer.capacity;
}
// False when the buffer is full.
[[nodiscard]] bool put_ring_buffer(ring_buffer& buffer, std::string_view url);
// The same whether it is full or not: for URLs that have no other place.
void put_beyond_ring_buffer(ring_buffer& buffer, std::string_view url);
// Takes the oldest URL. False when there is none; out is left alone then.
[[nodiscard]] bool get_ring_buffer(ring_buffer& buffer, std::string& out);
// Moves the oldest of from to the end of to until from is empty or to is full.
void move_ring_buffer(ring_buffer& from, ring_buffer& to);
// The i-th oldest URL.
[[nodiscard]] const std::string& peek_ring_buffer(const ring_buffer& buffer, uint32_t i);
void drop_ring_buffer(ring_buffer& buffer, uint32_t nb_urls);  // the oldest ones
void clear_ring_buffer(ring_buffer& buffer);                   // gives its memory back

// BUFFER FILE: one URL a line, oldest first. Of a buffer that is full, or more than full, nothing
// is written: the format tells it from an empty one by its two positions, which are the same then.
// Its URLs need another place.
[[nodiscard]] bool save_ring_buffer(const ring_buffer& buffer, const std::string& path);
// Fills an empty buffer from its file and removes the file. Lines that are no URL are left out.
[[nodiscard]] load_status load_ring_buffer(ring_buffer& buffer, const std::string& path);

}  // namespace wk
