#include "crawler/core/crawl_directories.h"

#include <cerrno>

#include "wkstd/directory.h"
#include "wkstd/error.h"
#include "wkstd/text.h"

namespace wk {
namespace {

bool holds_crawl_directory(const crawl_directories& directories, const std::string& directory) {
  return holds_directory_lock(directories.store, directory) ||
         holds_directory_lock(directories.temp, directory) ||
         holds_directory_lock(directories.checkpoint, directory);
}

void lock_crawl_directory(crawl_directories& directories, const std::string& directory,
                          directory_lock_ptr& lock) {
  // What is no directory is said where it is wanted.
  if (!is_directory(directory) || holds_crawl_directory(directories, directory)) return;
  switch (lock_directory(directory, lock)) {
    case DIRECTORY_LOCKED:
      return;
    case DIRECTORY_TAKEN:
      report_fatal_error(
          format_text("The directory '%s' is in use by another crawl.\n", directory.c_str()));
    case DIRECTORY_NO_LOCKS:
      print_message(
          format_text("The directory '%s' can't be locked, and so is not kept from other "
                      "crawls: %s\n",
                      directory.c_str(), get_system_error_text(errno).c_str()));
  }
}

}  // namespace

void lock_crawl_directories(crawl_directories& directories, const config_values& config) {
  lock_crawl_directory(directories, config.store_name, directories.store);
  lock_crawl_directory(directories, config.temp_data_path, directories.temp);
  lock_crawl_directory(directories, config.checkpoint_directory, directories.checkpoint);
}

}  // namespace wk
