#include "crawler/horizon/frontier.h"

#include <algorithm>
#include <chrono>

#include "crawler/horizon/horizon.h"
#include "crawler/horizon/horizon_file_name.h"
#include "crawler/url/url_form.h"
#include "crawler/url/url_parts.h"
#include "wkstd/clock.h"
#include "wkstd/directory.h"
#include "wkstd/error.h"
#include "wkstd/state_stream.h"

namespace wk {
namespace {

constexpr char NEVER_CALLED[] = "this function should never be called, check the frontier mode";
constexpr uint64_t MERGE_RETRY_US = 1'000'000;
constexpr uint64_t LONGEST_WAIT_MS = 365ULL * 24 * 3600 * 1000;

void destroy(frontier_ops& ops) {
  {
    // Waits for whoever is still inside; nobody may come after.
    const std::lock_guard<std::mutex> hold(ops.self->lock);
    (void)write_out_url_list(ops.self->cache.known);  // a refusal was said, and nobody is left
    (void)write_out_url_list(ops.self->cache.unknown);
  }
  delete ops.self;
  ops.self = nullptr;
}

void clear(frontier_ops& ops) {
  const std::lock_guard<std::mutex> hold(ops.self->lock);
  clear_url_cache(ops.self->cache);
  publish_counts_horizon(*ops.self);
  clear_nfrontier(ops.self->frontier);
  ops.self->hands = {};
  ops.self->merge_not_before_us = 0;
}

uint32_t answer_zero(frontier_ops& /*ops*/) { return 0; }
uint32_t answer_one(frontier_ops& /*ops*/) { return 1; }
uint32_t answer_argument(uint32_t argument) { return argument; }
void set_option(frontier_ops& /*ops*/, uint32_t /*option*/) {}  // this scheduler has no choices

uint32_t get_url_blocking(frontier_ops& ops) {
  std::unique_lock<std::mutex> hold(ops.self->lock);
  ops.self->changed.wait(hold, [&ops] { return ops.self->frontier.nb_urls != 0; });
  print_message(NEVER_CALLED);
  return 1;
}

uint32_t has_urls_unsupported(frontier_ops& ops) {
  if (ops.self->frontier.nb_urls == 0) return 0;
  print_message(NEVER_CALLED);
  return 1;
}

uint32_t wait_urls_unsupported(frontier_ops& ops, uint64_t milliseconds) {
  std::unique_lock<std::mutex> hold(ops.self->lock);
  const auto limit = std::chrono::milliseconds(std::min(milliseconds, LONGEST_WAIT_MS));
  const auto has_urls = [&ops] { return ops.self->frontier.nb_urls != 0; };
  if (!ops.self->changed.wait_for(hold, limit, has_urls)) return 0;
  print_message(NEVER_CALLED);
  return 1;
}

// Settles the doubtful URLs when the queues are empty. True when that may have brought some.
bool merge_unknown(horizon& self) {
  if (self.cache.unknown.count == 0) return false;
  const uint64_t now = self.get_time_us();
  // A time far ahead is one from before the clock was set back.
  if (now < self.merge_not_before_us && self.merge_not_before_us - now <= MERGE_RETRY_US) {
    return false;
  }
  const bool merged = merge_unknown_url_cache(self.cache, self.frontier);
  publish_counts_horizon(self);
  if (merged) return true;
  self.merge_not_before_us = now + MERGE_RETRY_US;
  return false;
}

frontier_answer get_url(frontier_ops& ops, std::string& url, uint32_t& allowed_time) {
  horizon& self = *ops.self;
  url.clear();
  const std::lock_guard<std::mutex> hold(self.lock);
  const uint64_t now_us = get_steady_time_us();
  nfrontier_answer answer = get_nfrontier(url, allowed_time, self.frontier, now_us);
  if (answer == NFRONTIER_EMPTY && merge_unknown(self)) {
    answer = get_nfrontier(url, allowed_time, self.frontier, now_us);
  }
  if (answer == NFRONTIER_WAIT) return FRONTIER_WAIT;
  if (answer == NFRONTIER_EMPTY) return FRONTIER_EMPTY;
  hand_out_url(self.hands, url);
  ++self.active_urls;
  return FRONTIER_URL;
}

uint32_t add_url(frontier_ops& ops, std::string_view url) {
  horizon& self = *ops.self;
  if (!is_acceptable_url(url)) return 0;
  const url_fingerprint print = build_url_fingerprint(self.cache.key, url);
  const std::lock_guard<std::mutex> hold(self.lock);
  add_url_cache(self.cache, url, print, self.frontier);
  publish_counts_horizon(self);
  self.changed.notify_one();
  return 1;
}

void add_urls(frontier_ops& ops, std::span<const std::string> urls) {
  horizon& self = *ops.self;
  const std::lock_guard<std::mutex> hold(self.lock);
  for (const std::string& url : urls) {
    if (!is_acceptable_url(url)) continue;
    add_url_cache(self.cache, url, build_url_fingerprint(self.cache.key, url), self.frontier);
  }
  self.changed.notify_all();
  publish_counts_horizon(self);
}

uint32_t count_urls(const frontier_ops& ops) { return ops.self->frontier.nb_urls; }
uint32_t active_urls(const frontier_ops& ops) { return ops.self->active_urls; }

void write_state(frontier_ops& ops, std::string& stream) {
  const std::lock_guard<std::mutex> hold(ops.self->lock);
  append_u32(stream, 1);
  append_u32(stream, FRONTIER_MODE);
  append_string(stream, ops.self->directory);
  append_u32(stream, ops.self->frontier.nb_urls);
}

void begin_url(frontier_ops& ops) {
  const std::lock_guard<std::mutex> hold(ops.self->lock);
  ++ops.self->active_urls;
  ++ops.self->hands.nb_unnamed;
}

void end_url(frontier_ops& ops, std::string_view url) {
  const std::lock_guard<std::mutex> hold(ops.self->lock);
  take_back_url(ops.self->hands, url);
  end_url_host_terms(ops.self->frontier.terms, find_url_host(url));
  if (ops.self->active_urls > 0) --ops.self->active_urls;
}

void refuse_url(frontier_ops& ops, std::string_view url) {
  const std::lock_guard<std::mutex> hold(ops.self->lock);
  take_back_url(ops.self->hands, url);
  end_url_host_terms(ops.self->frontier.terms, find_url_host(url));
}

bool is_exhausted(frontier_ops& ops) {
  const std::lock_guard<std::mutex> hold(ops.self->lock);
  return ops.self->frontier.nb_urls == 0 && ops.self->cache.unknown.count == 0 &&
         is_empty_urls_in_hands(ops.self->hands);
}

void exhaust_host(frontier_ops& ops, std::string_view host) {
  const std::lock_guard<std::mutex> hold(ops.self->lock);
  exhaust_host_nfrontier(ops.self->frontier, host);
}

horizon_facts get_facts(const frontier_ops& ops) {
  const horizon& self = *ops.self;
  return {.nb_queued = self.frontier.nb_urls.load(std::memory_order_relaxed),
          .nb_active = self.active_urls.load(std::memory_order_relaxed),
          .nb_doubtful = self.nb_doubtful.load(std::memory_order_relaxed),
          .nb_known = self.nb_known.load(std::memory_order_relaxed)};
}

bool save(frontier_ops& ops, keep_horizon_files keep, void* context) {
  horizon& self = *ops.self;
  const std::lock_guard<std::mutex> hold(self.lock);
  std::vector<std::string> names;
  if (save_horizon(self) != HORIZON_OK || !list_files(self.directory, names)) return false;
  std::erase_if(names, [](const std::string& name) { return !is_horizon_file_name(name); });
  return keep(self.directory, names, context);
}

bool restore(frontier_ops& ops) {
  const std::lock_guard<std::mutex> hold(ops.self->lock);
  return restore_horizon(*ops.self) == HORIZON_OK;
}

void set_host_share(frontier_ops& ops, uint32_t share) {
  const std::lock_guard<std::mutex> hold(ops.self->lock);
  ops.self->frontier.terms.share = share;
}

void tell_answer(frontier_ops& ops, std::string_view url) {
  const std::lock_guard<std::mutex> hold(ops.self->lock);
  answer_host_terms(ops.self->frontier.terms, find_url_host(url));
}

void rest_host(frontier_ops& ops, std::string_view host, uint64_t rest_us) {
  const std::lock_guard<std::mutex> hold(ops.self->lock);
  rest_host_terms(ops.self->frontier.terms, host, get_steady_time_us(), rest_us);
}

constexpr frontier_ops HORIZON_OPS = {
    .mode = FRONTIER_MODE,
    .self = nullptr,
    .destroy = destroy,
    .clear = clear,
    .inert_zero = answer_zero,
    .set_option = set_option,
    .get_url_blocking = get_url_blocking,
    .get_url = get_url,
    .add_url = add_url,
    .add_urls = add_urls,
    .has_urls_unsupported = has_urls_unsupported,
    .wait_urls_unsupported = wait_urls_unsupported,
    .inert_one = answer_one,
    .count_urls = count_urls,
    .identity = answer_argument,
    .write_state = write_state,
    .begin_url = begin_url,
    .end_url = end_url,
    .refuse_url = refuse_url,
    .active_urls = active_urls,
    .is_exhausted = is_exhausted,
    .exhaust_host = exhaust_host,
    .get_facts = get_facts,
    .save = save,
    .restore = restore,
    .set_host_share = set_host_share,
    .tell_answer = tell_answer,
    .rest_host = rest_host,
};

uint32_t take_default_if_zero(uint32_t value, uint32_t standard) {
  return value == 0 ? standard : value;
}

std::unique_ptr<horizon> build_horizon(const horizon_settings& settings) {
  constexpr uint64_t US_PER_SECOND = 1'000'000;
  const horizon_settings defaults;
  auto self = std::make_unique<horizon>();
  self->directory = settings.directory.empty() ? "./" : settings.directory;
  self->get_time_us = settings.get_time_us != nullptr ? settings.get_time_us : get_wall_time_us;

  nfrontier& frontier = self->frontier;
  frontier.interval_us = settings.interval_seconds * US_PER_SECOND;
  frontier.directory = self->directory;
  frontier.nb_queues = take_default_if_zero(settings.nb_queues, defaults.nb_queues);
  frontier.queue_buffer_size =
      take_default_if_zero(settings.queue_buffer_size, defaults.queue_buffer_size);
  frontier.nb_hosts_expected = settings.nb_hosts_expected;
  frontier.get_time_us = self->get_time_us;
  init_nfrontier(frontier);

  init_url_cache(self->cache, self->directory,
                 take_default_if_zero(settings.disk_cache_size, defaults.disk_cache_size));
  self->cache.settled.max_slots = count_slots_fingerprint_set(settings.url_memory_bytes);
  return self;
}

}  // namespace

void destroy_frontier::operator()(frontier_ops* ops) const {
  if (ops == nullptr) return;
  ops->destroy(*ops);
  delete ops;
}

frontier_ptr create_frontier(const horizon_settings& settings) {
  frontier_ptr ops(new frontier_ops(HORIZON_OPS));
  ops->self = build_horizon(settings).release();
  return ops;
}

}  // namespace wk
