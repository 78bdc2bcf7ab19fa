// A spider: one of the threads that take URLs from the horizon, fetch them and bring links back.
#pragma once

#include <cstdint>

#include "crawler/core/crawler.h"
#include "crawler/run/url_watch.h"

namespace wk {

// The thread's body: works until stop is set or the horizon is exhausted. number names it in the
// log.
void run_spider(Crawler& crawler, url_watch& watch, uint32_t number);

}  // namespace wk
