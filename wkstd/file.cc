#include "wkstd/file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cassert>
#include <cerrno>
#include <cstring>

namespace wk {
namespace {

#ifdef WK_FUZZ
constexpr size_t BUFFER_BYTES = 64;  // so that a fuzzer's short files have their seams too
#else
constexpr size_t BUFFER_BYTES = size_t{64} * 1024;
#endif
constexpr mode_t OWNER_ONLY = 0600;

int open_file(const std::string& path, int flags) {
  int handle = -1;
  do {
    handle = ::open(path.c_str(), flags | O_CLOEXEC, OWNER_ONLY);
  } while (handle < 0 && errno == EINTR);
  return handle;
}

// Bytes taken before the system refused.
size_t write_bytes(int handle, std::string_view bytes) {
  size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t written = ::write(handle, bytes.data() + done, bytes.size() - done);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) break;
    done += static_cast<size_t>(written);
  }
  return done;
}

// The same for bytes that lie apart. parts is used up.
size_t write_parts(int handle, std::span<struct iovec> parts) {
  size_t done = 0;
  while (!parts.empty()) {
    const ssize_t written = ::writev(handle, parts.data(), static_cast<int>(parts.size()));
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) break;
    done += static_cast<size_t>(written);
    size_t left = static_cast<size_t>(written);
    while (!parts.empty() && left >= parts.front().iov_len) {
      left -= parts.front().iov_len;
      parts = parts.subspan(1);
    }
    if (!parts.empty()) {
      parts.front().iov_base = static_cast<char*>(parts.front().iov_base) + left;
      parts.front().iov_len -= left;
    }
  }
  return done;
}

// Takes the last bytes off the file again. Only when even that is refused is the file no longer
// what it says. The size is asked anew: somebody may have emptied the file while it was being
// written, and cutting at a remembered size would then make it longer. Leaves errno alone.
void cut_back_file(output_file& file, size_t nb_torn_bytes) {
  if (nb_torn_bytes == 0) return;
  const int refusal = errno;
  struct stat facts {};
  const off_t torn = static_cast<off_t>(nb_torn_bytes);
  if (::fstat(file.handle, &facts) == 0 && facts.st_size >= torn &&
      ::ftruncate(file.handle, facts.st_size - torn) == 0 &&
      ::lseek(file.handle, facts.st_size - torn, SEEK_SET) >= 0) {
    file.size = static_cast<uint64_t>(facts.st_size - torn);
  } else {
    file.broken = true;
  }
  errno = refusal;
}

// What was read and no line holds yet.
std::string_view get_rest(const line_reader& reader) {
  return std::string_view(reader.buffer).substr(reader.next, reader.end - reader.next);
}

// One more buffer of the file behind the rest, which moves to the front; false when nothing came.
bool fill_line_reader(line_reader& reader) {
  if (reader.at_end) return false;
  reader.end -= reader.next;
  std::memmove(reader.buffer.data(), reader.buffer.data() + reader.next, reader.end);
  reader.next = 0;
  if (reader.buffer.size() < reader.end + BUFFER_BYTES) {
    reader.buffer.resize(reader.end + BUFFER_BYTES);
  }
  ssize_t got = -1;
  do {
    got = ::read(reader.handle, reader.buffer.data() + reader.end, BUFFER_BYTES);
  } while (got < 0 && errno == EINTR);
  reader.failed = reader.failed || got < 0;
  reader.end += got > 0 ? static_cast<size_t>(got) : 0;
  reader.at_end = got <= 0;
  return got > 0;
}

// The next nb_bytes of the rest.
std::string_view take_rest(line_reader& reader, size_t nb_bytes) {
  const std::string_view taken = get_rest(reader).substr(0, nb_bytes);
  reader.next += taken.size();
  return taken;
}

}  // namespace

void close_output_file::operator()(output_file* file) const {
  if (file == nullptr) return;
  (void)flush_output_file(*file);  // the owner who cares has finished the file before
  if (file->handle >= 0) ::close(file->handle);
  delete file;
}

output_file_ptr open_output_file(const std::string& path, file_mode mode) {
  const int how = mode == FILE_APPEND ? O_APPEND : O_TRUNC;
  const int handle = open_file(path, O_WRONLY | O_CREAT | how);
  if (handle < 0) return nullptr;
  output_file_ptr file(new output_file);
  file->handle = handle;
  struct stat facts {};
  if (::fstat(handle, &facts) == 0 && facts.st_size > 0) {
    file->size = static_cast<uint64_t>(facts.st_size);
  }
  return file;
}

void write_output_file(output_file& file, std::string_view bytes) {
  if (file.broken) return;
  if (file.buffer.size() + bytes.size() > BUFFER_BYTES && !file.buffer.empty()) {
    if (!flush_output_file(file)) return;
  }
  file.buffer.append(bytes);
}

