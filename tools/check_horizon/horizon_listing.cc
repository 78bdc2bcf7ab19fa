#include "tools/check_horizon/horizon_listing.h"

#include <algorithm>
#include <filesystem>
#include <span>
#include <string_view>
#include <system_error>
#include <tuple>

#include "wkstd/text.h"

namespace wk {
namespace {

// Left by a sort or merge, or still in its work; nobody reads them afterwards.
bool is_work_file_name(std::string_view name) {
  constexpr std::string_view CHUNK_PREFIX = "tmp.tsort";
  for (const std::string_view work_name :
       {"ndue_cache.txt.sort", "ndue_unknown.txt.sort", "ndue_disk_cache.txt.new"}) {
    if (name == work_name) return true;
  }
  if (!name.starts_with(CHUNK_PREFIX) || name.size() == CHUNK_PREFIX.size()) return false;
  name.remove_prefix(CHUNK_PREFIX.size());
  return std::all_of(name.begin(), name.end(),
                     [](char c) { return is_digit(static_cast<unsigned char>(c)); });
}

// True when name is one of the files that a horizon has once.
bool take_single_file(horizon_listing& listing, std::string_view name) {
  const std::tuple<std::string_view, bool&> files[] = {
      {KNOWN_LIST_NAME, listing.has_known_list}, {UNKNOWN_LIST_NAME, listing.has_unknown_list},
      {DISK_CACHE_NAME, listing.has_disk_cache}, {PENDING_NAME, listing.has_pending},
      {FILTER_NAME, listing.has_filter},
  };
  for (const auto& [file_name, is_there] : files) {
    if (name != file_name) continue;
    is_there = true;
    return true;
  }
  return false;
}

void take_name(horizon_listing& listing, const std::string& name, uint32_t nb_queues,
               fault_report& report) {
  if (take_single_file(listing, name)) return;
  if (is_work_file_name(name)) return print_note(name, "a work file of a sort or merge");
  const queue_file_name parsed = parse_queue_file_name(name);
  if (parsed.kind == QUEUE_FILE_NONE || parsed.kind == QUEUE_FILE_FOREIGN) {
    return print_fault(report, name, "not a name of the horizon");
  }
  if (nb_queues != 0 && parsed.queue >= nb_queues) {
    print_fault(report, name, format_text("a horizon of %u queues has no such queue", nb_queues));
  }
  listing.queue_files.push_back({parsed, name});
}

std::tuple<uint32_t, int, uint32_t> get_sort_key(const queue_file& file) {
  const queue_file_kind kind = file.parsed.kind;
  const int place = kind == QUEUE_FILE_HEAD ? 0 : kind == QUEUE_FILE_SPILL ? 1 : 2;
  return {file.parsed.queue, place, file.parsed.number};
}

void check_spill_numbers(std::span<const queue_file> files, fault_report& report) {
  const queue_file* before = nullptr;
  for (const queue_file& file : files) {
    if (file.parsed.kind != QUEUE_FILE_SPILL) continue;
    if (before != nullptr && file.parsed.number != before->parsed.number + 1) {
      print_fault(report, file.name,
                  format_text("the spill files from number %u on are missing before it",
                              before->parsed.number + 1));
    }
    before = &file;
  }
}

void check_buffer_files(std::span<const queue_file> files, fault_report& report) {
  for (const queue_file_kind kind : {QUEUE_FILE_HEAD, QUEUE_FILE_TAIL}) {
    const auto has_kind = [kind](const queue_file& file) { return file.parsed.kind == kind; };
    if (std::any_of(files.begin(), files.end(), has_kind)) continue;
    print_fault(report, files.front().name,
                kind == QUEUE_FILE_HEAD ? "the head file of its queue is missing"
                                        : "the tail file of its queue is missing");
  }
}

}  // namespace

bool list_horizon(const std::string& directory, uint32_t nb_queues, horizon_listing& listing,
                  fault_report& report) {
  std::error_code error;
  std::vector<std::pair<std::string, bool>> entries;  // name, is a regular file
  for (std::filesystem::directory_iterator at(directory, error), end; !error && at != end;
       at.increment(error)) {
    std::error_code vanished;
    const bool is_file = std::filesystem::is_regular_file(at->symlink_status(vanished));
    entries.emplace_back(at->path().filename().string(), is_file);
  }
  if (error) return false;
  std::sort(entries.begin(), entries.end());
  for (const auto& [name, is_file] : entries) {
    if (is_file) {
      take_name(listing, name, nb_queues, report);
    } else {
      print_fault(report, name, "not a regular file");
    }
  }
  std::sort(listing.queue_files.begin(), listing.queue_files.end(),
            [](const auto& a, const auto& b) { return get_sort_key(a) < get_sort_key(b); });
  return true;
}

void check_missing_files(const horizon_listing& listing, fault_report& report) {
  const bool has_saved_files =
      listing.has_pending ||
      std::any_of(listing.queue_files.begin(), listing.queue_files.end(),
                  [](const queue_file& file) { return file.parsed.kind != QUEUE_FILE_SPILL; });
  if (has_saved_files && !listing.has_filter) {
    print_fault(report, FILTER_NAME, "missing beside other files of a checkpoint");
  }
  std::span<const queue_file> rest = listing.queue_files;
  while (!rest.empty()) {
    const uint32_t queue = rest.front().parsed.queue;
    const auto end = std::find_if(rest.begin(), rest.end(), [queue](const queue_file& file) {
      return file.parsed.queue != queue;
    });
    const auto files = rest.first(static_cast<size_t>(end - rest.begin()));
    check_spill_numbers(files, report);
    if (listing.has_filter) check_buffer_files(files, report);
    rest = rest.subspan(files.size());
  }
}

}  // namespace wk
