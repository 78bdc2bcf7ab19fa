#include "crawler/core/crawl_facts.h"

#include <numeric>

#include "wkstd/clock.h"
#include "wkstd/text.h"

namespace wk {
namespace {

constexpr uint64_t MEGABYTE = 1'048'576;

uint64_t get_word(const std::atomic<uint32_t>& word) {
  return word.load(std::memory_order_relaxed);
}

crawl_state find_crawl_state(const Crawler& crawler, const crawl_facts& facts) {
  if (is_stopped(crawler.gate)) return CRAWL_STOPPING;
  if (facts.nb_spiders == 0) return CRAWL_STARTING;
  return get_word(crawler.gate.pause) != 0 ? CRAWL_PAUSED : CRAWL_RUNNING;
}

void gather_times(const Crawler& crawler, crawl_facts& facts) {
  facts.now_wall_us = get_wall_time_us();
  facts.nb_spiders = crawler.counters.nb_slots.load(std::memory_order_acquire);
  if (facts.nb_spiders == 0) return;
  facts.start_wall_us = crawler.counters.start_wall_us;
  facts.uptime_us = get_steady_time_us() - crawler.counters.start_steady_us;
}

void gather_horizon(const Crawler& crawler, crawl_facts& facts) {
  const horizon_facts urls = crawler.horizon->get_facts(*crawler.horizon);
  facts.nb_queued = urls.nb_queued;
  facts.nb_active = urls.nb_active;
  facts.nb_known = urls.nb_known;
  facts.nb_doubtful = urls.nb_doubtful;
}

// A document that is counted meanwhile may show in the megabytes and not yet in the bytes.
void gather_quota(const quota& limits, quota_facts& facts) {
  facts.has_page_limit = get_word(limits.has_page_limit) != 0;
  facts.pages = get_word(limits.pages);
  facts.page_limit = get_word(limits.page_limit);
  facts.has_byte_limit = get_word(limits.has_mb_limit) != 0;
  facts.bytes = get_word(limits.megabytes) * MEGABYTE + get_word(limits.bytes);
  facts.byte_limit = get_word(limits.mb_limit) * MEGABYTE;
}

}  // namespace

const char* get_crawl_state_name(crawl_state state) {
  constexpr const char* NAMES[] = {"starting", "running", "paused", "stopping"};
  return NAMES[state];
}

crawl_facts gather_crawl_facts(const Crawler& crawler) {
  crawl_facts facts;
  facts.profile_name = crawler.profile_name;
  gather_times(crawler, facts);
  facts.state = find_crawl_state(crawler, facts);
  facts.counts = sum_crawl_counters(crawler.counters);
  facts.nb_fetches =
      std::accumulate(facts.counts.fetches.begin(), facts.counts.fetches.end(), uint64_t{0});
  gather_horizon(crawler, facts);
  facts.nb_short = crawler.fetch.shortage.nb_waiting.load(std::memory_order_relaxed);
  facts.nb_lost = get_nb_lost_url_hold(*crawler.store);
  facts.robots = get_counts_robots_cache(*crawler.robots);
  facts.nb_log_records = get_nb_records_log(*crawler.log);
  gather_quota(crawler.crawl_quota, facts.quota);
  return facts;
}

void append_elapsed(std::string& out, uint64_t time_us) {
  const uint64_t seconds = time_us / 1'000'000;
  append_formatted_text(out, "%llu:%02u:%02u", static_cast<unsigned long long>(seconds / 3600),
                        static_cast<unsigned>(seconds / 60 % 60),
                        static_cast<unsigned>(seconds % 60));
}

}  // namespace wk
