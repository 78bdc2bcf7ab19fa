#include "crawler/output/flatsite_tail.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>

#include "wkstd/text.h"

namespace wk {
namespace {

constexpr size_t HEAD_BYTES = 4'096;  // nearly every head is shorter
constexpr size_t MAX_HEAD_BYTES = 262'144;
constexpr std::string_view RECORD_START = "FLATSITE_START\n";
constexpr std::string_view RECORD_LENGTH = "DB_DOC_LEN=";
constexpr std::string_view RECORD_END = "\nFLATSITE_END\n";

struct file_handle {
  int number = -1;
  ~file_handle() {
    if (number >= 0) ::close(number);
  }
};

// As many of count bytes at offset as there are.
bool read_at(int handle, uint64_t offset, size_t count, std::string& out) {
  out.resize(count);
  size_t done = 0;
  while (done < count) {
    const ssize_t got =
        ::pread(handle, out.data() + done, count - done, static_cast<off_t>(offset + done));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return false;
    if (got == 0) break;
    done += static_cast<size_t>(got);
  }
  out.resize(done);
  return true;
}

enum head_answer : uint32_t { HEAD_WHOLE, HEAD_TORN, HEAD_FOREIGN };

// bytes begins with a record's head; its length, and that of the content behind it.
head_answer measure_head(std::string_view bytes, size_t& head_length, uint64_t& content_length) {
  if (!bytes.starts_with(RECORD_START)) {
    return RECORD_START.starts_with(bytes) ? HEAD_TORN : HEAD_FOREIGN;
  }
  size_t at = RECORD_START.size();
  for (;;) {
    const size_t end = bytes.find('\n', at);
    if (end == std::string_view::npos) {
      return bytes.size() < MAX_HEAD_BYTES ? HEAD_TORN : HEAD_FOREIGN;
    }
    const std::string_view line = bytes.substr(at, end - at);
    at = end + 1;
    if (!line.starts_with(RECORD_LENGTH)) continue;
    head_length = at;
    content_length = parse_unsigned(line.substr(RECORD_LENGTH.size()));
    return HEAD_WHOLE;
  }
}

// Passes over the record at offset.
head_answer pass_record(int handle, uint64_t size, uint64_t& offset) {
  std::string bytes;
  size_t head_length = 0;
  uint64_t content_length = 0;
  if (!read_at(handle, offset, HEAD_BYTES, bytes)) return HEAD_FOREIGN;
  head_answer head = measure_head(bytes, head_length, content_length);
  if (head == HEAD_TORN && bytes.size() == HEAD_BYTES) {
    if (!read_at(handle, offset, MAX_HEAD_BYTES, bytes)) return HEAD_FOREIGN;
    head = measure_head(bytes, head_length, content_length);
  }
  if (head != HEAD_WHOLE) return head;
  const uint64_t end = offset + head_length + content_length;
  if (end + RECORD_END.size() > size) return HEAD_TORN;
  if (!read_at(handle, end, RECORD_END.size(), bytes) || bytes != RECORD_END) return HEAD_FOREIGN;
  offset = end + RECORD_END.size();
  return HEAD_WHOLE;
}

}  // namespace

flatsite_tail repair_flatsite_tail(const std::string& path) {
  const file_handle file{::open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW)};
  struct stat facts {};
  if (file.number < 0 && errno == ENOENT) return FLATSITE_TAIL_WHOLE;
  if (file.number < 0 || ::fstat(file.number, &facts) != 0 || !S_ISREG(facts.st_mode)) {
    return FLATSITE_TAIL_FOREIGN;
  }
  const auto size = static_cast<uint64_t>(facts.st_size);
  for (uint64_t offset = 0; offset < size;) {
    const head_answer record = pass_record(file.number, size, offset);
    if (record == HEAD_FOREIGN) return FLATSITE_TAIL_FOREIGN;
    if (record == HEAD_WHOLE) continue;
    return ::ftruncate(file.number, static_cast<off_t>(offset)) == 0 ? FLATSITE_TAIL_CUT
                                                                     : FLATSITE_TAIL_FOREIGN;
  }
  return FLATSITE_TAIL_WHOLE;
}

}  // namespace wk
