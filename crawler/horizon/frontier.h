// The URL horizon as the rest of the crawler sees it: a table of operations over one horizon.
//
// A horizon holds every URL that was accepted for crawling and not yet handed to a spider. It drops
// URLs that it has had before and hands out the rest so that one host is asked at most once per
// interval. All of its files live in its directory. Every operation takes the horizon's own lock
// unless its comment says otherwise, and holds it over its file work; a caller who also needs the
// crawler's lock takes that one first.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace wk {

struct horizon;
struct frontier_ops;

// What is worth knowing of a horizon at any moment.
struct horizon_facts {
  uint32_t nb_queued = 0;    // URLs in all queues
  uint32_t nb_active = 0;    // handed out, not ended
  uint32_t nb_doubtful = 0;  // to be looked up before it is known whether they are queued
  uint64_t nb_known = 0;     // had before
};

// Takes over the files of a horizon that stand in directory under these names; false, and errno
// says why, when it could not. They do not change until it returns.
using keep_horizon_files = bool (*)(const std::string& directory,
                                    const std::vector<std::string>& names, void* context);

constexpr uint32_t FRONTIER_MODE = 2222;

enum frontier_answer : uint32_t {
  FRONTIER_EMPTY = 0,
  FRONTIER_URL = 1,   // a URL was handed out
  FRONTIER_WAIT = 2,  // URLs exist, but every queue must wait
};

// What one kind of horizon can do. Every slot is set unless its comment says "may be null".
struct frontier_ops {
  uint32_t mode;  // FRONTIER_MODE
  horizon* self;

  void (*destroy)(frontier_ops& ops);
  void (*clear)(frontier_ops& ops);  // empties the horizon before a restore
  uint32_t (*inert_zero)(frontier_ops& ops);
  void (*set_option)(frontier_ops& ops, uint32_t option);  // offered the crawler's search mode
  uint32_t (*get_url_blocking)(frontier_ops& ops);         // not supported; says so and answers 1
  // The next URL. allowed_time receives the time (s since 1970) from which the host may be asked,
  // with FRONTIER_URL and FRONTIER_WAIT. A URL handed out is in the caller's hands until end_url or
  // refuse_url.
  frontier_answer (*get_url)(frontier_ops& ops, std::string& url, uint32_t& allowed_time);
  // 1 when the URL was taken (known before or not), 0 when it is empty or is_acceptable_url refuses
  // it.
  uint32_t (*add_url)(frontier_ops& ops, std::string_view url);
  // The same for many in order, with the lock taken once.
  void (*add_urls)(frontier_ops& ops, std::span<const std::string> urls);
  uint32_t (*has_urls_unsupported)(frontier_ops& ops);
  uint32_t (*wait_urls_unsupported)(frontier_ops& ops, uint64_t milliseconds);
  uint32_t (*inert_one)(frontier_ops& ops);
  uint32_t (*count_urls)(const frontier_ops& ops);  // URLs in all queues; takes no lock
  uint32_t (*identity)(uint32_t argument);
  void (*write_state)(frontier_ops& ops, std::string& stream);  // mode, directory and count
  void (*begin_url)(frontier_ops& ops);                         // one more URL is in work
  void (*end_url)(frontier_ops& ops, std::string_view url);     // a URL handed out is finished
  // A URL handed out was refused by the URL filter: it stays counted among active_urls and is yet
  // in nobody's hands.
  void (*refuse_url)(frontier_ops& ops, std::string_view url);
  uint32_t (*active_urls)(const frontier_ops& ops);  // handed out, not ended; takes no lock
  // One look under the lock: no URL queued, none doubtful, none in a spider's hands.
  bool (*is_exhausted)(frontier_ops& ops);
  // From now on URLs of this host (as find_url_host gives it) are dropped when their turn comes.
  void (*exhaust_host)(frontier_ops& ops, std::string_view host);

  horizon_facts (*get_facts)(const frontier_ops& ops);  // takes no lock
  // Puts every URL that was accepted and not ended into files of the directory and has them kept.
  // False when the disk or keep refused, which leaves the horizon as it was.
  bool (*save)(frontier_ops& ops, keep_horizon_files keep, void* context);
  // Takes the state out of the files that stand in the directory; the horizon was cleared before.
  // False when not all could be read, which was said on standard error; the rest was taken.
  bool (*restore)(frontier_ops& ops);

  // How spiders keep from waiting for the same host. Each may be null: the kind knows no such
  // terms.
  //
  // At most that many URLs of one host are in hands while there is one of another to hand out, and
  // of a host that has stopped answering in any case. 0: no such bound. Before any URL is handed
  // out.
  void (*set_host_share)(frontier_ops& ops, uint32_t share);
  // The host of this URL has answered.
  void (*tell_answer)(frontier_ops& ops, std::string_view url);
  // No URL of this host is handed out for so many µs, unless there are no others. They keep their
  // place.
  void (*rest_host)(frontier_ops& ops, std::string_view host, uint64_t rest_us);
};

struct horizon_settings {
  std::string directory;  // "./" when empty
  uint32_t nb_queues = 100;
  uint32_t queue_buffer_size = 1'000;      // URLs in each of a queue's two buffers
  uint32_t disk_cache_size = 100'000'000;  // bits of the filter before the disk cache
  // Bytes for the memory of known URLs, at most; without it (0) each link to a URL on disk has to
  // be merged.
  uint32_t url_memory_bytes = 64U << 20;
  uint32_t interval_seconds = 0;        // between two URLs of one queue
  uint32_t nb_hosts_expected = 0;       // sizes the table of exhausted hosts
  uint64_t (*get_time_us)() = nullptr;  // wall clock, µs since 1970; null: the system's
};

struct destroy_frontier {
  void operator()(frontier_ops* ops) const;  // ops->destroy, then the table
};
using frontier_ptr = std::unique_ptr<frontier_ops, destroy_frontier>;

[[nodiscard]] frontier_ptr create_frontier(const horizon_settings& settings);

}  // namespace wk