bool flush_output_file(output_file& file) {
  if (file.broken) return false;
  const size_t done = write_bytes(file.handle, file.buffer);
  file.size += done;
  file.broken = done < file.buffer.size();
  file.buffer.clear();
  return !file.broken;
}

bool sync_output_file(output_file& file) {
  if (!flush_output_file(file)) return false;
  // EINVAL and EROFS: a pipe or a device, which has nothing to make last.
  if (::fsync(file.handle) != 0 && errno != EINVAL && errno != EROFS) file.broken = true;
  return !file.broken;
}

bool finish_output_file(output_file_ptr& file) {
  if (file == nullptr) return false;
  bool whole = flush_output_file(*file);
  if (::close(file->handle) != 0) whole = false;
  file->handle = -1;
  file.reset();
  return whole;
}

bool is_regular_output_file(const output_file& file) {
  struct stat facts {};
  return ::fstat(file.handle, &facts) == 0 && S_ISREG(facts.st_mode);
}

bool append_record_output_file(output_file& file, std::initializer_list<std::string_view> pieces) {
  if (!flush_output_file(file)) return false;
  std::array<struct iovec, 8> parts{};
  assert(pieces.size() <= parts.size());
  size_t nb_parts = 0;
  size_t total = 0;
  for (const std::string_view piece : pieces) {
    if (piece.empty()) continue;
    parts[nb_parts++] = {const_cast<char*>(piece.data()), piece.size()};
    total += piece.size();
  }
  const size_t done = write_parts(file.handle, std::span(parts).first(nb_parts));
  file.size += done;
  if (done == total) return true;
  cut_back_file(file, done);
  return false;
}

size_t append_records_output_file(output_file& file, std::string_view bytes,
                                  std::span<const size_t> ends) {
  if (!flush_output_file(file)) return 0;
  const size_t done = write_bytes(file.handle, bytes);
  file.size += done;
  if (done == bytes.size()) return ends.size();
  const auto torn = std::upper_bound(ends.begin(), ends.end(), done);
  cut_back_file(file, done - (torn == ends.begin() ? 0 : *(torn - 1)));
  return static_cast<size_t>(torn - ends.begin());
}

void close_line_reader::operator()(line_reader* reader) const {
  if (reader == nullptr) return;
  ::close(reader->handle);
  delete reader;
}

line_reader_ptr open_line_reader(const std::string& path) {
  const int handle = open_file(path, O_RDONLY);
  if (handle < 0) return nullptr;
  line_reader_ptr reader(new line_reader);
  reader->handle = handle;
  return reader;
}

bool read_line(line_reader& reader, std::string_view& line) {
  size_t searched = 0;
  for (;;) {
    const size_t feed = get_rest(reader).find('\n', searched);
    if (feed != std::string_view::npos) {
      line = take_rest(reader, feed + 1);
      line.remove_suffix(1);
      return true;
    }
    searched = get_rest(reader).size();
    if (!fill_line_reader(reader)) break;
  }
  line = reader.failed ? std::string_view() : take_rest(reader, std::string_view::npos);
  return !line.empty();
}

bool read_line_block(line_reader& reader, std::string_view& lines) {
  size_t searched = 0;
  for (;;) {
    const size_t feed = get_rest(reader).substr(searched).rfind('\n');
    if (feed != std::string_view::npos) {
      lines = take_rest(reader, searched + feed + 1);
      return true;
    }
    searched = get_rest(reader).size();
    if (!fill_line_reader(reader)) break;
  }
  return read_line(reader, lines);
}

bool read_file_head(const std::string& path, size_t nb_bytes, std::string& out) {
  out.clear();
  const int handle = open_file(path, O_RDONLY);
  if (handle < 0) return false;
  out.resize(nb_bytes);
  ssize_t got = -1;
  do {
    got = ::read(handle, out.data(), nb_bytes);
  } while (got < 0 && errno == EINTR);
  ::close(handle);
  out.resize(got > 0 ? static_cast<size_t>(got) : 0);
  return got >= 0;
}

bool read_whole_file(const std::string& path, uint64_t max_bytes, std::string& out) {
  out.clear();
  const int handle = open_file(path, O_RDONLY);
  if (handle < 0) return false;
  bool whole = false;
  while (out.size() <= max_bytes) {
    const size_t before = out.size();
    out.resize(before + BUFFER_BYTES);
    const ssize_t got = ::read(handle, out.data() + before, BUFFER_BYTES);
    out.resize(before + (got > 0 ? static_cast<size_t>(got) : 0));
    if (got < 0 && errno == EINTR) continue;
    whole = got == 0;
    if (got <= 0) break;
  }
  ::close(handle);
  if (!whole || out.size() > max_bytes) {
    out.clear();
    return false;
  }
  return true;
}

}  // namespace wk
