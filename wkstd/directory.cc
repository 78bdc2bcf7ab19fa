#include "wkstd/directory.h"

#include <dirent.h>
#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>

namespace wk {
namespace {

struct close_directory {
  void operator()(DIR* directory) const { ::closedir(directory); }
};
using directory_ptr = std::unique_ptr<DIR, close_directory>;

// The next entry; null at the end, and when the system refuses: errno is 0 only at the end.
const struct dirent* read_entry(DIR* entries) {
  errno = 0;
  return ::readdir(entries);
}

bool is_home_directory(const std::string& path) {
  const char* home = std::getenv("HOME");
  if (home != nullptr && *home != '\0' && is_same_file(path, home)) return true;
  const struct passwd* user = ::getpwuid(::geteuid());
  return user != nullptr && user->pw_dir != nullptr && is_same_file(path, user->pw_dir);
}

}  // namespace

bool is_directory(const std::string& path) {
  struct stat facts {};
  return ::stat(path.c_str(), &facts) == 0 && S_ISDIR(facts.st_mode);
}

bool is_regular_file(const std::string& path) {
  struct stat facts {};
  return ::lstat(path.c_str(), &facts) == 0 && S_ISREG(facts.st_mode);
}

bool get_file_size(const std::string& path, uint64_t& size) {
  struct stat facts {};
  if (::stat(path.c_str(), &facts) != 0 || !S_ISREG(facts.st_mode)) return false;
  size = static_cast<uint64_t>(facts.st_size);
  return true;
}

bool is_same_file(const std::string& a, const std::string& b) {
  struct stat facts_a {};
  struct stat facts_b {};
  return ::stat(a.c_str(), &facts_a) == 0 && ::stat(b.c_str(), &facts_b) == 0 &&
         facts_a.st_dev == facts_b.st_dev && facts_a.st_ino == facts_b.st_ino;
}

std::string resolve_path(const std::string& path) {
  const std::unique_ptr<char, void (*)(void*)> resolved(::realpath(path.c_str(), nullptr),
                                                        std::free);
  return resolved != nullptr ? std::string(resolved.get()) : path;
}

bool list_files(const std::string& directory, std::vector<std::string>& names) {
  names.clear();
  const directory_ptr entries(::opendir(directory.c_str()));
  if (entries == nullptr) return false;
  while (const struct dirent* entry = read_entry(entries.get())) {
    struct stat facts {};
    if (::fstatat(::dirfd(entries.get()), entry->d_name, &facts, AT_SYMLINK_NOFOLLOW) != 0) {
      if (errno == ENOENT) continue;  // removed meanwhile
      return false;
    }
    if (S_ISREG(facts.st_mode)) names.emplace_back(entry->d_name);
  }
  if (errno != 0) return false;
  std::sort(names.begin(), names.end());
  return true;
}

bool list_entries(const std::string& directory, std::vector<std::string>& names) {
  names.clear();
  const directory_ptr entries(::opendir(directory.c_str()));
  if (entries == nullptr) return false;
  while (const struct dirent* entry = read_entry(entries.get())) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(name);
  }
  if (errno != 0) return false;
  std::sort(names.begin(), names.end());
  return true;
}

bool is_precious_directory(const std::string& path) {
  return is_same_file(path, "/") || is_same_file(path, ".") || is_home_directory(path);
}

bool empty_directory(const std::string& directory) {
  std::vector<std::string> names;
  if (!list_files(directory, names)) return false;
  bool emptied = true;
  for (const std::string& name : names) {
    if (::unlink((directory + "/" + name).c_str()) != 0) emptied = false;
  }
  return emptied;
}

}  // namespace wk
