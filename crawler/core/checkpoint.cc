#include "crawler/core/checkpoint.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include "crawler/horizon/horizon.h"
#include "crawler/horizon/horizon_file_name.h"
#include "wkstd/directory.h"
#include "wkstd/directory_copy.h"
#include "wkstd/error.h"
#include "wkstd/text.h"

namespace wk {
namespace {

const std::string PART_ENDING = ".part";  // of a file that is written in place

bool is_checkpoint_file_name(std::string_view name) {
  if (name.ends_with(PART_ENDING)) name.remove_suffix(PART_ENDING.size());
  return is_horizon_file_name(name);
}

// True when everything inside may be replaced: an empty directory, or a checkpoint.
bool holds_only_checkpoint(const std::string& directory) {
  std::vector<std::string> names;
  if (!list_entries(directory, names)) return false;
  return std::all_of(names.begin(), names.end(), [&directory](const std::string& name) {
    return is_checkpoint_file_name(name) && is_regular_file(directory + "/" + name);
  });
}

// Empty when directory may take a checkpoint, else why not.
std::string find_target_fault(const Crawler& crawler, const std::string& directory) {
  if (!is_directory(directory)) return "it is not a directory";
  if (is_precious_directory(directory)) return "it is the root, home or working directory";
  if (is_same_directory(directory, crawler.temp_directory)) {
    return "it is the directory for temporary data";
  }
  if (is_same_directory(directory, crawler.store_directory)) return "it is the store directory";
  if (!holds_only_checkpoint(directory)) return "it holds other things than a checkpoint";
  return {};
}

bool list_horizon_files(const std::string& directory, std::vector<std::string>& names) {
  if (!list_files(directory, names)) return false;
  std::erase_if(names, [](const std::string& name) { return !is_horizon_file_name(name); });
  return true;
}

// Leaves a symbolic link, and what it leads to, alone.
void remove_checkpoint_directory(const std::string& directory) {
  struct stat facts {};
  if (::lstat(directory.c_str(), &facts) != 0 || !S_ISDIR(facts.st_mode)) return;
  if (!holds_only_checkpoint(directory)) return;
  empty_directory(directory);
  ::rmdir(directory.c_str());
}

// Makes beside, which is to take target's place, with target's access rights. What an interrupted
// checkpoint left there is no use to anybody; what belongs to this crawl or its user stays.
bool make_new_directory(const Crawler& crawler, const std::string& target,
                        const std::string& beside) {
  if (is_same_directory(beside, crawler.temp_directory) ||
      is_same_directory(beside, crawler.store_directory) || is_precious_directory(beside)) {
    return false;
  }
  remove_checkpoint_directory(beside);
  struct stat facts {};
  return ::stat(target.c_str(), &facts) == 0 && ::mkdir(beside.c_str(), 0700) == 0 &&
         ::chmod(beside.c_str(), facts.st_mode & 07777) == 0;
}

// The directory itself where path leads to it by a symbolic link, which then stays.
std::string resolve_path(const std::string& path) {
  const std::unique_ptr<char, void (*)(void*)> resolved(::realpath(path.c_str(), nullptr),
                                                        std::free);
  return resolved != nullptr ? std::string(resolved.get()) : path;
}

bool rename_parts(const std::string& directory, const std::vector<std::string>& names) {
  return std::all_of(names.begin(), names.end(), [&directory](const std::string& name) {
    const std::string path = directory + "/" + name;
    return std::rename((path + PART_ENDING).c_str(), path.c_str()) == 0;
  });
}

bool remove_others(const std::string& directory, const std::vector<std::string>& names) {
  std::vector<std::string> there;
  if (!list_files(directory, there)) return false;
  bool removed = true;
  for (const std::string& name : there) {
    if (std::binary_search(names.begin(), names.end(), name)) continue;
    if (::unlink((directory + "/" + name).c_str()) != 0) removed = false;
  }
  return removed;
}

bool write_in_place(const std::string& source, const std::vector<std::string>& names,
                    const std::string& directory) {
  if (!copy_files_synced(source, directory, names, PART_ENDING)) {
    const int refusal = errno;
    for (const std::string& name : names) {
      ::unlink((directory + "/" + name + PART_ENDING).c_str());
    }
    errno = refusal;
    return false;
  }
  return rename_parts(directory, names) && remove_others(directory, names) &&
         sync_directory(directory);
}

// What an exchange answers where directories can't be exchanged at all: mount points, directories
// of another user, and file systems that don't know how.
bool is_exchange_impossible(int refusal) {
  return refusal == EXDEV || refusal == EBUSY || refusal == EINVAL || refusal == ENOSYS ||
         refusal == EPERM || refusal == EACCES;
}

bool write_beside(const std::string& source, const std::vector<std::string>& names,
                  const std::string& directory, const std::string& beside) {
  const bool copied = copy_files_synced(source, beside, names);
  const bool exchanged = copied && exchange_directories(beside, directory);
  const int refusal = errno;
  remove_checkpoint_directory(beside);  // the earlier checkpoint, or what there is of the new one
  if (copied && !exchanged && is_exchange_impossible(refusal)) {
    return write_in_place(source, names, directory);
  }
  errno = refusal;
  return exchanged;
}

// The caller holds the horizon's lock.
bool copy_horizon(const Crawler& crawler, const std::string& directory) {
  std::vector<std::string> names;
  if (!list_horizon_files(crawler.temp_directory, names)) return false;
  const std::string target = resolve_path(directory);
  const std::string beside = target + ".new";
  if (make_new_directory(crawler, target, beside)) {
    return write_beside(crawler.temp_directory, names, target, beside);
  }
  return write_in_place(crawler.temp_directory, names, target);
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
  std::vector<std::string> names;
  if (!list_horizon_files(checkpoint, names)) return false;
  int refusal = 0;
  for (const std::string& name : names) {
    const std::string target = temp_directory + "/" + name;
    if (copy_file(checkpoint + "/" + name, target)) continue;
    refusal = errno;
    ::unlink(target.c_str());
  }
  errno = refusal;
  return refusal == 0;
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
  reason = find_target_fault(crawler, directory);
  if (!reason.empty()) return report_checkpoint(crawler, directory, CHECKPOINT_REFUSED, reason);
  flush_for_checkpoint(crawler);
  horizon& urls = *crawler.horizon->self;
  const std::unique_lock<std::mutex> hold = lock_horizon(urls);
  errno = 0;
  const bool written = save_horizon(urls) == HORIZON_OK && copy_horizon(crawler, directory);
  if (!written) reason = errno != 0 ? get_system_error_text(errno) : "the horizon can't be saved";
  return report_checkpoint(crawler, directory, written ? CHECKPOINT_OK : CHECKPOINT_FAILED, reason);
}

bool restore_crawler(Crawler& crawler) {
  crawler.horizon->clear(*crawler.horizon);
  bool whole = empty_directory(crawler.temp_directory) &&
               copy_back(crawler.checkpoint_directory, crawler.temp_directory);
  if (!whole) {
    print_message(format_text("The checkpoint in %s can't be copied to %s: %s\n",
                              crawler.checkpoint_directory.c_str(), crawler.temp_directory.c_str(),
                              get_system_error_text(errno).c_str()));
  }
  horizon& urls = *crawler.horizon->self;
  {
    const std::unique_lock<std::mutex> hold = lock_horizon(urls);
    if (restore_horizon(urls) != HORIZON_OK) whole = false;
  }
  resume_url_hold(*crawler.store);
  open_links_crawler(crawler);
  return whole;
}

}  // namespace wk
