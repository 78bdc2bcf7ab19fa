#include "crawler/content/flash_movie.h"

#include <zlib.h>

#include <algorithm>

#include "wkstd/text.h"

namespace wk {
namespace {

constexpr size_t HEADER_BYTES = 8;
constexpr size_t INFLATE_STEP_BYTES = size_t{64} << 10;
constexpr size_t MIN_PROJECTOR_BYTES = 17;
constexpr size_t PROJECTOR_TAIL_BYTES = 8;  // the projector's mark and the length of its movie

bool begins_movie(std::string_view data) {
  return data.starts_with("FWS") || data.starts_with("CWS");
}

std::string_view find_suffix(std::string_view url) {
  const size_t dot = url.rfind('.');
  return dot == std::string_view::npos ? std::string_view() : url.substr(dot);
}

// The search ends at the first place where no signature begins: in front of the program, or one
// byte into a bare movie. What it finds so far begins no movie.
std::string_view find_projector_movie(std::string_view data) {
  if (data.size() < MIN_PROJECTOR_BYTES) return {};
  size_t at = 0;
  while (at < data.size() && begins_movie(data.substr(at))) ++at;
  const size_t size = data.size() - at;
  return size < PROJECTOR_TAIL_BYTES ? std::string_view()
                                     : data.substr(at, size - PROJECTOR_TAIL_BYTES);
}

// Inflates at most limit bytes; out grows with what comes, not with what was declared.
void inflate_bytes(std::string& out, std::string_view compressed, size_t limit) {
  out.clear();
  z_stream stream{};
  if (inflateInit(&stream) != Z_OK) return;
  // zlib never writes to its input.
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(compressed.data()));
  stream.avail_in = static_cast<uInt>(std::min<size_t>(compressed.size(), UINT32_MAX));
  for (int status = Z_OK; status == Z_OK && out.size() < limit;) {
    const size_t begin = out.size();
    const size_t room = std::min(std::max(INFLATE_STEP_BYTES, begin), limit - begin);
    out.resize(begin + room);
    stream.next_out = reinterpret_cast<Bytef*>(out.data() + begin);
    stream.avail_out = static_cast<uInt>(room);
    status = inflate(&stream, Z_NO_FLUSH);
    out.resize(begin + room - stream.avail_out);
  }
  inflateEnd(&stream);
}

bool skip_frame_description(std::string_view& bytes) {
  if (bytes.empty()) return false;
  const size_t nb_bits = static_cast<unsigned char>(bytes[0]) >> 3;
  constexpr size_t RATE_AND_COUNT_BYTES = 4;
  return take_flash_bytes(bytes, (5 + 4 * nb_bits + 7) / 8 + RATE_AND_COUNT_BYTES);
}

}  // namespace

bool is_flash_url(std::string_view url) {
  const std::string_view suffix = find_suffix(url);
  return equals_ignoring_case(suffix, ".swf") || equals_ignoring_case(suffix, ".exe");
}

std::string_view find_flash_movie(std::string_view url, std::string_view data) {
  if (!is_flash_url(url)) return {};
  const bool bare = equals_ignoring_case(find_suffix(url), ".swf");
  const std::string_view movie = bare ? data : find_projector_movie(data);
  return begins_movie(movie) ? movie : std::string_view();
}

bool open_flash_movie(std::string_view movie, std::string& inflated, flash_header& header,
                      std::string_view& tags) {
  if (movie.size() < HEADER_BYTES) return false;
  header.compressed = movie[0] == 'C';
  header.version = static_cast<uint8_t>(movie[3]);
  std::string_view length = movie.substr(4);
  if (!take_flash_u32(length, header.length)) return false;
  tags = movie.substr(HEADER_BYTES);
  if (header.compressed) {
    inflate_bytes(inflated, tags, std::min<size_t>(header.length, MAX_INFLATED_MOVIE_BYTES));
    tags = inflated;
  }
  return skip_frame_description(tags);
}

bool take_flash_tag(std::string_view& tags, flash_tag& tag) {
  constexpr uint32_t LONG_TAG = 63;
  uint16_t header = 0;
  if (!take_flash_u16(tags, header)) return false;
  tag.code = header >> 6U;
  uint32_t length = header & LONG_TAG;
  if (length == LONG_TAG && !take_flash_u32(tags, length)) return false;
  tag.body = tags.substr(0, length);
  tags.remove_prefix(tag.body.size());
  return tag.code != 0;
}

bool take_flash_u8(std::string_view& bytes, uint8_t& value) {
  if (bytes.empty()) return false;
  value = static_cast<uint8_t>(bytes[0]);
  bytes.remove_prefix(1);
  return true;
}

bool take_flash_u16(std::string_view& bytes, uint16_t& value) {
  if (bytes.size() < 2) return false;
  const auto low = static_cast<uint8_t>(bytes[0]);
  const auto high = static_cast<uint8_t>(bytes[1]);
  value = static_cast<uint16_t>(low | high << 8U);
  bytes.remove_prefix(2);
  return true;
}

bool take_flash_u32(std::string_view& bytes, uint32_t& value) {
  uint16_t low = 0;
  uint16_t high = 0;
  std::string_view rest = bytes;
  if (!take_flash_u16(rest, low) || !take_flash_u16(rest, high)) return false;
  value = low | static_cast<uint32_t>(high) << 16U;
  bytes = rest;
  return true;
}

bool take_flash_bytes(std::string_view& bytes, size_t count) {
  if (bytes.size() < count) return false;
  bytes.remove_prefix(count);
  return true;
}

}  // namespace wk
