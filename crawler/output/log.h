// The crawl log: every event of a crawl, in the W3C Extended Log File Format.
//
// One record is two lines: a "#Fields:" directive and the time with the text. Records of different
// threads never mix; each write and flush takes the log's own lock, which is taken after every
// other one. Records are gathered in memory; flush hands them to the system. When the disk refuses,
// what could not be written is dropped, said once on standard error, and tried anew at the next
// flush. A log that can't be opened again goes on into the file that it has, and says so there.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace wk {

enum log_level : uint32_t { LOG_STATUS = 1, LOG_WARNING = 2, LOG_ERROR = 4 };

constexpr uint32_t LOG_DEFAULT_FILTER = 7;  // all levels

// Kind tags, as images hold them.
constexpr uint32_t LOG_FILE_TAG = 2948567;
constexpr uint32_t LOG_DISCARDING_TAG = 918123483;
constexpr uint32_t LOG_LIST_TAG = 58471489;

struct Log;
struct destroy_log {
  void operator()(Log* log) const;  // flushes and closes
};
using log_ptr = std::unique_ptr<Log, destroy_log>;

// Null when the file cannot be opened. Two header lines are written at every opening.
[[nodiscard]] log_ptr open_file_log(const std::string& path, bool append);
[[nodiscard]] log_ptr create_discarding_log();

void set_filter_log(Log& log, uint32_t filter);
// Nothing happens when the filter has none of level's bits. Empty fields stand for "x-comment".
void write_log(Log& log, uint32_t level, std::string_view fields, std::string_view text);
void write_formatted_log(Log& log, uint32_t level, std::string_view fields, const char* format, ...)
    __attribute__((format(printf, 4, 5)));
void flush_log(Log& log);
// Goes on in the file that has the log's name now, which gets the header lines like any opening.
void reopen_log(Log& log);
[[nodiscard]] uint64_t get_nb_records_log(
    const Log& log);  // given to the log's kind; takes no lock
// Appends the log's image: tag, and for a file log 1, path and append switch.
void save_log(const Log& log, std::string& stream);
// Cuts a log's image off the front of stream. False, and stream is left alone, for other bytes.
[[nodiscard]] bool skip_log_image(std::string_view& stream);

}  // namespace wk
