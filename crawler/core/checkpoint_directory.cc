#include "crawler/core/checkpoint_directory.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <string_view>

#include "crawler/horizon/horizon_file_name.h"
#include "wkstd/directory.h"
#include "wkstd/directory_copy.h"
#include "wkstd/file.h"

namespace wk {
namespace {

const std::string PART_ENDING = ".part";
const std::string LIST_NAME = "checkpoint.list";
constexpr uint64_t MAX_LIST_BYTES = 1U << 30;

bool is_checkpoint_file_name(std::string_view name) {
  if (name.ends_with(PART_ENDING)) name.remove_suffix(PART_ENDING.size());
  return is_horizon_file_name(name) || name == LIST_NAME;
}

// Leaves a symbolic link, and what it leads to, alone.
void remove_checkpoint_directory(const std::string& directory) {
  struct stat facts {};
  if (::lstat(directory.c_str(), &facts) != 0 || !S_ISDIR(facts.st_mode)) return;
  if (!holds_only_checkpoint(directory)) return;
  empty_directory(directory);
  ::rmdir(directory.c_str());
}

// Makes beside with target's access rights, and locks it. What an interrupted checkpoint left there
// is no use to anybody; anything else, another crawl's checkpoint too, stays.
bool make_new_directory(const std::string& target, const std::string& beside,
                        directory_lock_ptr& lock) {
  if (lock_directory(beside, lock) == DIRECTORY_TAKEN) return false;
  remove_checkpoint_directory(beside);
  struct stat facts {};
  return ::stat(target.c_str(), &facts) == 0 && ::mkdir(beside.c_str(), 0700) == 0 &&
         ::chmod(beside.c_str(), facts.st_mode & 07777) == 0 &&
         lock_directory(beside, lock) != DIRECTORY_TAKEN;
}

// The names on the list, sorted. False when it can't be read or is none of ours.
bool read_list(const std::string& path, std::vector<std::string>& names) {
  std::string bytes;
  if (!read_whole_file(path, MAX_LIST_BYTES, bytes)) return false;
  names.clear();
  std::string_view rest = bytes;
  while (!rest.empty()) {
    const size_t end = rest.find('\n');
    const std::string_view name = rest.substr(0, end);
    if (end == std::string_view::npos || !is_horizon_file_name(name)) {
      errno = EINVAL;
      return false;
    }
    names.emplace_back(name);
    rest.remove_prefix(end + 1);
  }
  std::sort(names.begin(), names.end());
  return true;
}

bool write_list(const std::string& directory, const std::vector<std::string>& names) {
  const std::string path = directory + "/" + LIST_NAME;
  output_file_ptr file = open_output_file(path + PART_ENDING, FILE_TRUNCATE);
  if (file == nullptr) return false;
  for (const std::string& name : names) write_output_file(*file, name + "\n");
  const bool synced = sync_output_file(*file);
  const int refusal = errno;
  if (!finish_output_file(file) || !synced) {
    if (!synced) errno = refusal;
    return false;
  }
  return std::rename((path + PART_ENDING).c_str(), path.c_str()) == 0 && sync_directory(directory);
}

void remove_parts(const std::string& directory, const std::vector<std::string>& names) {
  const int refusal = errno;
  // The list first: without its parts it would tell of a checkpoint that is none.
  const std::string list = directory + "/" + LIST_NAME;
  const bool has_no_list =
      ::unlink(list.c_str()) == 0 ? sync_directory(directory) : errno == ENOENT;
  ::unlink((list + PART_ENDING).c_str());
  for (const std::string& name : names) {
    if (has_no_list) ::unlink((directory + "/" + name + PART_ENDING).c_str());
  }
  errno = refusal;
}

bool rename_parts(const std::string& directory, const std::vector<std::string>& names) {
  return std::all_of(names.begin(), names.end(), [&directory](const std::string& name) {
    const std::string path = directory + "/" + name;
    return std::rename((path + PART_ENDING).c_str(), path.c_str()) == 0 || errno == ENOENT;
  });
}

bool remove_others(const std::string& directory, const std::vector<std::string>& names) {
  std::vector<std::string> there;
  if (!list_files(directory, there)) return false;
  return std::all_of(there.begin(), there.end(), [&](const std::string& name) {
    return name == LIST_NAME || std::binary_search(names.begin(), names.end(), name) ||
           ::unlink((directory + "/" + name).c_str()) == 0;
  });
}

// The third step; nothing to do where there is no list.
bool settle_in_place(const std::string& directory) {
  const std::string list = directory + "/" + LIST_NAME;
  std::vector<std::string> names;
  if (!read_list(list, names)) return errno == ENOENT;
  return rename_parts(directory, names) && remove_others(directory, names) &&
         sync_directory(directory) && ::unlink(list.c_str()) == 0 && sync_directory(directory);
}

bool write_in_place(const std::string& source, const std::vector<std::string>& names,
                    const std::string& directory) {
  if (!settle_in_place(directory)) return false;
  if (!copy_files_synced(source, directory, names, PART_ENDING) || !write_list(directory, names)) {
    remove_parts(directory, names);
    return false;
  }
  (void)settle_in_place(directory);  // what is refused now is done before the next checkpoint
  return true;
}

// What an exchange answers where directories can't be exchanged at all: mount points, directories
// of another user, and file systems that don't know how.
bool is_exchange_impossible(int refusal) {
  return refusal == EXDEV || refusal == EBUSY || refusal == EINVAL || refusal == ENOSYS ||
         refusal == EPERM || refusal == EACCES;
}

}  // namespace

bool holds_only_checkpoint(const std::string& directory) {
  std::vector<std::string> names;
  if (!list_entries(directory, names)) return false;
  return std::all_of(names.begin(), names.end(), [&directory](const std::string& name) {
    return is_checkpoint_file_name(name) && is_regular_file(directory + "/" + name);
  });
}

bool list_checkpoint_files(const std::string& directory, std::vector<checkpoint_file>& files) {
  files.clear();
  std::vector<std::string> there;
  if (!list_files(directory, there)) return false;
  const auto is_there = [&there](const std::string& name) {
    return std::binary_search(there.begin(), there.end(), name);
  };
  std::vector<std::string> listed;
  const bool has_list = is_there(LIST_NAME);
  if (has_list && !read_list(directory + "/" + LIST_NAME, listed)) return false;
  for (const std::string& name : has_list ? listed : there) {
    if (!is_horizon_file_name(name)) continue;
    const bool has_part = has_list && is_there(name + PART_ENDING);
    files.push_back({name, has_part ? name + PART_ENDING : name});
  }
  return true;
}

bool replace_checkpoint(const std::string& source, const std::vector<std::string>& names,
                        const std::string& target, const std::string& beside,
                        directory_lock_ptr& lock) {
  directory_lock_ptr new_lock;
  if (beside.empty() || !make_new_directory(target, beside, new_lock) ||
      (lock != nullptr && !holds_directory_lock(new_lock, beside))) {
    return write_in_place(source, names, target);
  }
  const bool copied = copy_files_synced(source, beside, names);
  const bool exchanged = copied && exchange_directories(beside, target);
  const int refusal = errno;
  remove_checkpoint_directory(beside);  // the earlier checkpoint, or what there is of the new one
  if (copied && !exchanged && is_exchange_impossible(refusal)) {
    return write_in_place(source, names, target);
  }
  if (exchanged) lock = std::move(new_lock);
  errno = refusal;
  return exchanged;
}

}  // namespace wk
