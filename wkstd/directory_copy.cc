#include "wkstd/directory_copy.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "wkstd/file.h"

namespace wk {
namespace {

constexpr size_t COPY_BYTES = 65'536;

bool copy_bytes(int source, output_file& target) {
  std::string buffer(COPY_BYTES, '\0');
  for (;;) {
    const ssize_t got = ::read(source, buffer.data(), buffer.size());
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return got == 0;
    write_output_file(target, {buffer.data(), static_cast<size_t>(got)});
    if (target.broken) return false;
  }
}

// end gives the target's last bytes to the system.
bool copy_file_to_end(const std::string& source, const std::string& target,
                      bool (*end)(output_file& file)) {
  const int from = ::open(source.c_str(), O_RDONLY | O_CLOEXEC);
  if (from < 0) return false;
  output_file_ptr to = open_output_file(target, FILE_TRUNCATE);
  bool copied = to != nullptr && copy_bytes(from, *to) && end(*to);
  int refusal = errno;
  if (to != nullptr && !finish_output_file(to) && copied) {
    copied = false;
    refusal = errno;
  }
  ::close(from);
  errno = refusal;
  return copied;
}

}  // namespace

bool copy_file(const std::string& source, const std::string& target) {
  return copy_file_to_end(source, target, flush_output_file);
}

bool copy_files_synced(const std::string& source, const std::string& target,
                       const std::vector<std::string>& names, const std::string& ending) {
  for (const std::string& name : names) {
    if (!copy_file_to_end(source + "/" + name, target + "/" + name + ending, sync_output_file)) {
      return false;
    }
  }
  return sync_directory(target);
}

bool sync_directory(const std::string& directory) {
  const int handle = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (handle < 0) return false;
  // A file system that knows no such thing has nothing to make last.
  const bool synced = ::fsync(handle) == 0 || errno == EINVAL;
  const int refusal = errno;
  ::close(handle);
  errno = refusal;
  return synced;
}

bool exchange_directories(const std::string& a, const std::string& b) {
  const auto exchange = [&a, &b] {
    return ::renameat2(AT_FDCWD, a.c_str(), AT_FDCWD, b.c_str(), RENAME_EXCHANGE) == 0;
  };
  if (!exchange()) return false;
  if (sync_directory(get_parent_directory(a))) return true;
  const int refusal = errno;
  exchange();  // what may not last is taken back; there is no more to do when that is refused too
  errno = refusal;
  return false;
}

std::string get_parent_directory(const std::string& path) {
  const size_t end = path.find_last_not_of('/');
  if (end == std::string::npos) return path.empty() ? "." : "/";
  const size_t slash = path.rfind('/', end);
  if (slash == std::string::npos) return ".";
  const size_t parent_end = path.find_last_not_of('/', slash);
  return parent_end == std::string::npos ? "/" : path.substr(0, parent_end + 1);
}

}  // namespace wk
