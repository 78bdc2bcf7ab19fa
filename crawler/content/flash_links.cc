#include "crawler/content/flash_links.h"

#include "crawler/content/flash_actions.h"

namespace wk {
namespace {

// Tag codes.
constexpr uint32_t DEFINE_BUTTON = 7;
constexpr uint32_t DO_ACTION = 12;
constexpr uint32_t DEFINE_BUTTON_2 = 34;

// Bits of a record, the highest of a byte first.
struct bit_reader {
  std::string_view bytes;
  size_t at = 0;  // bits
};

// Bits behind the end are zero.
uint32_t take_bits(bit_reader& reader, uint32_t count) {
  uint32_t value = 0;
  for (uint32_t i = 0; i < count; ++i, ++reader.at) {
    const size_t byte = reader.at / 8;
    const uint32_t bits = byte < reader.bytes.size() ? static_cast<uint8_t>(reader.bytes[byte]) : 0;
    value = value << 1U | (bits >> (7 - reader.at % 8) & 1U);
  }
  return value;
}

// MATRIX: scale and rotation, each one bit that says whether 5 bits n and two numbers of n bits
// follow; translation, which has no such bit; filled up to a whole byte.
bool skip_flash_matrix(std::string_view& bytes) {
  bit_reader reader{bytes};
  for (int i = 0; i < 2; ++i) {
    if (take_bits(reader, 1) == 1) reader.at += size_t{2} * take_bits(reader, 5);
  }
  reader.at += size_t{2} * take_bits(reader, 5);
  return take_flash_bytes(bytes, (reader.at + 7) / 8);
}

// Button id (2), button records, a zero byte, actions. A record: states (1, not zero), id of the
// character (2), depth (2), MATRIX.
void add_button_links(std::string_view body, link_gatherer& gatherer) {
  constexpr size_t ID_AND_DEPTH_BYTES = 4;
  if (!take_flash_bytes(body, 2)) return;
  for (uint8_t states = 0; take_flash_u8(body, states);) {
    if (states == 0) {
      add_flash_action_links(body, gatherer);
      return;
    }
    if (!take_flash_bytes(body, ID_AND_DEPTH_BYTES) || !skip_flash_matrix(body)) return;
  }
}

// Button id (2), flags (1), distance from here to the first event (2; 0: none), button records,
// events. An event: distance from here to the next (2; 0: the last), its condition (2), actions.
void add_button_2_links(std::string_view body, link_gatherer& gatherer) {
  constexpr size_t ID_AND_FLAGS_BYTES = 3;
  constexpr size_t EVENT_HEAD_BYTES = 4;
  uint16_t distance = 0;
  std::string_view events = body;
  if (!take_flash_bytes(events, ID_AND_FLAGS_BYTES)) return;
  std::string_view head = events;
  if (!take_flash_u16(head, distance) || distance == 0) return;
  if (!take_flash_bytes(events, distance)) return;
  for (head = events; take_flash_u16(head, distance); head = events) {
    std::string_view event = distance == 0 ? events : events.substr(0, distance);
    if (take_flash_bytes(event, EVENT_HEAD_BYTES)) add_flash_action_links(event, gatherer);
    if (distance == 0 || !take_flash_bytes(events, distance)) return;
  }
}

}  // namespace

void add_flash_tag_links(const flash_tag& tag, link_gatherer& gatherer) {
  switch (tag.code) {
    case DO_ACTION:
      return add_flash_action_links(tag.body, gatherer);
    case DEFINE_BUTTON:
      return add_button_links(tag.body, gatherer);
    case DEFINE_BUTTON_2:
      return add_button_2_links(tag.body, gatherer);
    default:
      return;
  }
}

uint32_t add_flash_links(std::string_view url, std::string_view data, std::string& inflated,
                         link_gatherer& gatherer) {
  const std::string_view movie = find_flash_movie(url, data);
  flash_header header;
  std::string_view tags;
  if (movie.empty()) return NO_FLASH_MOVIE;
  if (!open_flash_movie(movie, inflated, header, tags)) return NO_FLASH_MOVIE;
  const uint32_t nb_before = gatherer.links->count;
  for (flash_tag tag; take_flash_tag(tags, tag);) add_flash_tag_links(tag, gatherer);
  return gatherer.links->count - nb_before;
}

}  // namespace wk
