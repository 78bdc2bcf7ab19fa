// Scripts that a page loads from elsewhere: fetched, and put in the place of the tags that name
// them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "crawler/content/link_gatherer.h"
#include "crawler/fetch/http_fetcher.h"

namespace wk {

constexpr uint64_t SCRIPT_LIMIT_US = 10'000'000;                // of fetching one
constexpr uint32_t MAX_SCRIPTS_PER_PAGE = 64;                   // asked for
constexpr size_t MAX_SCRIPT_BYTES_PER_PAGE = size_t{16} << 20;  // put in

// Replaces out by page with each script tag that has a source replaced by the script, and gathers
// the absolute URLs that those scripts hold. A script that cannot be had, or is one too many,
// leaves nothing in its place. What a script brings along is not searched for further tags. The
// fetcher's response is overwritten: page lies elsewhere.
void inline_scripts(std::string& out, std::string_view page, http_fetcher& fetcher,
                    link_gatherer& gatherer);

// Gathers the absolute URLs that text holds.
void add_absolute_links(std::string_view text, link_gatherer& gatherer);

}  // namespace wk
