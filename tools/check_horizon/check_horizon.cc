// check_horizon [--filter-bits N] [--nb-queues N] DIRECTORY
//
// Says whether the files of a horizon are well-formed and in accord with one another. DIRECTORY is
// a checkpoint, or the temporary directory of a crawl that has ended and not been checkpointed.
// (A crawl that goes on after a checkpoint leaves that checkpoint's head, tail, pending and filter
// files in its temporary directory, and they no longer agree with the rest. Nor is a directory
// checked into which a crawl writes meanwhile.) N is disk_cache_size, of which 100,000,000 is the
// default, and nb_queues of the crawl's profile; without the latter no URL is held against the
// number of its queue. Nothing is written but the report (fault_report.h).
//
// Exit status: 0 sound, 1 faults, 2 wrong usage or a directory that can't be read.
//
// Time is linear in the files' sizes. Memory: about 70 bytes for each URL queued or listed, so a
// few million are no matter, and the bit filter's file; the disk cache passes through line by line.
#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <vector>

#include "crawler/horizon/frontier.h"
#include "crawler/horizon/url_fingerprint.h"
#include "crawler/url/url_form.h"
#include "crawler/url/url_parts.h"
#include "tools/check_horizon/fault_report.h"
#include "tools/check_horizon/filter_image.h"
#include "tools/check_horizon/horizon_listing.h"
#include "tools/check_horizon/url_line_file.h"
#include "wkstd/text.h"

namespace wk {
namespace {

using ull = unsigned long long;

struct check_options {
  uint32_t filter_bits = horizon_settings{}.disk_cache_size;
  uint32_t nb_queues = 0;  // 0: not known
  std::string directory;
};

enum url_place : uint32_t {
  PLACE_QUEUE = 1,  // a file of a queue, or the pending file
  PLACE_KNOWN_LIST = 2,
  PLACE_UNKNOWN_LIST = 4,
  PLACE_DISK_CACHE = 8,
};

// Where a URL was met.
struct url_record {
  uint32_t places = 0;      // url_place
  uint32_t queue_file = 0;  // with PLACE_QUEUE: which of checked_files, and the line in it
  uint64_t queue_line = 0;
};

struct hash_fingerprint {
  size_t operator()(const url_fingerprint& print) const noexcept { return print.low; }
};

struct horizon_check {
  check_options options;
  horizon_listing listing;
  fault_report report;
  fingerprint_key key = draw_fingerprint_key();
  // Of the queues and lists. A URL that stands in the disk cache alone is not in here.
  std::unordered_map<url_fingerprint, url_record, hash_fingerprint> urls;
  std::vector<std::string> checked_files;

