#include "crawler/horizon/bit_filter.h"

#include <algorithm>

#include "wkstd/memory.h"

namespace wk {
namespace {

// Every step shifts all three values left, by 7, at least 6 and 5 bits with what they take from one
// another. What a byte put in has left all 32 bits six bytes later, so only the last six count.
constexpr size_t NB_BYTES_THAT_COUNT = 6;

size_t count_words(uint32_t nb_bits) { return (static_cast<size_t>(nb_bits) >> 4) + 1; }

bool is_bit_set(const bit_filter& filter, uint32_t hash) {
  const uint32_t bit = hash % filter.nb_bits;
  return (filter.words[bit >> 4] >> (bit & 15) & 1) != 0;
}

void set_bit(bit_filter& filter, uint32_t hash) {
  const uint32_t bit = hash % filter.nb_bits;
  filter.words[bit >> 4] |= 1U << (bit & 15);
}

}  // namespace

url_bits hash_url_bits(std::string_view url) {
  url.remove_prefix(url.size() - std::min(url.size(), NB_BYTES_THAT_COUNT));
  url_bits bits;
  for (const char byte : url) {
    const uint32_t c = static_cast<unsigned char>(byte);
    const uint32_t h1 = (bits.h1 + c + bits.h2) << 7;
    const uint32_t h2 = (c + bits.h3 * bits.h2) * 8;
    const uint32_t h3 = ((bits.h3 ^ h1) + c) << 5;
    bits = {h1, h2, h3};
  }
  return bits;
}

void init_bit_filter(bit_filter& filter, uint32_t nb_bits) {
  filter.nb_bits = nb_bits;
  clear_bit_filter(filter);
}

void clear_bit_filter(bit_filter& filter) {
  filter.words.reset();
  filter.words.reset(static_cast<uint32_t*>(
      allocate_zeroed_memory(count_words(filter.nb_bits) * sizeof(uint32_t))));
}

void add_bit_filter(bit_filter& filter, std::string_view url) {
  const url_bits bits = hash_url_bits(url);
  set_bit(filter, bits.h1);
  set_bit(filter, bits.h2);
  set_bit(filter, bits.h3);
}

bool may_hold_bit_filter(const bit_filter& filter, std::string_view url) {
  const url_bits bits = hash_url_bits(url);
  return is_bit_set(filter, bits.h1) && is_bit_set(filter, bits.h2) && is_bit_set(filter, bits.h3);
}

std::span<uint32_t> get_words_bit_filter(bit_filter& filter) {
  return {filter.words.get(), count_words(filter.nb_bits)};
}

std::span<const uint32_t> get_words_bit_filter(const bit_filter& filter) {
  return {filter.words.get(), count_words(filter.nb_bits)};
}

}  // namespace wk
