#include "crawler/horizon/nfrontier.h"

#include <algorithm>
#include <limits>
#include <vector>

#include "crawler/url/url_parts.h"
#include "wkstd/error.h"

namespace wk {
namespace {

constexpr uint64_t US_PER_SECOND = 1'000'000;

uint32_t to_seconds(uint64_t time_us) {
  return static_cast<uint32_t>(
      std::min<uint64_t>(time_us / US_PER_SECOND, std::numeric_limits<uint32_t>::max()));
}

uint32_t to_seconds_rounded_up(uint64_t time_us) {
  return to_seconds(time_us + (US_PER_SECOND - 1));
}

// Pops and keeps the number of all URLs in step with the queue's.
bool pop_queue(std::string& url, nfrontier& frontier, frontier_queue& queue) {
  const uint32_t before = queue.urls.count;
  const bool popped = pop_url_queue(url, queue.urls);
  frontier.nb_urls += queue.urls.count - before;
  return popped;
}

bool is_host_exhausted(const nfrontier& frontier, std::string_view url) {
  return frontier.host_table != nullptr &&
         lookup_hash_string(find_url_host(url), *frontier.host_table) == 1;
}

// Serves the queue until a host that is not exhausted comes; the last URL of a queue is handed out
// in any case. False when the queue gave nothing.
bool take_url(std::string& url, nfrontier& frontier, frontier_queue& queue) {
  if (!pop_queue(url, frontier, queue)) {
    print_message(
        "the queue suppose to return url because the selector said this queue is not empty\n");
    return false;
  }
  while (queue.urls.count > 0 && is_host_exhausted(frontier, url)) {
    if (!pop_queue(url, frontier, queue)) break;
  }
  return true;
}

// A queue served late is due one interval from now, one served on its slot one interval from that.
void settle_served_queue(nfrontier& frontier, uint32_t index, frontier_queue& queue, uint64_t now,
                         bool gave_url) {
  queue.next_time_us = std::max(queue.next_time_us, now) + frontier.interval_us;
  if (queue.urls.count == 0) {
    queue.urls.end_file = 0;
    return;
  }
  // Its next file cannot be opened at the moment: asking at once again would ask for ever.
  if (!gave_url) queue.next_time_us = std::max(queue.next_time_us, now + US_PER_SECOND);
  insert_heap(frontier.due, {queue.next_time_us, index});
}

// After the clock was set back.
void pull_times_back(nfrontier& frontier, uint64_t now) {
  const auto pull_back = [now, interval = frontier.interval_us](uint64_t& time) {
    if (time > now + 2 * interval) time = now + interval;
  };
  pull_back(frontier.unused_time_us);
  for (auto& [index, queue] : frontier.queues) pull_back(queue.next_time_us);
  std::vector<heap_entry> entries;
  heap_entry entry;
  while (remove_min_heap(frontier.due, entry)) entries.push_back(entry);
  for (heap_entry& waiting : entries) {
    pull_back(waiting.key);
    insert_heap(frontier.due, waiting);
  }
}

uint64_t read_clock(nfrontier& frontier) {
  const uint64_t now = frontier.get_time_us();
  if (now < frontier.latest_now_us) pull_times_back(frontier, now);
  frontier.latest_now_us = now;
  return now;
}

}  // namespace

void init_nfrontier(nfrontier& frontier) {
  frontier.due.is_greater = [](uint64_t a, uint64_t b) { return a > b; };
  frontier.latest_now_us = frontier.get_time_us();
  frontier.unused_time_us = frontier.latest_now_us;
}

frontier_queue& find_or_make_queue_nfrontier(nfrontier& frontier, uint32_t index) {
  const auto [at, is_new] = frontier.queues.try_emplace(index);
  frontier_queue& queue = at->second;
  if (is_new) {
    init_url_queue(queue.urls, frontier.directory, index, frontier.queue_buffer_size);
    queue.next_time_us = frontier.unused_time_us;
  }
  return queue;
}

void push_nfrontier(nfrontier& frontier, std::string_view url) {
  const uint32_t index = hash_url_host(find_url_host(url)) % frontier.nb_queues;
  frontier_queue& queue = find_or_make_queue_nfrontier(frontier, index);
  push_url_queue(queue.urls, url);
  ++frontier.nb_urls;
  if (queue.urls.count == 1) insert_heap(frontier.due, {queue.next_time_us, index});
}

nfrontier_answer get_nfrontier(std::string& url, uint32_t& allowed_time, nfrontier& frontier) {
  if (frontier.nb_urls == 0) return NFRONTIER_EMPTY;
  const uint64_t now = read_clock(frontier);
  while (frontier.nb_urls != 0) {
    heap_entry first;
    if (!remove_min_heap(frontier.due, first)) {
      print_message("the heap is empty, but nb_urls is not\n");
      return NFRONTIER_EMPTY;
    }
    if (first.key > now) {
      insert_heap(frontier.due, first);
      allowed_time = to_seconds_rounded_up(first.key);
      return NFRONTIER_WAIT;
    }
    frontier_queue& queue = find_or_make_queue_nfrontier(frontier, first.value);
    const bool gave_url = take_url(url, frontier, queue);
    settle_served_queue(frontier, first.value, queue, now, gave_url);
    if (!gave_url) continue;
    allowed_time = to_seconds(first.key);
    return NFRONTIER_URL;
  }
  return NFRONTIER_EMPTY;
}

void exhaust_host_nfrontier(nfrontier& frontier, std::string_view host) {
  if (frontier.host_table == nullptr) {
    constexpr uint32_t MAX_HOSTS_EXPECTED = 1'000'000;
    frontier.host_table =
        create_hash_string(2 * std::min(frontier.nb_hosts_expected, MAX_HOSTS_EXPECTED));
  }
  insert_hash_string(*frontier.host_table, host, 1);
}

void clear_nfrontier(nfrontier& frontier) {
  frontier.unused_time_us = 0;
  for (auto& [index, queue] : frontier.queues) {
    queue.next_time_us = 0;
    clear_url_queue(queue.urls);
  }
  frontier.nb_urls = 0;
  clear_heap(frontier.due);
}

bool save_nfrontier(nfrontier& frontier, output_file& pending) {
  bool saved = true;
  for (auto& [index, queue] : frontier.queues) {
    if (!save_url_queue(queue.urls, pending)) saved = false;
  }
  return saved;
}

}  // namespace wk
