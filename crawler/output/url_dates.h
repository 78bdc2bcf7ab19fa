// The URL date map: when earlier crawls stored which URL, read from their store files.
//
// LIST FILE: the path of one store file a line. Of a store file's lines, between FLATSITE_START and
// FLATSITE_END, "DB_DOC_URL=" and "WK_CRAWLER_DATE=" count, each the last of its record; contents
// are not passed over, so that a content line that begins so counts as well. Records without a URL
// or with no date but 0 enter nothing. A line of more than 64 KiB says nothing.
#pragma once

#include <cstdint>
#include <string>

#include "wkdt/hash_string.h"

namespace wk {

// URL -> s since 1970; a later record replaces an earlier one of its URL. Null when the list can't
// be read. nb_skipped receives how many store files could not be opened or read to their end.
[[nodiscard]] hash_string_ptr read_url_dates(const std::string& list_path, uint32_t& nb_skipped);

}  // namespace wk
