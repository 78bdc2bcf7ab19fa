#include "crawler/output/flatsite_reader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace wk {
namespace {

constexpr size_t HEAD_BYTES = 4'096;  // nearly every head is shorter
constexpr size_t MAX_HEAD_BYTES = 262'144;
constexpr uint64_t PIECE_BYTES = 1U << 20;

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

flatsite_answer answer_fault(flatsite_reader& reader, flatsite_answer answer, const char* fault) {
  reader.fault = fault;
  return answer;
}

flatsite_answer answer_torn(flatsite_reader& reader) {
  return answer_fault(reader, FLATSITE_TORN, "the file ends within the record");
}

// The head at reader.offset.
flatsite_answer read_head(flatsite_reader& reader, flatsite_head& head) {
  for (const size_t wanted : {HEAD_BYTES, MAX_HEAD_BYTES}) {
    if (!read_at(reader.handle, reader.offset, wanted, reader.block)) {
      return answer_fault(reader, FLATSITE_UNREADABLE, "can't be read");
    }
    switch (parse_flatsite_head(reader.block, head)) {
      case FLATSITE_HEAD_WHOLE:
        return FLATSITE_RECORD;
      case FLATSITE_HEAD_FOREIGN:
        return answer_fault(reader, FLATSITE_DAMAGED, head.fault);
      case FLATSITE_HEAD_SHORT:
        if (reader.block.size() < wanted) return answer_torn(reader);
    }
  }
  return answer_fault(reader, FLATSITE_DAMAGED, "a head that does not end");
}

}  // namespace

flatsite_reader::~flatsite_reader() {
  if (handle >= 0) ::close(handle);
}

bool open_flatsite_reader(flatsite_reader& reader, const std::string& path,
                          flatsite_purpose purpose) {
  // A pipe would hold the opening up for ever; it is refused below.
  const int flags = purpose == FLATSITE_TO_REPAIR ? O_RDWR | O_NOFOLLOW : O_RDONLY;
  reader.handle = ::open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK);
  struct stat facts {};
  if (reader.handle < 0 || ::fstat(reader.handle, &facts) != 0) return false;
  if (!S_ISREG(facts.st_mode)) {
    errno = S_ISDIR(facts.st_mode) ? EISDIR : EINVAL;
    return false;
  }
  reader.size = static_cast<uint64_t>(facts.st_size);
  return true;
}

flatsite_answer read_flatsite_record(flatsite_reader& reader, flatsite_record& record) {
  if (reader.offset >= reader.size) return FLATSITE_END;
  const flatsite_answer answer = read_head(reader, record.head);
  if (answer != FLATSITE_RECORD) return answer;
  record.offset = reader.offset;
  record.content_offset = reader.offset + record.head.length;
  const std::string_view ending = get_ending_flatsite(record.head.kind);
  const uint64_t end = record.content_offset + record.head.content_length;
  if (end + ending.size() > reader.size) return answer_torn(reader);
  std::string found;
  if (!read_at(reader.handle, end, ending.size(), found)) {
    return answer_fault(reader, FLATSITE_UNREADABLE, "can't be read");
  }
  if (found != ending) {
    return answer_fault(reader, FLATSITE_DAMAGED, "no end where the length of the record says");
  }
  reader.offset = end + ending.size();
  return FLATSITE_RECORD;
}

bool read_flatsite_content(const flatsite_reader& reader, const flatsite_record& record,
                           uint64_t done, std::string& piece) {
  const uint64_t left = record.head.content_length - done;
  return read_at(reader.handle, record.content_offset + done,
                 static_cast<size_t>(std::min(left, PIECE_BYTES)), piece) &&
         !piece.empty();
}

}  // namespace wk
