// The file of the bit filter, ndue_mhash.txt, as it stands on disk (crawler/horizon/disk_cache.h
// and bit_filter.h have its layout), for a reader who believes nothing of it.
//
// Memory: the file's own size, nb_bits / 4 bytes; 25 MB for the crawler's default.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "tools/check_horizon/fault_report.h"

namespace wk {

struct filter_image {
  uint32_t nb_bits = 0;
  uint32_t nb_urls = 0;  // as the file says
  std::string words;     // empty: no filter could be read
};

[[nodiscard]] inline bool is_read_filter_image(const filter_image& image) {
  return !image.words.empty();
}
// Reports what is wrong with the file by itself. name is what it is called in the report.
[[nodiscard]] filter_image load_filter_image(const std::string& path, std::string_view name,
                                             uint32_t nb_bits, fault_report& report);
// True when all three bits of url are set. The filter was read.
[[nodiscard]] bool may_hold_filter_image(const filter_image& image, std::string_view url);

}  // namespace wk
