// A directory that one process keeps to itself for as long as the lock lives.
//
// The lock is the system's advisory one (flock) on the directory itself: no file tells of it, it
// goes with the process however that ends, and programs that it starts do not inherit it. Two locks
// of one process exclude each other too. Threads: one at a time per lock.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <string>

namespace wk {

struct directory_lock {
  int handle;
  dev_t device;
  ino_t inode;
};
struct release_directory_lock {
  void operator()(directory_lock* lock) const;
};
using directory_lock_ptr = std::unique_ptr<directory_lock, release_directory_lock>;

enum directory_lock_status : uint32_t {
  DIRECTORY_LOCKED = 0,
  DIRECTORY_TAKEN = 1,     // somebody else holds it
  DIRECTORY_NO_LOCKS = 2,  // it can't be opened, or its file system has no locks: errno says why
};

// Locks the directory that path leads to. On any failure lock keeps what it held before.
[[nodiscard]] directory_lock_status lock_directory(const std::string& path,
                                                   directory_lock_ptr& lock);
// True when path leads to the very directory that is locked; a null lock holds none.
[[nodiscard]] bool holds_directory_lock(const directory_lock_ptr& lock, const std::string& path);

}  // namespace wk
