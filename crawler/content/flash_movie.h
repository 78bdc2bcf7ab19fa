// A Flash movie (SWF file format) as a stream of tags. Integers are little-endian.
//
//   OFFSET  SIZE  CONTENT
//        0     3  "FWS", or "CWS" when all behind the first 8 bytes is compressed (zlib, RFC 1950)
//        3     1  version
//        4     4  length of the whole movie, not compressed
//        8     *  frame rectangle: 5 bits n, four numbers of n bits, filled up to a whole byte
//        *     2  frame rate
//        *     2  number of frames
//        *     *  tags: header (2; upper 10 bits code, lower 6 bits length), length (4, only when
//        the
//                 6 bits are all ones), body. Code 0 ends them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace wk {

constexpr size_t MAX_INFLATED_MOVIE_BYTES = size_t{64} << 20;

struct flash_header {
  uint8_t version = 0;
  bool compressed = false;
  uint32_t length = 0;  // as declared
};

struct flash_tag {
  uint32_t code = 0;
  std::string_view body;  // cut where the movie ends
};

// Whether a document with this URL may be a movie: its text behind the last "." is "swf", or "exe"
// for a projector, any case.
[[nodiscard]] bool is_flash_url(std::string_view url);
// The movie in a document's data; empty when there is none. The view lies inside data.
[[nodiscard]] std::string_view find_flash_movie(std::string_view url, std::string_view data);

// Reads the header and leaves in tags what comes behind the number of frames: a part of movie, or
// of inflated, which a compressed movie is inflated into. Of a damaged movie what could be inflated
// counts. False when it is too short.
[[nodiscard]] bool open_flash_movie(std::string_view movie, std::string& inflated,
                                    flash_header& header, std::string_view& tags);
// Takes the next tag off tags. False at the end.
[[nodiscard]] bool take_flash_tag(std::string_view& tags, flash_tag& tag);

// Each takes a value off the front of bytes; false, with bytes unchanged, when there is too little.
[[nodiscard]] bool take_flash_u8(std::string_view& bytes, uint8_t& value);
[[nodiscard]] bool take_flash_u16(std::string_view& bytes, uint16_t& value);
[[nodiscard]] bool take_flash_u32(std::string_view& bytes, uint32_t& value);
[[nodiscard]] bool take_flash_bytes(std::string_view& bytes, size_t count);

}  // namespace wk
