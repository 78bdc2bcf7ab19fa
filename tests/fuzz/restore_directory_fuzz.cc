// Whatever files a checkpoint holds: a save of what was restored from them restores the same URLs,
// and nothing outside the horizon's directory is touched.
#include <algorithm>
#include <string>
#include <vector>

#include "crawler/horizon/frontier.h"
#include "crawler/horizon/horizon.h"
#include "crawler/url/url_form.h"
#include "tests/fuzz/fuzz_law.h"
#include "tests/support/temp_directory.h"
#include "wkstd/directory.h"

namespace wk {
namespace {

constexpr const char* NAMES[] = {
    "ndue_cache.txt", "ndue_disk_cache.txt",  "ndue_unknown.txt",     "ndue_pending.txt",
    "ndue_mhash.txt", "nfrontier.0.head.txt", "nfrontier.0.tail.txt", "nfrontier.1.2.txt"};

std::string take_name(std::string_view& bytes) {
  const unsigned char number = take_byte(bytes);
  if (number < std::size(NAMES)) return NAMES[number];
  std::string name = "nfrontier." + std::string(take_part(bytes).substr(0, 30));
  std::replace(name.begin(), name.end(), '/', '_');
  std::replace(name.begin(), name.end(), '\0', '_');
  return name;
}

frontier_ptr restore(const std::string& directory) {
  frontier_ptr ops = create_frontier({.directory = directory,
                                      .nb_queues = 3,
                                      .queue_buffer_size = 4,
                                      .disk_cache_size = 1'000,
                                      .get_time_us = [] { return uint64_t{1'000'000'000'000}; }});
  ops->clear(*ops);
  const auto hold = lock_horizon(*ops->self);
  require_law(restore_horizon(*ops->self) == HORIZON_OK, "files that can be read are taken");
  return ops;
}

std::vector<std::string> drain(frontier_ops& ops) {
  std::vector<std::string> urls;
  uint32_t time = 0;
  for (std::string url; ops.get_url(ops, url, time) == FRONTIER_URL; urls.push_back(url)) {
    require_law(is_acceptable_url(url), "every URL is one");
    ops.end_url(ops, url);
  }
  std::sort(urls.begin(), urls.end());
  return urls;
}

}  // namespace

void test_one_input(std::string_view bytes) {
  static const temp_directory place;
  static const std::string first = make_directory(place, "first");
  static const std::string second = make_directory(place, "second");
  static const std::string outside = place.path + "/outside";
  static const bool is_written = (write_test_file(outside, "kept"), true);
  require_law(is_written && empty_directory(first) && empty_directory(second), "files go");
  while (!bytes.empty()) {
    const std::string name = take_name(bytes);
    write_test_file(first + "/" + name, take_part(bytes));
  }
  const frontier_ptr restored = restore(first);
  {
    const auto hold = lock_horizon(*restored->self);
    require_law(save_horizon(*restored->self) == HORIZON_OK, "what was restored can be saved");
    std::vector<std::string> names;
    require_law(list_entries(first, names), "it is a directory");
    for (const std::string& name : names) {
      write_test_file(second + "/" + name, read_test_file(first + "/" + name));
    }
  }
  const frontier_ptr copy = restore(second);
  require_law(drain(*restored) == drain(*copy), "a save restores the same URLs");
  std::vector<std::string> entries;
  require_law(
      list_entries(place.path, entries) && entries.size() == 3 && read_test_file(outside) == "kept",
      "nothing outside is touched");
}

}  // namespace wk
