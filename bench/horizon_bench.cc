// How the horizon behaves as it grows: adds the links of a made up web to one horizon, taking pages
// out meanwhile as spiders do, and prints a line for each half million new URLs.
//
// Usage: horizon [-urls N] [-memory MB] [-random-ends] [-directory DIR]
//   -urls         new URLs to add, 3,000,000 when not given
//   -memory       for the fingerprints of known URLs, 64 when not given; 0 works without them
//   -random-ends  URLs whose last bytes tell them apart, which the filter is at its best with
//   -directory    where the horizon's files stand, in a directory that is removed at the end; /tmp
//                 when not given
//
// One thread. Each call of the horizon is timed, and takes its lock for nearly all of its time, so
// the longest call is the longest time that other spiders wait. The calls' times do not hold the
// making of the links; they hold one look at the clock each (20 to 50 ns). In the end everything is
// taken out and counted: exit code 1 when that is not each URL once.
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "bench/made_up_web.h"
#include "crawler/horizon/frontier.h"
#include "crawler/horizon/horizon.h"
#include "wkstd/directory.h"
#include "wkstd/file.h"
#include "wkstd/text.h"

namespace wk {
namespace {

constexpr uint32_t NB_SITES = 30'000;
constexpr uint32_t LINKS_A_PAGE = 20;
constexpr uint32_t URLS_A_LINE = 500'000;

struct bench_options {
  uint32_t nb_urls = 3'000'000;
  uint32_t memory_mb = 64;
  bool random_ends = false;
  std::string directory = "/tmp";
};

// The time of calls, in ns.
struct call_times {
  uint64_t nb_calls = 0;
  uint64_t total_ns = 0;
  uint64_t longest_ns = 0;
};

struct measured_times {
  call_times new_adds;
  call_times known_adds;
  call_times merges;  // adds that wrote the disk cache anew
  call_times takes;   // get_url and end_url
};

struct bench_run {
  made_up_web web;
  frontier_ptr horizon;
  std::vector<made_up_link> links;
  uint64_t nb_new = 0;
  uint64_t nb_taken = 0;
  uint64_t nb_cache_writes = 0;  // flushes and merges
  uint64_t last_clock_ns = 0;
  measured_times times;  // since the last line

