// Sixteen bytes at once: what pages and URLs are searched and summed with.
//
// A match mask has bit i set for byte i of the block. SSE2 where the machine has it (every x86-64),
// plain loops elsewhere; both give the same answers.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace wk {

constexpr size_t BYTE_BLOCK_SIZE = 16;

#if defined(__SSE2__)

struct byte_block {
  __m128i bytes;
};

[[nodiscard]] inline byte_block load_byte_block(const void* from) {
  return {_mm_loadu_si128(static_cast<const __m128i*>(from))};
}
inline void store_byte_block(void* to, byte_block block) {
  _mm_storeu_si128(static_cast<__m128i*>(to), block.bytes);
}
[[nodiscard]] inline uint32_t match_byte_block(byte_block block, char wanted) {
  return static_cast<uint32_t>(
      _mm_movemask_epi8(_mm_cmpeq_epi8(block.bytes, _mm_set1_epi8(wanted))));
}
// The mask of bytes that are at most limit.
[[nodiscard]] inline uint32_t match_up_to_byte_block(byte_block block, unsigned char limit) {
  const __m128i lowered = _mm_min_epu8(block.bytes, _mm_set1_epi8(static_cast<char>(limit)));
  return static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(lowered, block.bytes)));
}
// Lane by lane, modulo 256.
[[nodiscard]] inline byte_block add_byte_block(byte_block a, byte_block b) {
  return {_mm_add_epi8(a.bytes, b.bytes)};
}
[[nodiscard]] inline byte_block and_byte_block(byte_block a, byte_block b) {
  return {_mm_and_si128(a.bytes, b.bytes)};
}
// Sets the 0x20 bit of every byte: letters become lower case.
[[nodiscard]] inline byte_block lower_byte_block(byte_block block) {
  return {_mm_or_si128(block.bytes, _mm_set1_epi8(0x20))};
}

#else

struct byte_block {
  unsigned char bytes[BYTE_BLOCK_SIZE];
};

[[nodiscard]] inline byte_block load_byte_block(const void* from) {
  byte_block block;
  std::memcpy(block.bytes, from, BYTE_BLOCK_SIZE);
  return block;
}
inline void store_byte_block(void* to, byte_block block) {
  std::memcpy(to, block.bytes, BYTE_BLOCK_SIZE);
}
[[nodiscard]] inline uint32_t match_byte_block(byte_block block, char wanted) {
  uint32_t mask = 0;
  for (size_t i = 0; i < BYTE_BLOCK_SIZE; ++i) {
    mask |= static_cast<uint32_t>(block.bytes[i] == static_cast<unsigned char>(wanted)) << i;
  }
  return mask;
}
[[nodiscard]] inline uint32_t match_up_to_byte_block(byte_block block, unsigned char limit) {
  uint32_t mask = 0;
  for (size_t i = 0; i < BYTE_BLOCK_SIZE; ++i) {
    mask |= static_cast<uint32_t>(block.bytes[i] <= limit) << i;
  }
  return mask;
}
[[nodiscard]] inline byte_block add_byte_block(byte_block a, byte_block b) {
  for (size_t i = 0; i < BYTE_BLOCK_SIZE; ++i) {
    a.bytes[i] = static_cast<unsigned char>(a.bytes[i] + b.bytes[i]);
  }
  return a;
}
[[nodiscard]] inline byte_block and_byte_block(byte_block a, byte_block b) {
  for (size_t i = 0; i < BYTE_BLOCK_SIZE; ++i) a.bytes[i] &= b.bytes[i];
  return a;
}
[[nodiscard]] inline byte_block lower_byte_block(byte_block block) {
  for (size_t i = 0; i < BYTE_BLOCK_SIZE; ++i) block.bytes[i] |= 0x20;
  return block;
}

#endif

// The place of the first wanted byte at or after from; text.size() when there is none.
[[nodiscard]] inline size_t find_byte(std::string_view text, size_t from, char wanted) {
  size_t at = from;
  for (; at + BYTE_BLOCK_SIZE <= text.size(); at += BYTE_BLOCK_SIZE) {
    const uint32_t mask = match_byte_block(load_byte_block(text.data() + at), wanted);
    if (mask != 0) return at + static_cast<size_t>(std::countr_zero(mask));
  }
  while (at < text.size() && text[at] != wanted) ++at;
  return at;
}

// The same for whichever of two bytes comes first.
[[nodiscard]] inline size_t find_either_byte(std::string_view text, size_t from, char first,
                                             char second) {
  size_t at = from;
  for (; at + BYTE_BLOCK_SIZE <= text.size(); at += BYTE_BLOCK_SIZE) {
    const byte_block block = load_byte_block(text.data() + at);
    const uint32_t mask = match_byte_block(block, first) | match_byte_block(block, second);
    if (mask != 0) return at + static_cast<size_t>(std::countr_zero(mask));
  }
  while (at < text.size() && text[at] != first && text[at] != second) ++at;
  return at;
}

}  // namespace wk
