#include "crawler/core/crawler.h"

namespace wk {

void stop_crawler(Crawler& crawler) {
  const std::lock_guard<std::mutex> hold(crawler.gate.lock);
  write_log(*crawler.log, LOG_WARNING, "s-comment", "Crawler manually stopped.");
  crawler.gate.stop.store(1);
  crawler.gate.changed.notify_all();
}

void pause_crawler(Crawler& crawler) { set_pause_stop_gate(crawler.gate, 1); }

void resume_crawler(Crawler& crawler) { set_pause_stop_gate(crawler.gate, 0); }

void open_links_crawler(Crawler& crawler) {
  if (crawler.links != nullptr || crawler.link_file_base.empty()) return;
  crawler.links = open_link_file(crawler.link_file_base);
  if (crawler.links == nullptr) crawler.link_file_base.clear();
}

void flush_outputs_crawler(Crawler& crawler) {
  flush_log(*crawler.log);
  if (crawler.status != nullptr) flush_status_file(*crawler.status);
}

void set_spiders_crawler(Crawler& crawler, uint32_t nb_spiders) {
  const std::lock_guard<std::mutex> hold(crawler.gate.lock);
  if (!crawler.running) crawler.nb_spiders = nb_spiders;
}

void set_admin_port_crawler(Crawler& crawler, int32_t port) {
  const std::lock_guard<std::mutex> hold(crawler.gate.lock);
  if (!crawler.running) crawler.admin_port = port;
}

void set_stop_when_empty_crawler(Crawler& crawler, bool stop_when_empty) {
  const std::lock_guard<std::mutex> hold(crawler.gate.lock);
  if (!crawler.running) crawler.stop_when_empty = stop_when_empty;
}

void set_admin_thread_sleep_time_crawler(Crawler& crawler, uint32_t milliseconds) {
  const std::lock_guard<std::mutex> hold(crawler.gate.lock);
  crawler.admin_thread_sleep_time_ms = milliseconds;
}

}  // namespace wk