  // What the last line said, of numbers that only grow.
  url_cache_counts counts_before;
  uint64_t nb_new_before = 0;
  uint64_t lock_ns = 0;  // of all lines
};

uint64_t read_clock_ns() {
  return static_cast<uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
}

// Moves on with every look, so that the queues take turns.
uint64_t get_bench_time_us() {
  static uint64_t now = 1'000'000'000'000;
  return now++;
}

void start_clock(bench_run& run) { run.last_clock_ns = read_clock_ns(); }

// The time since the last look at the clock belongs to the call that has just returned.
void count_call(bench_run& run, call_times& times) {
  const uint64_t now = read_clock_ns();
  const uint64_t ns = now - run.last_clock_ns;
  run.last_clock_ns = now;
  ++times.nb_calls;
  times.total_ns += ns;
  times.longest_ns = std::max(times.longest_ns, ns);
}

// Where the time of the add that has just returned belongs.
call_times& find_add_times(bench_run& run, bool is_new) {
  const url_cache_counts& counts = run.horizon->self->cache.counts;  // no other thread is about
  const uint64_t nb_written = counts.nb_flushes + counts.nb_merges;
  if (nb_written != run.nb_cache_writes) {
    run.nb_cache_writes = nb_written;
    return run.times.merges;
  }
  return is_new ? run.times.new_adds : run.times.known_adds;
}

// Takes a page, adds its links and ends it. A page of any site will do when the horizon has none.
void visit_page(bench_run& run) {
  frontier_ops& ops = *run.horizon;
  std::string url;
  uint32_t allowed_time = 0;
  start_clock(run);
  const bool has_page = ops.get_url(ops, url, allowed_time) == FRONTIER_URL;
  count_call(run, run.times.takes);

  const uint32_t site = has_page ? find_site(url) : draw_site(run.web);
  for (made_up_link& link : run.links) follow_made_up_link(run.web, site, link);
  start_clock(run);
  for (const made_up_link& link : run.links) {
    (void)ops.add_url(ops, link.url);  // that none was refused shows at the end
    count_call(run, find_add_times(run, link.is_new));
    if (link.is_new) ++run.nb_new;
  }
  if (!has_page) return;
  ops.end_url(ops, url);
  count_call(run, run.times.takes);
  ++run.nb_taken;
}

void take_all(bench_run& run) {
  frontier_ops& ops = *run.horizon;
  std::string url;
  uint32_t allowed_time = 0;
  start_clock(run);
  while (ops.get_url(ops, url, allowed_time) == FRONTIER_URL) {
    count_call(run, run.times.takes);
    ops.end_url(ops, url);
    count_call(run, run.times.takes);
    ++run.nb_taken;
  }
}

// The number behind name in a file of /proc; 0 when there is none.
uint64_t read_proc_number(const std::string& path, const std::string& name) {
  constexpr uint64_t MAX_BYTES = 65'536;
  std::string text;
  if (!read_whole_file(path, MAX_BYTES, text)) return 0;
  const size_t at = text.find('\n' + name + ':');
  if (at == std::string::npos) return 0;
  return std::strtoull(text.c_str() + at + name.size() + 2, nullptr, 10);
}

// Of the whole process, the making of the links too.
double get_cpu_seconds() {
  struct rusage usage {};
  ::getrusage(RUSAGE_SELF, &usage);
  const auto to_seconds = [](const struct timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  return to_seconds(usage.ru_utime) + to_seconds(usage.ru_stime);
}

uint64_t count_per_second(const call_times& times) {
  constexpr uint64_t NS_PER_SECOND = 1'000'000'000;
  return times.total_ns == 0 ? 0 : times.nb_calls * NS_PER_SECOND / times.total_ns;
}

call_times add_up(const call_times& a, const call_times& b) {
  return {a.nb_calls + b.nb_calls, a.total_ns + b.total_ns, std::max(a.longest_ns, b.longest_ns)};
}

void print_head() {
  std::printf("%9s %9s | %8s %8s %8s %8s | %7s %6s %6s %7s | %6s %8s %7s | %8s %6s %6s %6s\n",
              "new URLs", "adds", "adds/s", "new/s", "known/s", "takes/s", "flushes", "merges",
              "doubt%", "of new%", "MB top", "MB wrote", "MB disk", "merge ms", "max ms", "lock s",
              "CPU s");
}

// Megabytes, "CPU s" and "lock s", the time of all calls, are since the start; the rest is since
// the last line. "adds/s" is of all adds, "new/s" and "known/s" of those that neither flushed nor
// merged; "merge ms" is the mean of those that did, "max ms" the longest call. "doubt%" is the
// share of adds that had to be listed as doubtful, "of new%" their number against that of the new
// URLs. "MB wrote" was handed to the system (wchar); "MB disk" is what of it did not vanish from
// the system's cache by a file's removal (write_bytes less cancelled_write_bytes).
void print_line(bench_run& run) {
  const measured_times& times = run.times;
  const call_times adds = add_up(add_up(times.new_adds, times.known_adds), times.merges);
  const call_times all = add_up(adds, times.takes);
  run.lock_ns += all.total_ns;
  const url_cache_counts counts = get_counts_horizon(*run.horizon->self);
  const url_cache_counts& before = run.counts_before;
  const auto nb_doubtful = static_cast<double>(counts.nb_doubtful - before.nb_doubtful);
  const auto percent_of = [nb_doubtful](uint64_t nb) {
    return nb == 0 ? 0 : 100 * nb_doubtful / static_cast<double>(nb);
  };
  const double mean_merge_ns = static_cast<double>(times.merges.total_ns) /
                               static_cast<double>(std::max<uint64_t>(times.merges.nb_calls, 1));
  const uint64_t reaching_disk = read_proc_number("/proc/self/io", "write_bytes") -
                                 read_proc_number("/proc/self/io", "cancelled_write_bytes");
  std::printf("%9" PRIu64 " %9" PRIu64 " | %8" PRIu64 " %8" PRIu64 " %8" PRIu64 " %8" PRIu64
              " | %7" PRIu64 " %6" PRIu64 " %6.2f %7.1f | %6" PRIu64 " %8" PRIu64 " %7" PRIu64
              " | %8.1f %6.1f %6.2f %6.2f\n",
              run.nb_new, counts.nb_added, count_per_second(adds), count_per_second(times.new_adds),
              count_per_second(times.known_adds), count_per_second(times.takes),
              counts.nb_flushes - before.nb_flushes, counts.nb_merges - before.nb_merges,
              percent_of(adds.nb_calls), percent_of(run.nb_new - run.nb_new_before),
              read_proc_number("/proc/self/status", "VmHWM") / 1'024,
              read_proc_number("/proc/self/io", "wchar") / 1'000'000, reaching_disk / 1'000'000,
              mean_merge_ns / 1e6, static_cast<double>(all.longest_ns) / 1e6,
              static_cast<double>(run.lock_ns) / 1e9, get_cpu_seconds());
  std::fflush(stdout);
  run.counts_before = counts;
  run.nb_new_before = run.nb_new;
  run.times = {};
}

// True when each URL was handed out once and the disk cache knows as many.
bool check_counts(bench_run& run) {
  const horizon& horizon = *run.horizon->self;
  const uint64_t nb_known = uint64_t{horizon.cache.on_disk.count} + horizon.cache.known.count;
  const bool is_exhausted = run.horizon->is_exhausted(*run.horizon);
  uint64_t nb_bytes = 0;
  (void)get_file_size(horizon.cache.on_disk.path, nb_bytes);  // there is none in a short run
  std::printf("%" PRIu64 " new URLs, %" PRIu64 " handed out, %" PRIu64
              " known, %s\n"
              "the disk cache has %u URLs in %" PRIu64 " MB\n",
              run.nb_new, run.nb_taken, nb_known, is_exhausted ? "exhausted" : "not exhausted",
              horizon.cache.on_disk.count, nb_bytes / 1'000'000);
  return is_exhausted && run.nb_taken == run.nb_new && nb_known == run.nb_new;
}

bool run_bench(const bench_options& options, const std::string& directory) {
  bench_run run;
  init_made_up_web(run.web, NB_SITES, options.nb_urls, options.random_ends);
  run.links.resize(LINKS_A_PAGE);
  horizon_settings settings;
  settings.directory = directory;
  settings.url_memory_bytes = options.memory_mb << 20;
  settings.get_time_us = get_bench_time_us;
  run.horizon = create_frontier(settings);

  print_head();
  for (uint64_t line_at = URLS_A_LINE; run.nb_new < options.nb_urls;) {
    visit_page(run);
    if (run.nb_new < std::min<uint64_t>(line_at, options.nb_urls)) continue;
    print_line(run);
    line_at += URLS_A_LINE;
  }
  std::printf("everything is taken out:\n");
  take_all(run);
  print_line(run);
  return check_counts(run);
}

// False when an argument is not understood.
bool read_options(int argc, char** argv, bench_options& options) {
  constexpr uint32_t MAX_URLS = 50'000'000;
  constexpr uint32_t MAX_MEMORY_MB = 1'024;
  for (int i = 1; i < argc; ++i) {
    const std::string name = argv[i];
    if (name == "-random-ends") {
      options.random_ends = true;
      continue;
    }
    if (++i == argc) return false;
    if (name == "-urls") {
      options.nb_urls = std::clamp(parse_unsigned(argv[i]), 1U, MAX_URLS);
    } else if (name == "-memory") {
      options.memory_mb = std::min(parse_unsigned(argv[i]), MAX_MEMORY_MB);
    } else if (name == "-directory") {
      options.directory = argv[i];
    } else {
      return false;
    }
  }
  return true;
}

}  // namespace
}  // namespace wk

int main(int argc, char** argv) {
  wk::bench_options options;
  if (!wk::read_options(argc, argv, options)) {
    std::fputs("usage: horizon [-urls N] [-memory MB] [-random-ends] [-directory DIR]\n", stderr);
    return 2;
  }
  std::string directory = options.directory + "/wk-horizon-XXXXXX";
  if (::mkdtemp(directory.data()) == nullptr) {
    std::perror(options.directory.c_str());
    return 2;
  }
  const bool counts_agree = wk::run_bench(options, directory);
  std::filesystem::remove_all(directory);
  return counts_agree ? 0 : 1;
}
