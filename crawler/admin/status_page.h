// /status.json: the figures of a crawl as one JSON object (RFC 8259).
//
//   "profile"      the profile's name
//   "state"        "starting", "running", "paused" or "stopping"
//   the rest       one number for each row of the table of figures (crawl_figures.h); null when
//                  there is none, as the limits of a quota that is not set
//   "fetch_times"  {"seconds": all together, "classes": [{"up_to_seconds": limit, "fetches": how
//                  many took longer than the limit before and no longer than this}, ...]}; the
//                  last limit is null
#pragma once

#include <string>

#include "crawler/core/crawl_facts.h"

namespace wk {

constexpr const char* STATUS_CONTENT_TYPE = "application/json";

void append_status(std::string& out, const crawl_facts& facts);

}  // namespace wk
