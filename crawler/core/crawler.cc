#include "crawler/core/crawler.h"

#include <vector>

#include "crawler/url/url_form.h"

namespace wk {
namespace {

// URLs on their way into the horizon, many at a time.
struct url_batch {
  Crawler& crawler;
  std::vector<std::string> urls = {};
};

void add_batch(url_batch& batch) {
  batch.crawler.horizon->add_urls(*batch.crawler.horizon, batch.urls);
  batch.urls.clear();
}

void add_to_batch(std::string_view url, uint32_t /*date*/, void* context) {
  constexpr size_t NB_URLS_AT_ONCE = 1'000;
  url_batch& batch = *static_cast<url_batch*>(context);
  std::string& added = batch.urls.emplace_back(url);
  if (batch.crawler.rules.canonical_urls) canonicalize_url(added);
  if (batch.urls.size() == NB_URLS_AT_ONCE) add_batch(batch);
}

}  // namespace

void stop_crawler(Crawler& crawler) {
  const std::lock_guard<std::mutex> hold(crawler.gate.lock);
  write_log(*crawler.log, LOG_WARNING, "s-comment", "Crawler manually stopped.");
  crawler.is_stopped_by_operator = true;
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

void reopen_outputs_crawler(Crawler& crawler) {
  reopen_log(*crawler.log);
  if (crawler.status != nullptr) reopen_status_file(*crawler.status);
  if (crawler.links != nullptr) reopen_link_file(*crawler.links);
}

void attach_url_dates_crawler(Crawler& crawler, hash_string_ptr dates) {
  const std::lock_guard<std::mutex> hold(crawler.gate.lock);
  crawler.url_dates = std::move(dates);
  url_batch batch{.crawler = crawler};
  visit_hash_string(*crawler.url_dates, add_to_batch, &batch);
  add_batch(batch);
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

void set_depth_first_crawler(Crawler& crawler, bool depth_first) {
  const std::lock_guard<std::mutex> hold(crawler.gate.lock);
  crawler.depth_first = depth_first;
  crawler.horizon->set_option(*crawler.horizon, depth_first ? 1 : 0);
}

}  // namespace wk
