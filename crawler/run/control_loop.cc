#include "crawler/run/control_loop.h"

#include <cstdio>
#include <thread>
#include <vector>

#include "crawler/run/spider.h"
#include "wkstd/text.h"

namespace wk {
namespace {

// Number of spiders to start; 0 leaves the crawler as it was.
uint32_t begin_running(Crawler& crawler) {
  const std::lock_guard<std::mutex> hold(crawler.gate.lock);
  crawler.running = crawler.nb_spiders > 0;
  return crawler.nb_spiders;
}

void end_running(Crawler& crawler) {
  const std::lock_guard<std::mutex> hold(crawler.gate.lock);
  crawler.running = false;
}

void open_links(Crawler& crawler) {
  if (crawler.links != nullptr || crawler.link_file_base.empty()) return;
  crawler.links = open_link_file(crawler.link_file_base);
  if (crawler.links == nullptr) crawler.link_file_base.clear();
}

// Caller holds the crawler's lock.
void end_crawl(Crawler& crawler, std::string_view log_text, const char* output_text) {
  write_log(*crawler.log, LOG_WARNING, "s-comment", log_text);
  crawler.gate.stop.store(1);
  crawler.gate.changed.notify_all();
  std::fputs(output_text, stdout);
  std::fflush(stdout);
}

void flush_outputs(Crawler& crawler) {
  flush_log(*crawler.log);
  if (crawler.status != nullptr) flush_status_file(*crawler.status);
}

// One round under the crawler's lock: is the crawl over?
void run_round(Crawler& crawler) {
  const std::lock_guard<std::mutex> hold(crawler.gate.lock);
  if (crawler.forever_mode == 0) {
    if (is_exceeded_quota(crawler.crawl_quota)) {
      end_crawl(crawler, "Stopping crawl - Crawler's quota exceeded",
                "stop the crawler because quota full!\n");
    } else if (crawler.stop_when_empty && crawler.horizon->is_exhausted(*crawler.horizon)) {
      end_crawl(crawler, "Stopping crawl - URL horizon empty",
                "stop the crawler because horizon empty and no active threads!\n");
    }
  }
  flush_outputs(crawler);
}

uint32_t get_round_time_ms(Crawler& crawler) {
  const std::lock_guard<std::mutex> hold(crawler.gate.lock);
  return crawler.admin_thread_sleep_time_ms;
}

}  // namespace

void run_main_loop(Crawler& crawler) {
  const uint32_t nb_spiders = begin_running(crawler);
  if (nb_spiders == 0) return;
  open_links(crawler);
  write_log(*crawler.log, LOG_STATUS, "s-comment", "Crawler main loop started");
  {
    std::vector<std::jthread> spiders;
    spiders.reserve(nb_spiders);
    for (uint32_t number = 1; number <= nb_spiders; ++number) {
      spiders.emplace_back(run_spider, std::ref(crawler), number);
    }
    while (!is_stopped(crawler.gate)) {
      // A stop that a spider sets ends the sleep; the round behind it is made all the same.
      sleep_stop_gate(crawler.gate, get_round_time_ms(crawler));
      run_round(crawler);
    }
  }  // every spider is joined here
  write_log(*crawler.log, LOG_STATUS, "s-comment", "Crawler main loop ended");
  flush_outputs(crawler);
  end_running(crawler);
}

}  // namespace wk
