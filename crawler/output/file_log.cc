// The log that goes to a file. See https://www.w3.org/TR/WD-logfile for the format.
//
//   head of each opening:  #Version: 1.0
//                          #Software: Wendrake Webcrawler
//   each record:           #Fields: date time <fields>
//                          <YYYY-MM-DD> <HH:MM:SS> <text>
//
// Times are UTC. The text stands byte for byte: it is not split into the columns that the fields
// name, and a line feed in it starts a line that belongs to the record still.
#include <ctime>

#include "crawler/output/log.h"
#include "crawler/output/log_kind.h"
#include "crawler/output/record_file.h"
#include "wkstd/clock.h"
#include "wkstd/state_stream.h"

namespace wk {
namespace {

struct file_log : Log {
  bool append = false;  // fixed at opening, as is records.path

  // Guarded by the log's lock.
  record_file records;
  std::time_t stamped_second = -1;
  char stamp[32] = {};  // the text of stamped_second: most records share theirs with the last one
  size_t stamp_length = 0;
};

std::string_view get_stamp_of_now(file_log& log) {
  const auto now = static_cast<std::time_t>(get_wall_time_us() / 1'000'000);
  if (now != log.stamped_second) {
    std::tm parts{};
    ::gmtime_r(&now, &parts);
    log.stamp_length = std::strftime(log.stamp, sizeof log.stamp, "%Y-%m-%d %H:%M:%S ", &parts);
    log.stamped_second = now;
  }
  return {log.stamp, log.stamp_length};
}

void write_file_log(Log& base, std::string_view fields, std::string_view text) {
  auto& log = static_cast<file_log&>(base);
  add_record_file(log.records,
                  {"#Fields: date time ", fields, "\n", get_stamp_of_now(log), text, "\n"});
}

void flush_file_log(Log& base) { flush_record_file(static_cast<file_log&>(base).records); }

void begin_file_log(file_log& log) {
  add_record_file(log.records, {"#Version: 1.0\n#Software: Wendrake Webcrawler\n"});
  flush_record_file(log.records);
}

void reopen_file_log(Log& base) {
  auto& log = static_cast<file_log&>(base);
  if (reopen_record_file(log.records)) begin_file_log(log);
}

void close_file_log(Log* log) { delete static_cast<file_log*>(log); }

void save_file_log(const Log& base, std::string& stream) {
  const auto& log = static_cast<const file_log&>(base);
  append_u32(stream, 1);
  append_string(stream, log.records.path);
  append_u32(stream, log.append ? 1 : 0);
}

constexpr log_ops FILE_LOG_OPS = {
    .tag = LOG_FILE_TAG,
    .write = write_file_log,
    .flush = flush_file_log,
    .reopen = reopen_file_log,
    .close = close_file_log,
    .save = save_file_log,
};

}  // namespace

log_ptr open_file_log(const std::string& path, bool append) {
  auto log = std::make_unique<file_log>();
  log->ops = &FILE_LOG_OPS;
  log->append = append;
  if (!open_record_file(log->records, "crawl log", path, append ? FILE_APPEND : FILE_TRUNCATE)) {
    return nullptr;
  }
  begin_file_log(*log);
  return log_ptr(log.release());
}

}  // namespace wk
