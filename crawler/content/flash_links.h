// The links of a Flash movie: the addresses that its actions open.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "crawler/content/flash_movie.h"
#include "crawler/content/link_gatherer.h"

namespace wk {

constexpr uint32_t NO_FLASH_MOVIE = 0xFFFFFFFF;

// Gathers the links of the movie in data, the document of that URL; their number, or
// NO_FLASH_MOVIE. inflated is room to work in. Linear in the size of the movie.
uint32_t add_flash_links(std::string_view url, std::string_view data, std::string& inflated,
                         link_gatherer& gatherer);

// Gathers the links of one tag: DoAction, DefineButton and DefineButton2 have some.
void add_flash_tag_links(const flash_tag& tag, link_gatherer& gatherer);

}  // namespace wk
