#include "crawler/output/url_dates.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>

#include "wkstd/text.h"

namespace wk {
namespace {

constexpr size_t BLOCK_BYTES = 65'536;
constexpr size_t MAX_LINE_BYTES = 65'536;
constexpr uint32_t NB_BUCKETS_WANTED = 50'000;  // the table takes 71,143

// A file's lines in sequence, whatever their lengths, in memory of a fixed size.
struct date_lines {
  int handle = -1;
  bool failed = false;
  std::string block;
  size_t next = 0;  // first byte of block that no line holds yet
  std::string carried;

  // The flags are added: O_NONBLOCK keeps a pipe among store files from holding the start up.
  date_lines(const std::string& path, int flags)
      : handle(::open(path.c_str(), O_RDONLY | O_CLOEXEC | flags)) {}
  ~date_lines() {
    if (handle >= 0) ::close(handle);
  }
  date_lines(const date_lines&) = delete;
  date_lines& operator=(const date_lines&) = delete;
};

bool fill_block(date_lines& lines) {
  ssize_t got = -1;
  lines.block.resize(BLOCK_BYTES);
  do {
    got = ::read(lines.handle, lines.block.data(), BLOCK_BYTES);
  } while (got < 0 && errno == EINTR);
  lines.failed = got < 0;
  lines.block.resize(got > 0 ? static_cast<size_t>(got) : 0);
  lines.next = 0;
  return got > 0;
}

// The next line without its line feed, empty when it is too long; lasts until the next call. False
// at the end or when the system refuses.
bool take_line(date_lines& lines, std::string_view& line) {
  lines.carried.clear();
  bool is_begun = false;
  bool is_too_long = false;
  while (lines.next < lines.block.size() || fill_block(lines)) {
    const std::string_view rest = std::string_view(lines.block).substr(lines.next);
    const size_t feed = rest.find('\n');
    const std::string_view piece = rest.substr(0, feed);
    lines.next += piece.size() + (feed == std::string_view::npos ? 0 : 1);
    is_too_long = is_too_long || lines.carried.size() + piece.size() > MAX_LINE_BYTES;
    if (feed != std::string_view::npos && !is_begun) {
      line = is_too_long ? std::string_view() : piece;
      return true;
    }
    is_begun = true;
    if (!is_too_long) lines.carried.append(piece);
    if (feed != std::string_view::npos) break;
  }
  line = is_too_long ? std::string_view() : std::string_view(lines.carried);
  return is_begun && !lines.failed;
}

// The record being read.
struct dated_record {
  bool is_begun = false;
  std::string url;
  std::string date;
};

void enter_record(const dated_record& record, hash_string& dates) {
  const uint32_t date = parse_unsigned(record.date);
  if (!record.url.empty() && date != 0) set_hash_string(dates, record.url, date);
}

void take_record_line(std::string_view line, dated_record& record, hash_string& dates) {
  constexpr std::string_view URL_KEY = "DB_DOC_URL=";
  constexpr std::string_view DATE_KEY = "WK_CRAWLER_DATE=";
  if (line == "FLATSITE_START") {
    record = {.is_begun = true, .url = {}, .date = {}};
  } else if (!record.is_begun) {
    return;
  } else if (line == "FLATSITE_END") {
    enter_record(record, dates);
    record.is_begun = false;
  } else if (line.starts_with(URL_KEY)) {
    record.url = line.substr(URL_KEY.size());
  } else if (line.starts_with(DATE_KEY)) {
    record.date = trim_blanks(line.substr(DATE_KEY.size()));
  }
}

bool read_store_file(const std::string& path, hash_string& dates) {
  date_lines lines(path, O_NONBLOCK);
  dated_record record;
  std::string_view line;
  if (lines.handle < 0) return false;
  while (take_line(lines, line)) take_record_line(line, record, dates);
  return !lines.failed;
}

}  // namespace

hash_string_ptr read_url_dates(const std::string& list_path, uint32_t& nb_skipped) {
  date_lines list(list_path, 0);
  nb_skipped = 0;
  if (list.handle < 0) return nullptr;
  hash_string_ptr dates = create_hash_string(NB_BUCKETS_WANTED);
  std::string_view path;
  while (take_line(list, path)) {
    if (!path.empty() && !read_store_file(std::string(path), *dates)) ++nb_skipped;
  }
  return list.failed ? nullptr : std::move(dates);
}

}  // namespace wk