  uint64_t nb_queued = 0;
  uint64_t nb_pending = 0;
  uint64_t nb_known = 0;
  uint64_t nb_unknown = 0;
  uint64_t nb_disk_cache = 0;
};

// Calls take(url, line number) for each line that is a URL, and reports the others. The answer is
// the number of lines that are not empty.
template <typename take_url>
uint64_t check_lines(horizon_check& check, const std::string& name, take_url take) {
  fault_report& report = check.report;
  url_line_file file = open_url_line_file(check.options.directory + "/" + name);
  if (file.stream == nullptr) {
    print_fault(report, name, "can't be opened");
    return 0;
  }
  uint64_t nb_filled = 0;
  url_line line;
  while (read_url_line(file, line)) {
    if (!line.text.empty()) ++nb_filled;
    if (!line.is_ended) print_line_fault(report, name, "no line feed at the end", line.number);
    if (line.text.empty()) {
      print_line_fault(report, name, "an empty line", line.number);
    } else if (line.is_too_long) {
      print_line_fault(report, name, "too long for a URL", line.number);
    } else if (!is_acceptable_url(line.text)) {
      print_line_fault(report, name, "a control byte", line.number);
    } else {
      take(line.text, line.number);
    }
  }
  if (file.failed) print_line_fault(report, name, "can't be read further", file.nb_lines);
  return nb_filled;
}

url_record& find_or_make_record(horizon_check& check, std::string_view url) {
  return check.urls[build_url_fingerprint(check.key, url)];
}

uint64_t check_list(horizon_check& check, const char* name, url_place place) {
  return check_lines(check, name, [&](std::string_view url, uint64_t line) {
    url_record& record = find_or_make_record(check, url);
    if ((record.places & place) != 0) {
      print_line_fault(check.report, name, "a URL that stands in it already", line);
    } else if (record.places != 0) {
      print_line_fault(check.report, name, "a URL of the known list", line);
    }
    record.places |= place;
  });
}

void take_queued_url(horizon_check& check, std::string_view url, uint64_t line) {
  const auto file = static_cast<uint32_t>(check.checked_files.size() - 1);
  url_record& record = find_or_make_record(check, url);
  if ((record.places & PLACE_QUEUE) == 0) {
    record.places |= PLACE_QUEUE;
    record.queue_file = file;
    record.queue_line = line;
    return;
  }
  print_line_fault(check.report, check.checked_files.back(),
                   format_text("a URL that is in line %llu of %s already", ull{record.queue_line},
                               check.checked_files[record.queue_file].c_str()),
                   line);
}

void check_queue_file(horizon_check& check, const queue_file& file) {
  const uint32_t nb_queues = check.options.nb_queues;
  const uint32_t queue = file.parsed.queue;
  const bool is_queue_known = nb_queues != 0 && queue < nb_queues;
  check.checked_files.push_back(file.name);
  const uint64_t nb_urls = check_lines(check, file.name, [&](std::string_view url, uint64_t line) {
    const uint32_t right = is_queue_known ? hash_url_host(find_url_host(url)) % nb_queues : 0;
    if (is_queue_known && right != queue) {
      print_line_fault(check.report, file.name, format_text("a URL of queue %u", right), line);
    }
    take_queued_url(check, url, line);
  });
  check.nb_queued += nb_urls;
  // A tail is spilled when it is full, and full is at least one URL.
  if (nb_urls == 0 && file.parsed.kind == QUEUE_FILE_SPILL) {
    print_fault(check.report, file.name, "a spill file without a URL");
  }
}

void check_pending_file(horizon_check& check) {
  check.checked_files.emplace_back(PENDING_NAME);
  check.nb_pending = check_lines(check, PENDING_NAME, [&](std::string_view url, uint64_t line) {
    take_queued_url(check, url, line);
  });
}

void check_disk_cache(horizon_check& check, const filter_image& filter) {
  fault_report& report = check.report;
  std::string before;
  check.nb_disk_cache =
      check_lines(check, DISK_CACHE_NAME, [&](std::string_view url, uint64_t line) {
        if (url <= before) {
          print_line_fault(report, DISK_CACHE_NAME,
                           url == before ? "the URL of the line before" : "not in rising order",
                           line);
        }
        before.assign(url);
        if (is_read_filter_image(filter) && !may_hold_filter_image(filter, url)) {
          print_line_fault(report, DISK_CACHE_NAME, "a URL whose bits are not all set", line);
        }
        const auto at = check.urls.find(build_url_fingerprint(check.key, url));
        if (at == check.urls.end()) return;
        if ((at->second.places & PLACE_KNOWN_LIST) != 0) {
          print_line_fault(report, DISK_CACHE_NAME, "a URL of the known list", line);
        }
        at->second.places |= PLACE_DISK_CACHE;
      });
}

void check_filter_and_disk_cache(horizon_check& check) {
  filter_image filter;
  if (check.listing.has_filter) {
    filter = load_filter_image(check.options.directory + "/" + FILTER_NAME, FILTER_NAME,
                               check.options.filter_bits, check.report);
  }
  if (check.listing.has_disk_cache) check_disk_cache(check, filter);
  if (is_read_filter_image(filter) && filter.nb_urls != check.nb_disk_cache) {
    print_fault(check.report, FILTER_NAME,
                format_text("counts %u URLs, the disk cache holds %llu", filter.nb_urls,
                            ull{check.nb_disk_cache}));
  }
}

// A URL enters a queue when, and only when, it becomes known.
void check_queued_are_known(horizon_check& check) {
  std::vector<std::pair<uint32_t, uint64_t>> strangers;  // file, line
  for (const auto& [print, record] : check.urls) {
    if (record.places == PLACE_QUEUE) strangers.emplace_back(record.queue_file, record.queue_line);
  }
  std::sort(strangers.begin(), strangers.end());
  for (const auto& [file, line] : strangers) {
    print_line_fault(check.report, check.checked_files[file], "a URL that is not known", line);
  }
}

void print_counts(const horizon_check& check) {
  uint64_t nb_queues = 0;
  const queue_file* before = nullptr;
  for (const queue_file& file : check.listing.queue_files) {
    if (before == nullptr || before->parsed.queue != file.parsed.queue) ++nb_queues;
    before = &file;
  }
  std::printf(
      "queues %llu, queued URLs %llu, pending %llu, known %llu, disk cache %llu, "
      "unknown %llu\n",
      ull{nb_queues}, ull{check.nb_queued}, ull{check.nb_pending}, ull{check.nb_known},
      ull{check.nb_disk_cache}, ull{check.nb_unknown});
}

void check_files(horizon_check& check) {
  const horizon_listing& listing = check.listing;
  check_missing_files(listing, check.report);
  if (listing.has_known_list) {
    check.nb_known = check_list(check, KNOWN_LIST_NAME, PLACE_KNOWN_LIST);
  }
  if (listing.has_unknown_list) {
    check.nb_unknown = check_list(check, UNKNOWN_LIST_NAME, PLACE_UNKNOWN_LIST);
  }
  for (const queue_file& file : listing.queue_files) check_queue_file(check, file);
  if (listing.has_pending) check_pending_file(check);
  check_filter_and_disk_cache(check);
  if (listing.has_filter) check_queued_are_known(check);
}

// A decimal number from 1 on.
bool parse_option_number(std::string_view text, uint32_t& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() && number != 0;
}

bool parse_options(int argc, char** argv, check_options& options) {
  std::vector<std::string_view> rest(argv + std::min(argc, 1), argv + argc);
  size_t at = 0;
  while (at < rest.size() && rest[at].starts_with("--")) {
    const std::string_view option = rest[at++];
    const bool is_filter_bits = option == "--filter-bits";
    if (!is_filter_bits && option != "--nb-queues") return false;
    uint32_t& number = is_filter_bits ? options.filter_bits : options.nb_queues;
    if (at == rest.size() || !parse_option_number(rest[at++], number)) return false;
  }
  if (at + 1 != rest.size() || rest[at].empty()) return false;
  options.directory = rest[at];
  return true;
}

int run_check(const check_options& options) {
  horizon_check check;
  check.options = options;
  if (!list_horizon(options.directory, options.nb_queues, check.listing, check.report)) {
    std::fprintf(stderr, "%s can't be read\n", options.directory.c_str());
    return 2;
  }
  check_files(check);
  print_counts(check);
  if (!finish_report()) {
    std::fputs("the report can't be written\n", stderr);
    return 2;
  }
  return check.report.nb_faults == 0 ? 0 : 1;
}

}  // namespace
}  // namespace wk

int main(int argc, char** argv) {
  wk::check_options options;
  if (!wk::parse_options(argc, argv, options)) {
    std::fputs("usage: check_horizon [--filter-bits N] [--nb-queues N] DIRECTORY\n", stderr);
    return 2;
  }
  return wk::run_check(options);
}
