// The crawler image: a crawler's settings and state as bytes, written by -save and read by -load.
//
// CRAWLER IMAGE. Integers, strings and text items are those of wkstd/state_stream.h.
//
//    1  the integer 4
//    2  the horizon's state: 1, its mode, its directory (string), its number of URLs
//    3  the URL filter (crawler/url/url_filter.h)
//    4  the store: type tag, and behind it
//         flatsite   1, its per-file quota, counter and directory (string)
//         pipeline   1, host (string) and port
//         composite  1, the number of its members and each of them, a store like this one
//    5  the digest table (crawler/content/digest_table.h)
//    6  the log: kind tag; a file log also 1, its path (string) and append switch
//    7  the crawl-wide quota (crawler/output/quota.h)
//    8  the fetch settings (crawler/fetch/fetch_settings_image.h)
//    9  text item: the profile as the crawler was built from it (crawler/config/config_text.h)
//   10  admin port, spiders, stop when empty, admin thread sleep time (integers)
//   11  0 without a URL date map, else 1 and the map (wkdt/hash_string_file.h)
//   12  checkpoint interval in seconds (integer)
//   13  text item: checkpoint directory
//   14  the integer 0
//
// The horizon's URLs are not in the image but in the checkpoint that row 13 names; those of the URL
// date map, too, are crawled as far as they stand there.
#pragma once

#include <string>
#include <string_view>

#include "crawler/core/crawler.h"

namespace wk {

constexpr uint32_t CRAWLER_IMAGE_MARK = 4;

// Appends the image. The caller holds the crawler's lock.
void save_crawler(Crawler& crawler, std::string& stream);

// True when bytes begin as an image does.
[[nodiscard]] bool is_crawler_image(std::string_view bytes);

// Builds a crawler from an image alone, which was read from source (empty: from no file); its
// horizon holds the seeds until it is restored. Null, and no directory was touched, for bytes that
// are no whole image.
[[nodiscard]] crawler_ptr load_crawler_image(std::string_view bytes,
                                             const std::string& source = {});

}  // namespace wk
