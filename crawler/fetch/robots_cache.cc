#include "crawler/fetch/robots_cache.h"

#include <mutex>
#include <utility>

#include "crawler/url/url_parts.h"

namespace wk {
namespace {

using host_entry = std::pair<const std::string, uint32_t>;

thread_local bool is_fetching_robots = false;  // this thread, some host's file

stop_gate& get_gate(robots_cache& cache) {
  return cache.settings.gate != nullptr ? *cache.settings.gate : cache.own_gate;
}

// The caller holds the lock.
const robots_rules* get_rules_of_slot(const robots_cache& cache, uint32_t slot) {
  return slot < ROBOTS_FIRST_SLOT ? nullptr : cache.rule_sets[slot - ROBOTS_FIRST_SLOT].get();
}

// The way of nearly every question. False when the host is new or being fetched.
bool find_known_rules(const robots_cache& cache, std::string_view host,
                      const robots_rules*& rules) {
  const std::shared_lock<std::shared_mutex> hold(cache.lock);
  const auto at = cache.hosts.find(host);
  if (at == cache.hosts.end() || at->second == ROBOTS_BEING_FETCHED) return false;
  rules = get_rules_of_slot(cache, at->second);
  return true;
}

std::string read_agent(const fetch_settings& settings) {
  const std::shared_lock<std::shared_mutex> hold(settings.lock);
  return build_robots_agent(settings.user_agent);
}

// Takes the gate's lock only when somebody waits: the crawl holds it for long at times.
void wake_waiting_spiders(robots_cache& cache) {
  stop_gate& gate = get_gate(cache);
  const std::lock_guard<std::mutex> hold(gate.lock);
  gate.changed.notify_all();
}

// Large sets of paths are kept once, whichever hosts have them; without room for one its rules
// forbid everything. The caller holds the lock.
void keep_large_paths(robots_cache& cache, robots_rules& rules) {
  if (rules.paths == nullptr) return;
  const size_t nb_bytes = get_nb_bytes_robots_paths(*rules.paths);
  if (nb_bytes < ROBOTS_LARGE_BYTES) return;
  const auto known = cache.large_paths.find(rules.paths->bytes);
  if (known != cache.large_paths.end()) {
    rules.paths = known->second;
  } else if (nb_bytes > cache.max_large_bytes - cache.nb_large_bytes) {
    rules.paths = nullptr;
  } else {
    cache.nb_large_bytes += nb_bytes;
    cache.large_paths.emplace(rules.paths->bytes, rules.paths);
  }
}

// The caller holds the lock.
const robots_rules* enter_rules(robots_cache& cache, host_entry& entry, robots_rules_ptr fetched) {
  entry.second = ROBOTS_NO_RULES;
  if (fetched == nullptr) return nullptr;
  keep_large_paths(cache, *fetched);
  entry.second = ROBOTS_FIRST_SLOT + static_cast<uint32_t>(cache.rule_sets.size());
  return cache.rule_sets.emplace_back(std::move(fetched)).get();
}

void report_event(const robots_cache& cache, robots_event event, std::string_view host,
                  uint32_t status) {
  if (cache.on_event != nullptr) cache.on_event(event, host, status, cache.event_context);
}

const robots_rules* fetch_rules(robots_cache& cache, host_entry& entry, http_fetcher& fetcher) {
  is_fetching_robots = true;
  robots_rules_ptr fetched = robots_fetch(entry.first, read_agent(cache.settings), fetcher);
  is_fetching_robots = false;
  const uint32_t status = fetcher.response.status;
  const bool came = status >= 200 && status < 300;
  // Cut by the stop, which has woken those that wait: nothing is known of the host.
  if (!came && is_stopped(get_gate(cache))) return nullptr;
  const robots_rules* rules = nullptr;
  bool has_waiting = false;
  {
    const std::lock_guard<std::shared_mutex> hold(cache.lock);
    if (came) ++cache.nb_files;
    rules = enter_rules(cache, entry, std::move(fetched));
    has_waiting = cache.nb_waiting != 0;
  }
  if (has_waiting) wake_waiting_spiders(cache);
  if (!came) report_event(cache, ROBOTS_NOT_HAD, entry.first, status);
  if (rules != nullptr && rules->paths == nullptr) {
    report_event(cache, ROBOTS_TOO_LARGE, entry.first, status);
  }
  return rules;
}

// The caller has been counted among those that wait.
const robots_rules* wait_for_rules(robots_cache& cache, const host_entry& entry) {
  stop_gate& gate = get_gate(cache);
  {
    std::unique_lock<std::mutex> hold_gate(gate.lock);
    gate.changed.wait(hold_gate, [&] {
      const std::shared_lock<std::shared_mutex> hold(cache.lock);
      return is_stopped(gate) || entry.second != ROBOTS_BEING_FETCHED;
    });
  }
  const std::lock_guard<std::shared_mutex> hold(cache.lock);
  --cache.nb_waiting;
  return get_rules_of_slot(cache, entry.second);
}

}  // namespace

robots_cache_ptr create_robots_cache(const fetch_settings& settings) {
  return std::make_unique<robots_cache>(settings);
}

int robots_allowed(robots_cache& cache, std::string_view url, http_fetcher& fetcher) {
  if (cache.honor.load(std::memory_order_relaxed) == 0) return 1;
  const robots_rules* rules = robots_get_rules(cache, url, fetcher);
  if (rules == nullptr || robots_match(*rules, url) != 0) return 1;
  cache.nb_refused.fetch_add(1, std::memory_order_relaxed);
  return 0;
}

const robots_rules* robots_get_rules(robots_cache& cache, std::string_view url,
                                     http_fetcher& fetcher) {
  const std::string_view host = find_url_host(url);
  if (host.empty() || is_fetching_robots) return nullptr;
  const robots_rules* rules = nullptr;
  if (find_known_rules(cache, host, rules)) return rules;
  if (is_stopped(get_gate(cache))) return nullptr;

  std::unique_lock<std::shared_mutex> hold(cache.lock);
  const auto [at, is_new] = cache.hosts.try_emplace(std::string(host), ROBOTS_BEING_FETCHED);
  host_entry& entry = *at;
  if (!is_new && entry.second != ROBOTS_BEING_FETCHED)
    return get_rules_of_slot(cache, entry.second);
  if (!is_new) ++cache.nb_waiting;
  hold.unlock();
  return is_new ? fetch_rules(cache, entry, fetcher) : wait_for_rules(cache, entry);
}

robots_rules_ptr robots_fetch(std::string_view host, std::string_view agent,
                              http_fetcher& fetcher) {
  std::string url = "http://";
  url.append(host).append("/robots.txt");
  uint32_t seconds = 0;
  if (fetch_url(fetcher, url, "", seconds) == 0) return nullptr;
  return robots_parse(fetcher.response.body, host, agent);
}

robots_counts get_counts_robots_cache(const robots_cache& cache) {
  const std::shared_lock<std::shared_mutex> hold(cache.lock);
  return {.nb_hosts = cache.hosts.size(),
          .nb_files = cache.nb_files,
          .nb_rule_sets = cache.rule_sets.size(),
          .nb_refused = cache.nb_refused.load(std::memory_order_relaxed)};
}

}  // namespace wk
