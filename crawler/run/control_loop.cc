#include "crawler/run/control_loop.h"

#include <cerrno>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "crawler/admin/admin_server.h"
#include "crawler/core/checkpoint.h"
#include "crawler/run/spider.h"
#include "wkstd/clock.h"
#include "wkstd/error.h"
#include "wkstd/terminal_line.h"
#include "wkstd/text.h"
#include "wkstd/thread.h"

namespace wk {
namespace {

// Number of spiders to start; 0 leaves the crawler as it was.
uint32_t begin_running(Crawler& crawler) {
  const std::lock_guard<std::mutex> hold(crawler.gate.lock);
  crawler.running = crawler.nb_spiders > 0;
  if (crawler.running) begin_crawl_counters(crawler.counters, crawler.nb_spiders);
  return crawler.nb_spiders;
}

void end_running(Crawler& crawler) {
  const std::lock_guard<std::mutex> hold(crawler.gate.lock);
  crawler.running = false;
}

// Caller holds the crawler's lock.
void end_crawl(Crawler& crawler, std::string_view log_text, const char* output_text) {
  write_log(*crawler.log, LOG_WARNING, "s-comment", log_text);
  crawler.gate.stop.store(1);
  crawler.gate.changed.notify_all();
  close_terminal_line();  // standard output may be the same terminal
  std::fputs(output_text, stdout);
  std::fflush(stdout);
}

// Caller holds the crawler's lock. True when the crawl ends with this round.
bool test_end(Crawler& crawler) {
  if (crawler.forever_mode != 0) return false;
  if (is_exceeded_quota(crawler.crawl_quota)) {
    end_crawl(crawler, "Stopping crawl - Crawler's quota exceeded",
              "stop the crawler because quota full!\n");
    return true;
  }
  if (crawler.stop_when_empty && crawler.horizon->is_exhausted(*crawler.horizon)) {
    end_crawl(crawler, "Stopping crawl - URL horizon empty",
              "stop the crawler because horizon empty and no active threads!\n");
    return true;
  }
  return false;
}

// Caller holds the crawler's lock.
void checkpoint_when_due(Crawler& crawler) {
  const uint32_t now = get_wall_time_seconds();
  if (crawler.checkpoint_interval_seconds == 0 || crawler.checkpoint_directory.empty() ||
      now <= crawler.next_checkpoint_time) {
    return;
  }
  std::string reason;
  (void)write_checkpoint(crawler, crawler.checkpoint_directory, reason);  // told in the log
  crawler.next_checkpoint_time = now + crawler.checkpoint_interval_seconds;
}

// One round under the crawler's lock.
void run_round(Crawler& crawler) {
  const std::lock_guard<std::mutex> hold(crawler.gate.lock);
  if (!test_end(crawler)) checkpoint_when_due(crawler);
  flush_outputs_crawler(crawler);
}

uint32_t get_round_time_ms(Crawler& crawler) {
  const std::lock_guard<std::mutex> hold(crawler.gate.lock);
  return crawler.admin_thread_sleep_time_ms;
}

// A crawl does with as many spiders as the system lets it have, but not without any.
void start_spiders(Crawler& crawler, url_watch& watch, uint32_t nb_spiders,
                   std::vector<joined_thread>& threads) {
  for (uint32_t number = 1; number <= nb_spiders; ++number) {
    joined_thread thread;
    if (start_thread(thread, [&, number] { run_spider(crawler, watch, number); })) {
      threads.push_back(std::move(thread));
      continue;
    }
    const std::string reason = get_system_error_text(errno);
    const std::string text = format_text("%u of %u spiders could be started: %s", number - 1,
                                         nb_spiders, reason.c_str());
    if (threads.empty()) report_fatal_error(text);
    (void)report_error(ERROR_WARNING, text);
    return;
  }
}

void start_admin_server(admin_server& admin, std::vector<joined_thread>& threads) {
  joined_thread thread;
  if (start_thread(thread, [&admin] { run_admin_server(admin); })) {
    threads.push_back(std::move(thread));
    return;
  }
  (void)report_error(ERROR_WARNING,
                     "The administration could not be started: " + get_system_error_text(errno));
}

// A document that could not be stored is not fetched again: whoever runs the crawl hears of it.
void tell_lost_documents(Crawler& crawler) {
  const uint32_t nb_lost = get_nb_lost_url_hold(*crawler.store);
  if (nb_lost == 0) return;
  print_message(format_text("%u documents could not be stored\n", nb_lost));
  write_formatted_log(*crawler.log, LOG_ERROR, "s-comment", "%u documents could not be stored",
                      nb_lost);
}

}  // namespace

void run_main_loop(Crawler& crawler) {
  const uint32_t nb_spiders = begin_running(crawler);
  if (nb_spiders == 0) return;
  open_links_crawler(crawler);
  write_log(*crawler.log, LOG_STATUS, "s-comment", "Crawler main loop started");
  // The port is open before a spider could be sent to it.
  const admin_server_ptr admin = open_admin_server(crawler);
  {
    url_watch watch;
    std::vector<joined_thread> threads;
    start_spiders(crawler, watch, nb_spiders, threads);
    if (admin != nullptr) start_admin_server(*admin, threads);
    while (!is_stopped(crawler.gate)) {
      // A stop that a spider sets ends the sleep; the round behind it is made all the same.
      sleep_stop_gate(crawler.gate, get_round_time_ms(crawler));
      run_round(crawler);
    }
    if (admin != nullptr) end_admin_server(*admin);
  }  // every thread is joined here
  tell_lost_documents(crawler);
  write_log(*crawler.log, LOG_STATUS, "s-comment", "Crawler main loop ended");
  flush_outputs_crawler(crawler);
  end_running(crawler);
}

}  // namespace wk
