// The filter before the disk cache: says of a URL that it cannot be in there, or that it may be.
//
// LAYOUT, in memory and in its file: an array of (nb_bits >> 4) + 1 words of 32 bits. Bit b is bit
// (b & 15) of word (b >> 4), so a word carries 16 bits in its low half; its upper half stays 0. The
// words are touched only where bits are set, so a large filter costs what is used of it.
//
// Threads: one at a time, under the horizon's lock.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>
#include <string_view>

namespace wk {

struct free_words {
  void operator()(uint32_t* words) const { std::free(words); }
};

struct bit_filter {
  uint32_t nb_bits = 0;  // at least 1
  std::unique_ptr<uint32_t[], free_words> words;
};

// The three values of a URL, before they are taken modulo the number of bits.
struct url_bits {
  uint32_t h1 = 0;
  uint32_t h2 = 0;
  uint32_t h3 = 0;
};
[[nodiscard]] url_bits hash_url_bits(std::string_view url);

void init_bit_filter(bit_filter& filter, uint32_t nb_bits);
void clear_bit_filter(bit_filter& filter);
void add_bit_filter(bit_filter& filter, std::string_view url);
[[nodiscard]] bool may_hold_bit_filter(const bit_filter& filter, std::string_view url);

[[nodiscard]] std::span<uint32_t> get_words_bit_filter(bit_filter& filter);
[[nodiscard]] std::span<const uint32_t> get_words_bit_filter(const bit_filter& filter);

}  // namespace wk
