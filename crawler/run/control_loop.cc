#include "crawler/run/control_loop.h"

#include <algorithm>
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
  if (!crawler.running) return 0;
  begin_crawl_counters(crawler.counters, crawler.nb_spiders);
  // One host that does not answer leaves half of the spiders to the others.
  frontier_ops& horizon = *crawler.horizon;
  if (horizon.set_host_share != nullptr) {
    horizon.set_host_share(horizon, std::max<uint32_t>(crawler.nb_spiders / 2, 1));
  }
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

bool has_periodic_checkpoints(const Crawler& crawler) {
  return crawler.checkpoint_interval_seconds != 0 && !crawler.checkpoint_directory.empty();
}

// Caller holds the crawler's lock.
void checkpoint_crawl(Crawler& crawler) {
  std::string reason;
  (void)write_checkpoint(crawler, crawler.checkpoint_directory, reason);  // told in the log
}

// Caller holds the crawler's lock. The steady clock is asked, for the other one may be set back.
void checkpoint_when_due(Crawler& crawler) {
  const uint64_t now_us = get_steady_time_us();
  if (!has_periodic_checkpoints(crawler) || now_us <= crawler.next_checkpoint_us) return;
  checkpoint_crawl(crawler);
  crawler.next_checkpoint_us = now_us + uint64_t{crawler.checkpoint_interval_seconds} * 1'000'000;
}

// A crawl that an operator stopped goes on from here. Every spider has ended.
void checkpoint_after_stop(Crawler& crawler) {
  const std::lock_guard<std::mutex> hold(crawler.gate.lock);
  if (crawler.is_stopped_by_operator && has_periodic_checkpoints(crawler)) {
    checkpoint_crawl(crawler);
  }
}

// At once: the crawl may stand still until somebody reads it.
void tell_shortage(const std::string& text, void* context) {
  Log& log = *static_cast<Crawler*>(context)->log;
  write_log(log, LOG_ERROR, "s-comment", text);
  flush_log(log);
}

void tell_end_of_shortage(Crawler& crawler) {
  if (!has_passed_local_shortage(crawler.fetch.shortage, get_steady_time_us())) return;
  write_log(*crawler.log, LOG_ERROR, "s-comment",
            "This machine has again what connections need; no fetch waits\n");
}

// One round under the crawler's lock. True when it has ended the crawl.
bool run_round(Crawler& crawler) {
  const std::lock_guard<std::mutex> hold(crawler.gate.lock);
  const bool ended = test_end(crawler);
  if (!ended) checkpoint_when_due(crawler);
  tell_end_of_shortage(crawler);
  flush_outputs_crawler(crawler);
  return ended;
}

uint32_t get_round_time_ms(Crawler& crawler) {
  const std::lock_guard<std::mutex> hold(crawler.gate.lock);
  return crawler.admin_thread_sleep_time_ms;
}

// Rounds until the crawl is stopped. A stop that a spider or an operator sets ends the sleep, and
// one whole round is made behind it.
void run_rounds(Crawler& crawler) {
  bool is_last = false;
  while (!is_last) {
    is_last = sleep_stop_gate(crawler.gate, get_round_time_ms(crawler));
    if (run_round(crawler)) return;
  }
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
  crawler.fetch.shortage.tell = tell_shortage;
  crawler.fetch.shortage.context = &crawler;
  write_log(*crawler.log, LOG_STATUS, "s-comment", "Crawler main loop started");
  // The port is open before a spider could be sent to it.
  const admin_server_ptr admin = open_admin_server(crawler);
  {
    url_watch watch;
    std::vector<joined_thread> threads;
    start_spiders(crawler, watch, nb_spiders, threads);
    if (admin != nullptr) start_admin_server(*admin, threads);
    run_rounds(crawler);
    if (admin != nullptr) end_admin_server(*admin);
  }  // every thread is joined here
  checkpoint_after_stop(crawler);
  tell_lost_documents(crawler);
  write_log(*crawler.log, LOG_STATUS, "s-comment", "Crawler main loop ended");
  flush_outputs_crawler(crawler);
  end_running(crawler);
}

}  // namespace wk
