#include "crawler/core/checkpoint.h"

#include <unistd.h>

#include <cerrno>
#include <utility>
#include <vector>

#include "crawler/core/checkpoint_directory.h"
#include "wkstd/directory.h"
#include "wkstd/directory_copy.h"
#include "wkstd/error.h"
#include "wkstd/text.h"

namespace wk {
namespace {

// Empty when directory may take a checkpoint, else why not.
std::string find_target_fault(const Crawler& crawler, const std::string& directory) {
  if (!is_directory(directory)) return "it is not a directory";
  if (is_precious_directory(directory)) return "it is the root, home or working directory";
  if (is_same_file(directory, crawler.temp_directory)) {
    return "it is the directory for temporary data";
  }
  if (is_same_file(directory, crawler.store_directory)) return "it is the store directory";
  if (!holds_only_checkpoint(directory)) return "it holds other things than a checkpoint";
  return {};
}

// Where to write it first; empty when what stands there belongs to this crawl or its user.
std::string choose_beside(const Crawler& crawler, const std::string& target) {
  std::string beside = target + ".new";
  const bool is_taken = is_same_file(beside, crawler.temp_directory) ||
                        is_same_file(beside, crawler.store_directory) ||
                        is_precious_directory(beside);
  return is_taken ? std::string() : beside;
}

// Where the horizon's files go.
struct checkpoint_target {
  const Crawler& crawler;
  const std::string& directory;
  directory_lock_ptr& lock;
};

bool keep_in_checkpoint(const std::string& horizon_directory, const std::vector<std::string>& names,
                        void* context) {
  const auto& [crawler, directory, lock] = *static_cast<checkpoint_target*>(context);
  const std::string target = resolve_path(directory);  // a symbolic link to it stays
  return replace_checkpoint(horizon_directory, names, target, choose_beside(crawler, target), lock);
}

checkpoint_status report_checkpoint(Crawler& crawler, const std::string& directory,
                                    checkpoint_status status, const std::string& reason) {
  if (status == CHECKPOINT_OK) {
    write_formatted_log(*crawler.log, LOG_STATUS, "s-comment", "Checkpointed the crawler to %s\n",
                        directory.c_str());
  } else {
    write_formatted_log(*crawler.log, LOG_ERROR, "s-comment",
                        "Couldn't checkpoint the crawler to %s: %s\n", directory.c_str(),
                        reason.c_str());
  }
  return status;
}

// Copies what can be read; a file that can't is left out, for half of it would end in half a URL.
// False, and errno says why, when something is missing.
bool copy_back(const std::string& checkpoint, const std::string& temp_directory) {
  if (checkpoint.empty()) return true;
  std::vector<checkpoint_file> files;
  if (!list_checkpoint_files(checkpoint, files)) return false;
  int refusal = 0;
  for (const checkpoint_file& file : files) {
    const std::string target = temp_directory + "/" + file.name;
    if (copy_file(checkpoint + "/" + file.stored_name, target)) continue;
    refusal = errno;
    ::unlink(target.c_str());
  }
  errno = refusal;
  return refusal == 0;
}

// A crawl that finds nothing has nothing to do, and its operator to be told.
void tell_of_new_begin(Crawler& crawler) {
  const std::string& directory = crawler.checkpoint_directory;
  std::vector<checkpoint_file> files;
  if (!directory.empty() && (!list_checkpoint_files(directory, files) || !files.empty())) return;
  const std::string text = (directory.empty() ? "The profile names no checkpoint directory"
                                              : "There is no checkpoint in " + directory) +
                           ": the crawl begins anew, and with no URL, not even its seeds\n";
  print_message(text);
  write_log(*crawler.log, LOG_WARNING, "s-comment", text);
}

// The next checkpoint would put what was read in the place of what is there, and what could not be
// read would be lost for good. A crawl that is not restored whole leaves it for another attempt.
void keep_checkpoint(Crawler& crawler) {
  if (crawler.checkpoint_interval_seconds == 0 || crawler.checkpoint_directory.empty()) return;
  crawler.checkpoint_interval_seconds = 0;
  print_message(
      format_text("The crawl was not restored whole: the checkpoint in %s is left as it "
                  "is, and no other is written by itself\n",
                  crawler.checkpoint_directory.c_str()));
}

// A checkpoint is not to know more than what lies beside it.
void flush_for_checkpoint(Crawler& crawler) {
  flush_outputs_crawler(crawler);
  if (crawler.links == nullptr || flush_link_file(*crawler.links)) return;
  write_log(*crawler.log, LOG_ERROR, "s-comment", "Couldn't flush the link file\n");
}

}  // namespace

checkpoint_status write_checkpoint(Crawler& crawler, const std::string& directory,
                                   std::string& reason) {
  directory_lock_ptr& own_lock = crawler.directories.checkpoint;
  directory_lock_ptr other_lock;
  const bool is_own = holds_directory_lock(own_lock, directory);
  reason = find_target_fault(crawler, directory);
  if (reason.empty() && !is_own && lock_directory(directory, other_lock) == DIRECTORY_TAKEN) {
    reason = "it is in use by another crawl";
  }
  if (!reason.empty()) return report_checkpoint(crawler, directory, CHECKPOINT_REFUSED, reason);
  flush_for_checkpoint(crawler);
  checkpoint_target target{crawler, directory, is_own ? own_lock : other_lock};
  errno = 0;
  const bool written = crawler.horizon->save(*crawler.horizon, keep_in_checkpoint, &target);
  if (!written) reason = errno != 0 ? get_system_error_text(errno) : "the horizon can't be saved";
  if (written && !is_own) own_lock = std::move(other_lock);
  return report_checkpoint(crawler, directory, written ? CHECKPOINT_OK : CHECKPOINT_FAILED, reason);
}

bool restore_crawler(Crawler& crawler) {
  tell_of_new_begin(crawler);
  crawler.horizon->clear(*crawler.horizon);
  bool whole = empty_directory(crawler.temp_directory) &&
               copy_back(crawler.checkpoint_directory, crawler.temp_directory);
  if (!whole) {
    print_message(format_text("The checkpoint in %s can't be copied to %s: %s\n",
                              crawler.checkpoint_directory.c_str(), crawler.temp_directory.c_str(),
                              get_system_error_text(errno).c_str()));
  }
  if (!crawler.horizon->restore(*crawler.horizon)) whole = false;
  if (!whole) keep_checkpoint(crawler);
  resume_url_hold(*crawler.store);
  open_links_crawler(crawler);
  return whole;
}

}  // namespace wk
