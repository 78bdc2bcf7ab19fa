// Everything that is worth knowing about a running crawl, gathered at one moment.
//
// Gathering takes no lock that a spider, a checkpoint or a merge holds for long, so it neither
// stalls the crawl nor waits for it. Threads: any.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "crawler/core/crawl_counters.h"
#include "crawler/core/crawler.h"

namespace wk {

enum crawl_state : uint32_t {
  CRAWL_STARTING = 0,  // no spider yet
  CRAWL_RUNNING,
  CRAWL_PAUSED,
  CRAWL_STOPPING,  // stop is set; threads finish what they have begun
};
[[nodiscard]] const char* get_crawl_state_name(crawl_state state);  // "running"

struct quota_facts {
  bool has_page_limit = false;
  uint64_t pages = 0;  // counted while there is a limit
  uint64_t page_limit = 0;
  bool has_byte_limit = false;
  uint64_t bytes = 0;
  uint64_t byte_limit = 0;
};

struct crawl_facts {
  std::string_view profile_name;  // bytes; empty when none is known; lives as long as the crawler
  crawl_state state = CRAWL_STARTING;
  uint64_t now_wall_us = 0;    // µs since 1970
  uint64_t start_wall_us = 0;  // 0: not started
  uint64_t uptime_us = 0;
  uint32_t nb_spiders = 0;  // started; some may have ended
  uint32_t nb_short = 0;    // spiders that wait for what this machine is short of

  crawl_counts counts;
  uint64_t nb_fetches = 0;  // of all statuses

  // URLs.
  uint32_t nb_queued = 0;    // ready or waiting for their host's time
  uint32_t nb_doubtful = 0;  // to be merged before it is known whether they are queued
  uint64_t nb_known = 0;     // had before
  uint32_t nb_active = 0;    // in spiders' hands, or refused by the filter

  uint32_t nb_lost = 0;  // documents that the store had to take and could not
  robots_counts robots;
  uint64_t nb_log_records = 0;
  quota_facts quota;
};
[[nodiscard]] crawl_facts gather_crawl_facts(const Crawler& crawler);
// Appends hours, minutes and seconds: "0:03:21".
void append_elapsed(std::string& out, uint64_t time_us);

}  // namespace wk
