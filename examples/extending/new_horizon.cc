// A horizon in memory, for crawls that are small and never restored.
//
// Each host has a queue, and the hosts stand in order of the time at which their turn comes. A host
// whose queue is empty keeps its place until then, so that a URL which comes meanwhile waits too.
#include <deque>
#include <map>
#include <unordered_map>
#include <unordered_set>

#include "crawler/horizon/horizon.h"
#include "crawler/url/url_form.h"
#include "crawler/url/url_parts.h"
#include "examples/extending/extending.h"
#include "wkstd/clock.h"

namespace wk {
namespace {

using host_queues = std::unordered_map<std::string, std::deque<std::string>>;

// Of the shared record it uses the lock, the figures and the URLs in spiders' hands.
struct memory_horizon : horizon {
  uint64_t interval_seconds = 0;

  // Guarded by the lock.
  std::unordered_set<std::string> known;
  host_queues queues;                          // of the hosts that stand in turns
  std::multimap<uint64_t, std::string> turns;  // s since 1970 -> host
  std::unordered_set<std::string> exhausted;   // hosts of which nothing more is taken
  std::atomic<uint32_t> nb_waiting{0};         // URLs in queues; read without the lock
};

memory_horizon& get_memory(const frontier_ops& ops) {
  return static_cast<memory_horizon&>(*ops.self);
}

// Caller holds the lock.
uint32_t add_under_lock(memory_horizon& self, std::string_view url) {
  if (!is_acceptable_url(url)) return 0;
  const std::string host(find_url_host(url));
  if (!self.known.emplace(url).second || self.exhausted.contains(host)) return 1;
  const auto [queue, is_new] = self.queues.try_emplace(host);
  if (is_new) self.turns.emplace(0, host);
  queue->second.emplace_back(url);
  ++self.nb_waiting;
  self.nb_known = self.known.size();
  return 1;
}

uint32_t add_url(frontier_ops& ops, std::string_view url) {
  const std::lock_guard<std::mutex> hold(ops.self->lock);
  return add_under_lock(get_memory(ops), url);
}

void add_urls(frontier_ops& ops, std::span<const std::string> urls) {
  const std::lock_guard<std::mutex> hold(ops.self->lock);
  for (const std::string& url : urls) (void)add_under_lock(get_memory(ops), url);
}

frontier_answer get_url(frontier_ops& ops, std::string& url, uint32_t& allowed_time) {
  memory_horizon& self = get_memory(ops);
  const std::lock_guard<std::mutex> hold(self.lock);
  url.clear();
  while (self.nb_waiting > 0) {
    const auto turn = self.turns.begin();
    const uint64_t now = get_wall_time_seconds();
    allowed_time = static_cast<uint32_t>(turn->first);
    if (turn->first > now) return FRONTIER_WAIT;
    const auto queue = self.queues.find(turn->second);
    if (queue->second.empty()) {
      self.queues.erase(queue);
      self.turns.erase(turn);
      continue;
    }
    url = std::move(queue->second.front());
    queue->second.pop_front();
    --self.nb_waiting;
    self.turns.emplace(now + self.interval_seconds, turn->second);
    self.turns.erase(turn);
    hand_out_url(self.hands, url);
    ++self.active_urls;
    return FRONTIER_URL;
  }
  return FRONTIER_EMPTY;
}

void refuse_url(frontier_ops& ops, std::string_view url) {
  const std::lock_guard<std::mutex> hold(ops.self->lock);
  take_back_url(ops.self->hands, url);
}

void end_url(frontier_ops& ops, std::string_view url) {
  refuse_url(ops, url);
  --ops.self->active_urls;
}

bool is_exhausted(frontier_ops& ops) {
  const std::lock_guard<std::mutex> hold(ops.self->lock);
  return get_memory(ops).nb_waiting == 0 && is_empty_urls_in_hands(ops.self->hands);
}

void exhaust_host(frontier_ops& ops, std::string_view host) {
  memory_horizon& self = get_memory(ops);
  const std::lock_guard<std::mutex> hold(self.lock);
  const auto queue = self.queues.find(*self.exhausted.emplace(host).first);
  if (queue == self.queues.end()) return;
  self.nb_waiting -= static_cast<uint32_t>(queue->second.size());
  queue->second.clear();
}

void clear(frontier_ops& ops) {
  memory_horizon& self = get_memory(ops);
  const std::lock_guard<std::mutex> hold(self.lock);
  self.known.clear();
  self.queues.clear();
  self.turns.clear();
  self.nb_waiting = 0;
  self.nb_known = 0;
  self.hands = {};
}

void begin_url(frontier_ops& ops) {
  const std::lock_guard<std::mutex> hold(ops.self->lock);
  ++ops.self->active_urls;
  ++ops.self->hands.nb_unnamed;
}

horizon_facts get_facts(const frontier_ops& ops) {
  const memory_horizon& self = get_memory(ops);
  return {.nb_queued = self.nb_waiting, .nb_active = self.active_urls, .nb_known = self.nb_known};
}

constexpr frontier_ops MEMORY_FRONTIER_OPS = {
    .mode = 1,  // any but FRONTIER_MODE
    .self = nullptr,
    .destroy = [](frontier_ops& ops) { delete &get_memory(ops); },
    .clear = clear,
    .inert_zero = [](frontier_ops&) -> uint32_t { return 0; },
    .set_option = [](frontier_ops&, uint32_t) {},
    .get_url_blocking = [](frontier_ops&) -> uint32_t { return 1; },
    .get_url = get_url,
    .add_url = add_url,
    .add_urls = add_urls,
    .has_urls_unsupported = [](frontier_ops&) -> uint32_t { return 1; },
    .wait_urls_unsupported = [](frontier_ops&, uint64_t) -> uint32_t { return 1; },
    .inert_one = [](frontier_ops&) -> uint32_t { return 1; },
    .count_urls = [](const frontier_ops& ops) -> uint32_t { return get_memory(ops).nb_waiting; },
    .identity = [](uint32_t argument) { return argument; },
    .write_state = [](frontier_ops&, std::string&) {},  // no crawler image holds it
    .begin_url = begin_url,
    .end_url = end_url,
    .refuse_url = refuse_url,
    .active_urls = [](const frontier_ops& ops) -> uint32_t { return ops.self->active_urls; },
    .is_exhausted = is_exhausted,
    .exhaust_host = exhaust_host,
    .get_facts = get_facts,
    .save = [](frontier_ops&, keep_horizon_files, void*) { return false; },  // it has no files
    .restore = [](frontier_ops&) { return true; },
    .set_host_share = nullptr,
    .tell_answer = nullptr,
    .rest_host = nullptr,
};

}  // namespace

frontier_ptr create_memory_frontier(uint32_t interval_seconds) {
  auto* self = new memory_horizon;
  self->interval_seconds = interval_seconds;
  frontier_ptr ops(new frontier_ops(MEMORY_FRONTIER_OPS));
  ops->self = self;
  return ops;
}

}  // namespace wk
