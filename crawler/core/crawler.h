// The one object of a crawl: everything that its threads share, and the settings that steer it.
//
// It is built from a profile, runs once, and owns all it builds. gate.lock is the crawler's lock;
// the horizon's lock is taken after it, every other lock after both. Objects with a lock of their
// own (horizon, log, store, quota, digests, fetch, links, status, allowance) need none of the
// crawler's.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "crawler/config/crawler_config.h"
#include "crawler/content/crawler_content_plugin.h"
#include "crawler/content/digest_table.h"
#include "crawler/core/crawl_counters.h"
#include "crawler/core/crawl_directories.h"
#include "crawler/core/page_allowance.h"
#include "crawler/fetch/cookie_jar.h"
#include "crawler/fetch/fetch_settings.h"
#include "crawler/fetch/robots_cache.h"
#include "crawler/horizon/frontier.h"
#include "crawler/output/link_file.h"
#include "crawler/output/log.h"
#include "crawler/output/quota.h"
#include "crawler/output/said_hosts.h"
#include "crawler/output/status_file.h"
#include "crawler/output/url_hold.h"
#include "crawler/rules/crawl_rules.h"
#include "crawler/url/url_filter.h"
#include "wkdt/hash_string.h"
#include "wkfs/pattern_substitution.h"
#include "wkstd/stop_gate.h"

namespace wk {

struct Crawler {
  stop_gate gate;  // the crawler's lock and condition, the stop and pause flags

  // Comes first, and so is there until everything that writes into them has ended.
  crawl_directories directories;

  // Fixed once built, shared by all threads, in the order of their need: each uses only what stands
  // before it, and so ends before that does.
  crawl_rules rules;
  log_ptr log;
  status_file_ptr status;   // null: none
  fetch_settings fetch;     // goes by the rules
  cookie_jar cookies;       // so does this
  robots_cache_ptr robots;  // reads the fetch settings, writes to the log
  url_hold_ptr store;       // the same
  frontier_ptr horizon;
  digest_table_ptr digests;
  url_filter filter;
  pattern_substitutions_ptr substitutions;  // of links; null: none
  quota crawl_quota;
  page_allowance allowance;
  said_hosts coded_hosts;          // that sent a body in a content coding
  crawler_content_plugin plugins;  // may look at gate.stop; closed with the crawler at the latest
  bool waits_for_hosts = true;     // spiders keep to the host's allowed time
  uint32_t host_interval_seconds = 0;
  bool follows_links = true;  // hyperlink extraction is on
  uint32_t parse_javascript_flash = 0;
  uint32_t forever_mode = 0;
  std::string portal_list_url;  // its links are followed whatever follows_links says
  std::string store_directory;
  std::string temp_directory;
  config_values profile;     // what it was built from
  std::string profile_name;  // as the configuration file gives it; bytes, may be empty

  crawl_counters counters;  // needs no lock

  // Opened before any other thread is started, closed after the last has ended.
  std::string link_file_base;
  link_file_ptr links;  // null: none

  // Guarded by gate.lock.
  bool running = false;  // while it is, the setters of port, spiders and stop_when_empty do nothing
  int32_t admin_port = 8000;
  uint32_t nb_spiders = 1;
  bool stop_when_empty = false;
  uint32_t admin_thread_sleep_time_ms = 10'000;
  bool depth_first = true;  // the order that the horizon is offered
  std::string checkpoint_directory;
  uint32_t checkpoint_interval_seconds = 0;
  uint64_t next_checkpoint_us = 0;  // steady time (wkstd/clock.h)
  bool is_stopped_by_operator = false;
  hash_string_ptr url_dates;  // URL -> s since 1970 when it was crawled; null: none
};
using crawler_ptr = std::unique_ptr<Crawler>;

// Stops the crawl as an operator does: says so in the log, sets stop and wakes every sleeper.
void stop_crawler(Crawler& crawler);
void pause_crawler(Crawler& crawler);
void resume_crawler(Crawler& crawler);

// Opens the link file to continue, when the profile names one and none is open.
void open_links_crawler(Crawler& crawler);
// The crawler takes over the dates of earlier crawls; their URLs enter the horizon as seeds do.
void attach_url_dates_crawler(Crawler& crawler, hash_string_ptr dates);
// Hands what the log and the status file have gathered to the system.
void flush_outputs_crawler(Crawler& crawler);
// Goes on in the files that have the names of log, status file and link file now. Takes each one's
// own lock and no other; the link file must have been opened, if ever, before the calling thread
// was started.
void reopen_outputs_crawler(Crawler& crawler);

void set_spiders_crawler(Crawler& crawler, uint32_t nb_spiders);
void set_admin_port_crawler(Crawler& crawler, int32_t port);
void set_stop_when_empty_crawler(Crawler& crawler, bool stop_when_empty);
void set_admin_thread_sleep_time_crawler(Crawler& crawler, uint32_t milliseconds);
void set_depth_first_crawler(Crawler& crawler, bool depth_first);

}  // namespace wk
