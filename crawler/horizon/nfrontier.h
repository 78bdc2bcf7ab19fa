// The scheduler: URL queues, one for the hosts of one hash, and which of them may be served when.
//
// All URLs of a host fall into one queue, and a queue is served at most once per interval, so no
// host is asked more often than that, however many hosts there are. A queue stands in the heap
// exactly while it holds URLs and is not being served.
//
// Times are µs since 1970. A queue that is served at t is next due at t + interval. When the clock
// is set back, an allowed time that then lies more than two intervals ahead becomes one interval
// ahead, so no queue waits for the clock to catch up.
//
// A URL whose host is not to be asked at the moment (host_terms.h) is set aside within its queue,
// and those behind it are served meanwhile; it is the first to go when its host is welcome again. A
// queue that holds nothing but hosts at rest is looked at four times a second. When there is
// nothing else in any queue or in spiders' hands, URLs of hosts at rest are handed out all the
// same: a crawl comes to its end. So they are where too many of them are set aside.
//
// Queues are made when their first URL comes, so a large number of them costs nothing by itself.
// Threads: one at a time, under the horizon's lock; nb_urls may be read without it.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>

#include "crawler/horizon/host_terms.h"
#include "crawler/horizon/url_queue.h"
#include "crawler/horizon/urls_aside.h"
#include "wkdt/hash_string.h"
#include "wkdt/heap.h"
#include "wkstd/file.h"

namespace wk {

constexpr size_t MAX_URLS_ASIDE = 1'000;        // of one queue
constexpr size_t MAX_BYTES_ASIDE = 16UL << 20;  // of all queues

struct frontier_queue {
  url_queue urls;
  urls_aside aside;  // taken from urls, and still to be handed out before them
  uint64_t next_time_us = 0;
  bool is_blocked = false;  // when it was last looked at no host in it was welcome
};

struct nfrontier {
  uint64_t interval_us = 0;
  std::string directory;
  uint32_t nb_queues = 1;
  uint32_t queue_buffer_size = 1;
  uint64_t (*get_time_us)() = nullptr;
  uint32_t nb_hosts_expected = 0;

  host_terms terms;
  size_t nb_bytes_aside = 0;
  uint32_t nb_blocked = 0;           // queues
  hash_string_ptr host_table;        // host -> 1: its URLs are dropped; null until the first one
  std::atomic<uint32_t> nb_urls{0};  // in all queues
  std::unordered_map<uint32_t, frontier_queue> queues;
  heap due;                     // of the queues, by next_time_us
  uint64_t unused_time_us = 0;  // next_time_us of a queue that is not made yet
  uint64_t latest_now_us = 0;   // as the clock last said
};

enum nfrontier_answer : uint32_t {
  NFRONTIER_EMPTY = 0,
  NFRONTIER_URL = 1,
  NFRONTIER_WAIT = 2,
};

// interval_us, directory, nb_queues, queue_buffer_size and get_time_us are set before.
void init_nfrontier(nfrontier& frontier);
// The queue of that number, made when it is asked for the first time.
frontier_queue& find_or_make_queue_nfrontier(nfrontier& frontier, uint32_t index);
void push_nfrontier(nfrontier& frontier, std::string_view url);
// The next URL of the queue that is due first and holds one of a welcome host. The URL is in a
// spider's hands until end_url_host_terms. allowed_time receives the time (s since 1970) from which
// that queue may be served, with NFRONTIER_WAIT rounded up.
[[nodiscard]] nfrontier_answer get_nfrontier(std::string& url, uint32_t& allowed_time,
                                             nfrontier& frontier, uint64_t steady_now_us);
void exhaust_host_nfrontier(nfrontier& frontier, std::string_view host);
void clear_nfrontier(nfrontier& frontier);  // forgets every URL; every queue is due at once

// Writes the buffers of all queues, see save_url_queue.
[[nodiscard]] bool save_nfrontier(nfrontier& frontier, output_file& pending);
// Finds the queues' files in the directory and takes them up into a cleared frontier; every queue
// is then due at once. Files whose name or size does not fit are reported and their URLs pushed
// like new ones. False when a file cannot be read.
[[nodiscard]] bool restore_nfrontier(nfrontier& frontier);

}  // namespace wk
