#include "tools/check_horizon/filter_image.h"

#include <bit>
#include <utility>

#include "crawler/horizon/bit_filter.h"
#include "wkstd/directory.h"
#include "wkstd/file.h"
#include "wkstd/text.h"

namespace wk {
namespace {

using ull = unsigned long long;

constexpr uint32_t WORD_BYTES = 4;
constexpr uint32_t LOW_HALF = 0xFFFF;

uint32_t read_word(std::string_view bytes, size_t index) {
  uint32_t word = 0;
  for (size_t i = WORD_BYTES; i-- > 0;) {
    word = word << 8 | static_cast<unsigned char>(bytes[index * WORD_BYTES + i]);
  }
  return word;
}

bool is_bit_set(const filter_image& image, uint32_t hash) {
  const uint32_t bit = hash % image.nb_bits;
  return (read_word(image.words, bit >> 4) >> (bit & 15) & 1) != 0;
}

void check_words(const filter_image& image, std::string_view name, fault_report& report) {
  const size_t nb_words = image.words.size() / WORD_BYTES;
  uint64_t nb_set = 0;
  uint64_t nb_upper = 0;
  size_t first_upper = 0;
  for (size_t i = 0; i < nb_words; ++i) {
    const uint32_t word = read_word(image.words, i);
    nb_set += static_cast<uint64_t>(std::popcount(word & LOW_HALF));
    if ((word & ~LOW_HALF) != 0 && nb_upper++ == 0) first_upper = i;
  }
  if (nb_upper > 0) {
    print_fault(report, name,
                format_text("%llu words have bits in their upper half, the first is word %zu",
                            ull{nb_upper}, first_upper));
  }
  const uint32_t nb_bits_of_last = image.nb_bits & 15;
  if ((read_word(image.words, nb_words - 1) & LOW_HALF) >> nb_bits_of_last != 0) {
    print_fault(report, name, "bits are set behind the last one");
  }
  if (nb_set > uint64_t{3} * image.nb_urls) {
    print_fault(report, name,
                format_text("%llu bits are set, which is too many for %u URLs", ull{nb_set},
                            image.nb_urls));
  }
}

}  // namespace

filter_image load_filter_image(const std::string& path, std::string_view name, uint32_t nb_bits,
                               fault_report& report) {
  const uint64_t nb_words = (uint64_t{nb_bits} >> 4) + 1;
  const uint64_t wanted_bytes = WORD_BYTES + nb_words * WORD_BYTES;
  uint64_t size = 0;
  std::string bytes;
  if (get_file_size(path, size) && size != wanted_bytes) {
    print_fault(report, name,
                format_text("has %llu bytes, a filter of %u bits has %llu", ull{size}, nb_bits,
                            ull{wanted_bytes}));
    return {};
  }
  if (!read_whole_file(path, wanted_bytes, bytes) || bytes.size() != wanted_bytes) {
    print_fault(report, name, "can't be read");
    return {};
  }
  filter_image image{.nb_bits = nb_bits, .nb_urls = read_word(bytes, 0), .words = {}};
  bytes.erase(0, WORD_BYTES);
  image.words = std::move(bytes);
  check_words(image, name, report);
  return image;
}

bool may_hold_filter_image(const filter_image& image, std::string_view url) {
  const url_bits bits = hash_url_bits(url);
  return is_bit_set(image, bits.h1) && is_bit_set(image, bits.h2) && is_bit_set(image, bits.h3);
}

}  // namespace wk
