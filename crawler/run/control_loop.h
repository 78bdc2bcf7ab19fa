// The main thread's part of a crawl: it starts the spiders and the administration, makes the
// periodic tests and joins the threads.
#pragma once

#include "crawler/core/crawler.h"

namespace wk {

// Returns when the crawl has ended and every thread of it is joined. With no spiders it returns at
// once. Call it once per crawler.
void run_main_loop(Crawler& crawler);

}  // namespace wk
