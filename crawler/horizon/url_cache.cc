#include "crawler/horizon/url_cache.h"

#include "crawler/url/url_form.h"
#include "wkstd/error.h"
#include "wkstd/text.h"

namespace wk {
namespace {

std::string build_sorted_path(const url_list& list) { return list.path + ".sort"; }

// Sorts the list and takes it up into the disk cache. The list is empty afterwards, or, when the
// disk refused, what it was before.
bool empty_into_disk_cache(url_cache& cache, url_list& list, merge_outcome& outcome) {
  const std::string sorted_path = build_sorted_path(list);
  if (!sort_url_list(list, sorted_path, cache.directory) ||
      !merge_disk_cache(cache.on_disk, sorted_path, outcome)) {
    print_message(format_text("%s can't be merged into the disk cache, %u URLs are kept\n",
                              list.path.c_str(), list.count));
    resume_url_list(list);
    return false;
  }
  restart_url_list(list);
  return true;
}

void push_lines(nfrontier& frontier, std::string_view lines) {
  std::string_view url;
  while (take_outcome_line(lines, url)) {
    if (is_acceptable_url(url)) push_nfrontier(frontier, url);
  }
}

void remember_lines(url_cache& cache, std::string_view lines) {
  std::string_view url;
  while (take_outcome_line(lines, url)) {
    add_fingerprint_set(cache.settled, build_url_fingerprint(cache.key, url));
  }
}

void list_unknown(url_cache& cache, std::string_view url, const url_fingerprint& print,
                  nfrontier& frontier) {
  if (!append_url_list(cache.unknown, url)) return;
  add_fingerprint_set(cache.settled, print);
  ++cache.counts.nb_doubtful;
  if (cache.unknown.count >= cache.unknown.empty_at) merge_unknown_url_cache(cache, frontier);
}

void list_known(url_cache& cache, std::string_view url, const url_fingerprint& print,
                nfrontier& frontier) {
  if (!append_url_list(cache.known, url)) return;
  add_fingerprint_set(cache.settled, print);
  push_nfrontier(frontier, url);
  if (cache.known.count < cache.known.empty_at) return;
  merge_outcome outcome;
  // Refused: asked again later.
  if (empty_into_disk_cache(cache, cache.known, outcome)) ++cache.counts.nb_flushes;
}

}  // namespace

void init_url_cache(url_cache& cache, const std::string& directory, uint32_t disk_cache_size) {
  cache.directory = directory;
  init_url_list(cache.known, directory + "/ndue_cache.txt");
  init_disk_cache(cache.on_disk, directory, disk_cache_size);
  init_url_list(cache.unknown, directory + "/ndue_unknown.txt");
  cache.key = draw_fingerprint_key();
}

void add_url_cache(url_cache& cache, std::string_view url, const url_fingerprint& print,
                   nfrontier& frontier) {
  ++cache.counts.nb_added;
  if (find_fingerprint_set(cache.settled, print)) return;
  // While the memory is complete, what it does not hold is on no list either.
  if (!cache.settled.is_complete &&
      (holds_url_list(cache.unknown, url) || holds_url_list(cache.known, url))) {
    add_fingerprint_set(cache.settled, print);
  } else if (may_hold_disk_cache(cache.on_disk, url)) {
    list_unknown(cache, url, print, frontier);
  } else {
    list_known(cache, url, print, frontier);
  }
}

bool merge_unknown_url_cache(url_cache& cache, nfrontier& frontier) {
  if (cache.unknown.count == 0) return true;
  merge_outcome outcome;
  if (!empty_into_disk_cache(cache, cache.unknown, outcome)) return false;
  ++cache.counts.nb_merges;
  push_lines(frontier, outcome.entered);
  remember_lines(cache, outcome.entered);
  remember_lines(cache, outcome.known);
  return true;
}

void clear_url_cache(url_cache& cache) {
  // What is listed in memory only goes to the files first, as closing them would do by itself.
  (void)write_out_url_list(cache.known);
  (void)write_out_url_list(cache.unknown);
  clear_url_list(cache.known);
  clear_url_list(cache.unknown);
  clear_disk_cache(cache.on_disk);
  clear_fingerprint_set(cache.settled);
}

bool save_url_cache(url_cache& cache) {
  const bool known_saved = write_out_url_list(cache.known);
  const bool unknown_saved = write_out_url_list(cache.unknown);
  return save_filter_disk_cache(cache.on_disk) && known_saved && unknown_saved;
}

bool restore_url_cache(url_cache& cache) {
  const bool known_read = load_url_list(cache.known, "too many cache urls in the file");
  const bool unknown_read =
      load_url_list(cache.unknown, "there are too many unknowns in the file\n");
  cache.settled.is_complete = cache.known.count == 0 && cache.unknown.count == 0;
  return load_filter_disk_cache(cache.on_disk) && known_read && unknown_read;
}

}  // namespace wk
