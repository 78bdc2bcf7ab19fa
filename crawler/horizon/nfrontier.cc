#include "crawler/horizon/nfrontier.h"

#include <algorithm>
#include <limits>
#include <vector>

#include "crawler/url/url_parts.h"
#include "wkstd/error.h"

namespace wk {
namespace {

constexpr uint64_t US_PER_SECOND = 1'000'000;
constexpr uint64_t LOOK_AGAIN_US = 250'000;  // at a queue that is blocked

// What one look at the queues goes by.
struct frontier_look {
  nfrontier& frontier;
  uint64_t steady_now_us = 0;
  host_claim claim = CLAIM_SHARE;
};

enum take_answer : uint32_t {
  TAKE_NOTHING,  // the queue's file cannot be opened at the moment
  TAKE_URL,
  TAKE_BLOCKED,  // no host in it is welcome
};

uint64_t count_queue(const frontier_queue& queue) { return queue.urls.count + queue.aside.nb_urls; }

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

bool is_welcome(const frontier_look& look, std::string_view host) {
  const host_terms& terms = look.frontier.terms;
  return are_all_hosts_welcome(terms) ||
         is_welcome_host(terms, host, look.claim, look.steady_now_us);
}

void set_aside(nfrontier& frontier, frontier_queue& queue, std::string_view host,
               const std::string& url) {
  set_url_aside(queue.aside, host, url);
  frontier.nb_bytes_aside += url.size();
  ++frontier.nb_urls;
}

std::string take_aside(nfrontier& frontier, frontier_queue& queue, size_t index) {
  std::string url = take_url_aside(queue.aside, index);
  frontier.nb_bytes_aside -= url.size();
  --frontier.nb_urls;
  return url;
}

// A URL of the first host set aside that is welcome. Those of an exhausted host are dropped, but
// for the queue's last URL.
bool take_url_set_aside(std::string& url, const frontier_look& look, frontier_queue& queue) {
  std::vector<host_urls>& hosts = queue.aside.hosts;
  for (size_t i = 0; i < hosts.size();) {
    if (count_queue(queue) > 1 && is_host_exhausted(look.frontier, hosts[i].urls.front())) {
      (void)take_aside(look.frontier, queue, i);
    } else if (is_welcome(look, hosts[i].host)) {
      url = take_aside(look.frontier, queue, i);
      return true;
    } else {
      ++i;
    }
  }
  return false;
}

// Every queue may set one aside, whatever the others hold.
bool has_room_aside(const nfrontier& frontier, const frontier_queue& queue) {
  return queue.aside.nb_urls == 0 ||
         (queue.aside.nb_urls < MAX_URLS_ASIDE && frontier.nb_bytes_aside < MAX_BYTES_ASIDE);
}

// The next URL whose host is not exhausted; the last one of a queue is handed out in any case.
bool pop_unexhausted(std::string& url, nfrontier& frontier, frontier_queue& queue) {
  if (!pop_queue(url, frontier, queue)) return false;
  while (queue.urls.count > 0 && is_host_exhausted(frontier, url)) {
    if (!pop_queue(url, frontier, queue)) break;
  }
  return true;
}

// Serves the queue until a host comes that is welcome; what comes before it is set aside.
take_answer take_url_in_order(std::string& url, const frontier_look& look, frontier_queue& queue) {
  bool popped = false;
  while (queue.urls.count > 0 && has_room_aside(look.frontier, queue)) {
    if (!pop_unexhausted(url, look.frontier, queue)) {
      if (popped) break;
      print_message(
          "the queue suppose to return url because the selector said this queue is not empty\n");
      return TAKE_NOTHING;
    }
    const std::string_view host = find_url_host(url);
    if (is_welcome(look, host)) return TAKE_URL;
    popped = true;
    set_aside(look.frontier, queue, host, url);
  }
  return TAKE_BLOCKED;
}

take_answer take_url(std::string& url, frontier_look look, frontier_queue& queue) {
  if (take_url_set_aside(url, look, queue)) return TAKE_URL;
  const take_answer answer = take_url_in_order(url, look, queue);
  if (answer != TAKE_BLOCKED || has_room_aside(look.frontier, queue)) return answer;
  // No more can be set aside: what rests goes first, which takes a spider no time.
  look.claim = CLAIM_REST;
  return take_url_set_aside(url, look, queue) ? TAKE_URL : TAKE_BLOCKED;
}

void set_blocked(nfrontier& frontier, frontier_queue& queue, bool is_blocked) {
  if (queue.is_blocked == is_blocked) return;
  queue.is_blocked = is_blocked;
  frontier.nb_blocked += is_blocked ? 1 : UINT32_MAX;
}

// A queue served late is due one interval from now, one served on its slot one interval from that.
void settle_served_queue(nfrontier& frontier, uint32_t index, frontier_queue& queue, uint64_t now,
                         bool gave_url) {
  queue.next_time_us = std::max(queue.next_time_us, now) + frontier.interval_us;
  if (queue.urls.count == 0) queue.urls.end_file = 0;
  if (count_queue(queue) == 0) return;
  // Its next file cannot be opened at the moment: asking at once again would ask for ever.
  if (!gave_url) queue.next_time_us = std::max(queue.next_time_us, now + US_PER_SECOND);
  insert_heap(frontier.due, {queue.next_time_us, index});
}

// A host at its share is welcome again with the next URL that ends; few queues hold such a host.
void settle_blocked_queue(nfrontier& frontier, uint32_t index, uint64_t now) {
  frontier_queue& queue = find_or_make_queue_nfrontier(frontier, index);
  const auto is_idle = [&](const host_urls& host) {
    return is_idle_host(frontier.terms, host.host);
  };
  const std::vector<host_urls>& hosts = queue.aside.hosts;
  if (std::all_of(hosts.begin(), hosts.end(), is_idle)) {
    queue.next_time_us = std::max(queue.next_time_us, now + LOOK_AGAIN_US);
  }
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

// Serves one queue, which is out of the heap and goes back into it unless it is empty or blocked.
take_answer serve_queue(std::string& url, const frontier_look& look, uint32_t index, uint64_t now) {
  nfrontier& frontier = look.frontier;
  frontier_queue& queue = find_or_make_queue_nfrontier(frontier, index);
  const take_answer answer = take_url(url, look, queue);
  const bool is_blocked = answer == TAKE_BLOCKED && count_queue(queue) > 0;
  set_blocked(frontier, queue, is_blocked);
  if (is_blocked) return TAKE_BLOCKED;
  settle_served_queue(frontier, index, queue, now, answer == TAKE_URL);
  return answer == TAKE_URL ? TAKE_URL : TAKE_NOTHING;
}

// What queues that were due and blocked may give when no other has a URL: one of a host that
// answers; and where there is nothing but hosts that rest, in queues and in hands, one of those.
host_claim choose_last_claim(const nfrontier& frontier, size_t nb_out_of_heap) {
  const bool is_all_blocked = frontier.nb_blocked == frontier.due.entries.size() + nb_out_of_heap;
  const bool rests_all = frontier.terms.nb_in_hands == frontier.terms.nb_in_hands_at_rest;
  return is_all_blocked && rests_all ? CLAIM_REST : CLAIM_ANSWER;
}

nfrontier_answer serve_blocked_queues(std::string& url, uint32_t& allowed_time, frontier_look look,
                                      const std::vector<heap_entry>& blocked, uint64_t now) {
  nfrontier& frontier = look.frontier;
  look.claim = choose_last_claim(frontier, blocked.size());
  nfrontier_answer answer = NFRONTIER_WAIT;
  allowed_time = to_seconds_rounded_up(now + LOOK_AGAIN_US);
  for (const heap_entry& entry : blocked) {
    if (answer == NFRONTIER_URL) {
      insert_heap(frontier.due, entry);
      continue;
    }
    const take_answer taken = serve_queue(url, look, entry.value, now);
    if (taken == TAKE_BLOCKED) settle_blocked_queue(frontier, entry.value, now);
    if (taken != TAKE_URL) continue;
    allowed_time = to_seconds(entry.key);
    answer = NFRONTIER_URL;
  }
  return answer;
}

nfrontier_answer serve_due_queues(std::string& url, uint32_t& allowed_time,
                                  const frontier_look& look, uint64_t now) {
  nfrontier& frontier = look.frontier;
  std::vector<heap_entry> blocked;
  nfrontier_answer answer = NFRONTIER_EMPTY;
  heap_entry first;
  while (answer == NFRONTIER_EMPTY && remove_min_heap(frontier.due, first)) {
    if (first.key > now) {
      insert_heap(frontier.due, first);
      allowed_time = to_seconds_rounded_up(first.key);
      answer = NFRONTIER_WAIT;
      break;
    }
    const take_answer taken = serve_queue(url, look, first.value, now);
    if (taken == TAKE_BLOCKED) blocked.push_back(first);
    if (taken != TAKE_URL) continue;
    allowed_time = to_seconds(first.key);
    answer = NFRONTIER_URL;
  }
  if (answer == NFRONTIER_URL) {
    for (const heap_entry& entry : blocked) settle_blocked_queue(frontier, entry.value, now);
    return answer;
  }
  return blocked.empty() ? answer : serve_blocked_queues(url, allowed_time, look, blocked, now);
}

void write_aside(const urls_aside& aside, output_file& file) {
  for (const host_urls& host : aside.hosts) {
    for (const std::string& url : host.urls) {
      write_output_file(file, url);
      write_output_file(file, "\n");
    }
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
  set_blocked(frontier, queue, false);
  if (count_queue(queue) == 1) insert_heap(frontier.due, {queue.next_time_us, index});
}

nfrontier_answer get_nfrontier(std::string& url, uint32_t& allowed_time, nfrontier& frontier,
                               uint64_t steady_now_us) {
  if (frontier.nb_urls == 0) return NFRONTIER_EMPTY;
  const uint64_t now = read_clock(frontier);
  const frontier_look look{.frontier = frontier, .steady_now_us = steady_now_us};
  const nfrontier_answer answer = serve_due_queues(url, allowed_time, look, now);
  if (answer == NFRONTIER_EMPTY && frontier.nb_urls != 0) {
    print_message("the heap is empty, but nb_urls is not\n");
  }
  if (answer == NFRONTIER_URL) take_url_host_terms(frontier.terms, find_url_host(url));
  return answer;
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
    queue.aside = {};
    queue.is_blocked = false;
  }
  clear_host_terms(frontier.terms);
  frontier.nb_bytes_aside = 0;
  frontier.nb_blocked = 0;
  frontier.nb_urls = 0;
  clear_heap(frontier.due);
}

bool save_nfrontier(nfrontier& frontier, output_file& pending) {
  bool saved = true;
  for (auto& [index, queue] : frontier.queues) {
    if (!save_url_queue(queue.urls, pending)) saved = false;
    write_aside(queue.aside, pending);
  }
  return saved;
}

}  // namespace wk
