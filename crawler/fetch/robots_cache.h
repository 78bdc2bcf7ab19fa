// Which URLs a crawl may fetch, by the robots.txt of their hosts: each host's file is fetched once,
// when a spider first asks about one of its URLs, and what it says holds as long as the crawl.
//
// A host is its text in the URL, port and user part included, case as it came. The file is fetched
// over http whatever the scheme of the URL, and its rules bind http URLs only. A file that cannot
// be had, for whatever reason, forbids nothing; one whose rules cannot be kept forbids everything.
// Both are told to on_event. Of a fetch that a stop cut nothing is told and nothing is known.
//
// Owner: the crawler; the fetch settings outlive the record. Threads: any number of spiders ask at
// once. One of them fetches a new host's file, no lock held; those that ask about the same host
// meanwhile sleep on the stop gate until the answer is there. A stop ends that sleep at once, and
// the answer is then the one of a host without rules: 1. Whoever is answered looks at the stop flag
// before fetching anything. The caller holds no lock of the crawl's.
//
// The fetcher that is handed in does the fetch and holds the file's response afterwards; url must
// not be one of its texts. A redirect's test (may_follow) runs in the middle of a fetch, so it
// hands in another fetcher than the one that asks. A redirect of a robots.txt is followed without
// asking the robots.txt of its target (RFC 9309, 2.3.1.2): a question that a thread asks in the
// middle of its own robots fetch is answered 1, else it would wait for itself.
//
// Memory for 1,000,000 hosts without rules is some 110 bytes a host and grows by no more than the
// host's text; the table is a tree, so that no choice of host names makes it slow. Rules take less
// than ROBOTS_LARGE_BYTES a host, but for large sets: those are kept once for all hosts that have
// the same, and within ROBOTS_MAX_LARGE_BYTES in all.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <vector>

#include "crawler/fetch/fetch_settings.h"
#include "crawler/fetch/http_fetcher.h"
#include "crawler/fetch/robots_rules.h"
#include "wkstd/stop_gate.h"

namespace wk {

enum robots_slot : uint32_t {
  ROBOTS_NO_RULES = 0,       // fetched, and nothing is forbidden
  ROBOTS_BEING_FETCHED = 1,  // some spider is at it
  ROBOTS_FIRST_SLOT = 2,     // this and all above: a rule set's number
};

constexpr size_t ROBOTS_LARGE_BYTES = 64 << 10;
constexpr size_t ROBOTS_MAX_LARGE_BYTES = 256 << 20;

// What a host's file may turn out to be, beside one that is obeyed.
enum robots_event : uint32_t {
  ROBOTS_NOT_HAD,    // everything is allowed
  ROBOTS_TOO_LARGE,  // the rules cannot be kept: everything is forbidden
};
// Called at most once a host, by the spider that fetched, no lock held. status is the fetch's last
// one (0: no attempt was made).
using robots_event_hook = void (*)(robots_event event, std::string_view host, uint32_t status,
                                   void* context);

struct robots_cache {
  explicit robots_cache(const fetch_settings& of_crawl) : settings(of_crawl) {}

  // Fixed before any thread asks.
  const fetch_settings& settings;
  size_t max_large_bytes = ROBOTS_MAX_LARGE_BYTES;
  robots_event_hook on_event = nullptr;  // may be null
  void* event_context = nullptr;

  // Any thread, no lock.
  std::atomic<uint32_t> honor{1};       // 0: everything is allowed and nothing fetched
  std::atomic<uint64_t> nb_refused{0};  // questions answered 0
  stop_gate own_gate;                   // where spiders wait when the settings have no gate

  // Guards all below. Taken after a gate's lock, never before it.
  mutable std::shared_mutex lock;
  // A host's slot. A host never leaves, so an entry keeps its place in memory.
  std::map<std::string, uint32_t, std::less<>> hosts;
  std::vector<robots_rules_ptr> rule_sets;  // the first one is that of ROBOTS_FIRST_SLOT
  // The large sets of paths by their bytes, which the keys are views of.
  std::map<std::string_view, robots_paths_ptr> large_paths;
  size_t nb_large_bytes = 0;  // of them all
  uint64_t nb_files = 0;      // fetches that a 2xx answered
  uint64_t nb_waiting = 0;    // spiders that wait for another one's fetch
};
using robots_cache_ptr = std::unique_ptr<robots_cache>;

struct robots_counts {
  uint64_t nb_hosts = 0;      // asked for, with and without rules
  uint64_t nb_files = 0;      // files that came
  uint64_t nb_rule_sets = 0;  // hosts that forbid something
  uint64_t nb_refused = 0;    // URLs
};

[[nodiscard]] robots_cache_ptr create_robots_cache(const fetch_settings& settings);

// 1 when url may be fetched, 0 when a rule forbids it.
[[nodiscard]] int robots_allowed(robots_cache& cache, std::string_view url, http_fetcher& fetcher);
// Null when there are none; the record lives as long as the cache.
[[nodiscard]] const robots_rules* robots_get_rules(robots_cache& cache, std::string_view url,
                                                   http_fetcher& fetcher);
// Fetches and reads one host's file for agent (build_robots_agent). Null when nothing is forbidden.
[[nodiscard]] robots_rules_ptr robots_fetch(std::string_view host, std::string_view agent,
                                            http_fetcher& fetcher);

[[nodiscard]] robots_counts get_counts_robots_cache(const robots_cache& cache);

}  // namespace wk
