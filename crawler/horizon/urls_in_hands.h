// The URLs that spiders hold at the moment: handed out and neither ended nor refused.
//
// Threads: one at a time, under the horizon's lock.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_set>

#include "wkstd/file.h"

namespace wk {

struct hash_url_text {
  using is_transparent = void;
  size_t operator()(std::string_view url) const { return std::hash<std::string_view>()(url); }
};

struct urls_in_hands {
  std::unordered_multiset<std::string, hash_url_text, std::equal_to<>> urls;
  uint32_t nb_unnamed = 0;  // in work by begin_url, which names none
};

[[nodiscard]] inline bool is_empty_urls_in_hands(const urls_in_hands& hands) {
  return hands.urls.empty() && hands.nb_unnamed == 0;
}
void hand_out_url(urls_in_hands& hands, const std::string& url);
void take_back_url(urls_in_hands& hands, std::string_view url);
void write_urls_in_hands(output_file& file, const urls_in_hands& hands);  // one a line

}  // namespace wk
