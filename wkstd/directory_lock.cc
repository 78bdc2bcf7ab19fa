#include "wkstd/directory_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace wk {
namespace {

directory_lock_status lock_handle(directory_lock& lock) {
  struct stat facts {};
  if (::fstat(lock.handle, &facts) != 0) return DIRECTORY_NO_LOCKS;
  lock.device = facts.st_dev;
  lock.inode = facts.st_ino;
  while (::flock(lock.handle, LOCK_EX | LOCK_NB) != 0) {
    if (errno != EINTR) return errno == EWOULDBLOCK ? DIRECTORY_TAKEN : DIRECTORY_NO_LOCKS;
  }
  return DIRECTORY_LOCKED;
}

}  // namespace

void release_directory_lock::operator()(directory_lock* lock) const {
  const int refusal = errno;
  ::close(lock->handle);
  delete lock;
  errno = refusal;
}

directory_lock_status lock_directory(const std::string& path, directory_lock_ptr& lock) {
  // Who held the directory may have put another in its place between the opening and the lock.
  for (;;) {
    const int handle = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (handle < 0) return DIRECTORY_NO_LOCKS;
    directory_lock_ptr found(new directory_lock{.handle = handle, .device = 0, .inode = 0});
    const directory_lock_status status = lock_handle(*found);
    if (status == DIRECTORY_LOCKED && !holds_directory_lock(found, path)) continue;
    if (status == DIRECTORY_LOCKED) lock = std::move(found);
    return status;
  }
}

bool holds_directory_lock(const directory_lock_ptr& lock, const std::string& path) {
  struct stat facts {};
  return lock != nullptr && ::stat(path.c_str(), &facts) == 0 && facts.st_dev == lock->device &&
         facts.st_ino == lock->inode;
}

}  // namespace wk
