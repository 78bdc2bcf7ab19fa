#include "tools/flatsite/export_directory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "wkstd/text.h"

namespace wk {
namespace {

constexpr size_t MAX_NAME_BYTES = 180;  // of the 255 of a file system; leaves room for "~<n>"

bool is_name_byte(unsigned char c) {
  return is_letter(c) || is_digit(c) || c == '-' || c == '_' || c == '.';
}

// A new file of that name or of one with a number behind it; its handle, or -1.
int create_file(export_directory& directory, std::string& name) {
  uint64_t& nb_taken = directory.nb_taken[name];
  const std::string wanted = name;
  for (;;) {
    if (++nb_taken > 1) name = wanted + "~" + std::to_string(nb_taken);
    // O_EXCL: a symbolic link counts as taken, wherever it leads.
    const int handle =
        ::openat(directory.handle, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (handle >= 0 || errno != EEXIST) return handle;
  }
}

bool write_bytes(int handle, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t done = ::write(handle, bytes.data(), bytes.size());
    if (done < 0 && errno == EINTR) continue;
    if (done < 0) return false;
    bytes.remove_prefix(static_cast<size_t>(done));
  }
  return true;
}

bool copy_content(const flatsite_reader& reader, const flatsite_record& record, int handle) {
  std::string piece;
  for (uint64_t done = 0; done < record.head.content_length; done += piece.size()) {
    errno = EIO;  // for a file that was cut meanwhile
    if (!read_flatsite_content(reader, record, done, piece)) return false;
    if (!write_bytes(handle, piece)) return false;
  }
  return true;
}

}  // namespace

std::string build_export_name(std::string_view url) {
  if (const size_t scheme = url.find("://"); scheme != std::string_view::npos) {
    url.remove_prefix(scheme + 3);
  }
  std::string name(url.substr(0, MAX_NAME_BYTES));
  for (char& c : name) {
    if (!is_name_byte(static_cast<unsigned char>(c))) c = '_';
  }
  if (name.empty() || name[0] == '.') name.replace(0, 1, "_");
  return name;
}

export_directory::~export_directory() {
  if (handle >= 0) ::close(handle);
}

bool open_export_directory(export_directory& directory, const std::string& path) {
  // With a slash behind it a symbolic link would be followed.
  const std::string plain = path.substr(0, path.find_last_not_of('/') + 1);
  const std::string& target = plain.empty() ? path : plain;
  if (::mkdir(target.c_str(), 0700) != 0 && errno != EEXIST) return false;
  directory.handle = ::open(target.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  return directory.handle >= 0;
}

bool export_record(export_directory& directory, const flatsite_reader& reader,
                   const flatsite_record& record, std::string& name) {
  name = build_export_name(record.head.url);
  const int handle = create_file(directory, name);
  if (handle < 0) return false;
  const bool is_copied = copy_content(reader, record, handle);
  int refusal = errno;
  if (::close(handle) == 0) {
    if (is_copied) return true;
  } else if (is_copied) {
    refusal = errno;
  }
  ::unlinkat(directory.handle, name.c_str(), 0);
  errno = refusal;
  return false;
}

}  // namespace wk
