#include <cstdarg>
#include <cstdio>

#include "crawler/output/log.h"
#include "crawler/output/log_kind.h"
#include "wkstd/state_stream.h"

namespace wk {
namespace {

constexpr size_t SHORT_TEXT_BYTES = 1024;  // nearly every text: a URL and a few words

bool is_wanted(const Log& log, uint32_t level) {
  return log.ops->write != nullptr && (log.filter.load(std::memory_order_relaxed) & level) != 0;
}

// A long text is formatted a second time, into memory of its own.
__attribute__((format(printf, 5, 0))) void write_long_log(Log& log, uint32_t level,
                                                          std::string_view fields, size_t length,
                                                          const char* format, va_list arguments) {
  std::string text(length + 1, '\0');
  std::vsnprintf(text.data(), text.size(), format, arguments);
  text.pop_back();
  write_log(log, level, fields, text);
}

}  // namespace

void destroy_log::operator()(Log* log) const {
  if (log == nullptr) return;
  flush_log(*log);
  log->ops->close(log);
}

void set_filter_log(Log& log, uint32_t filter) {
  const std::lock_guard guard(log.lock);
  log.filter.store(filter, std::memory_order_relaxed);
}

void write_log(Log& log, uint32_t level, std::string_view fields, std::string_view text) {
  if (text.data() == nullptr || !is_wanted(log, level)) return;
  const std::lock_guard guard(log.lock);
  log.ops->write(log, fields.empty() ? "x-comment" : fields, text);
  log.nb_records.store(log.nb_records.load(std::memory_order_relaxed) + 1,
                       std::memory_order_relaxed);
}

void write_formatted_log(Log& log, uint32_t level, std::string_view fields, const char* format,
                         ...) {
  if (!is_wanted(log, level)) return;
  char text[SHORT_TEXT_BYTES];
  va_list arguments;
  va_start(arguments, format);
  va_list again;
  va_copy(again, arguments);
  // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): begun above
  const int length = std::vsnprintf(text, sizeof text, format, arguments);
  if (length >= 0 && static_cast<size_t>(length) < sizeof text) {
    write_log(log, level, fields, std::string_view(text, static_cast<size_t>(length)));
  } else if (length >= 0) {
    write_long_log(log, level, fields, static_cast<size_t>(length), format, again);
  }
  va_end(again);
  va_end(arguments);
}

void flush_log(Log& log) {
  if (log.ops->flush == nullptr) return;
  const std::lock_guard guard(log.lock);
  log.ops->flush(log);
}

void reopen_log(Log& log) {
  if (log.ops->reopen == nullptr) return;
  const std::lock_guard guard(log.lock);
  log.ops->reopen(log);
}

uint64_t get_nb_records_log(const Log& log) {
  return log.nb_records.load(std::memory_order_relaxed);
}

void save_log(const Log& log, std::string& stream) {
  append_u32(stream, log.ops->tag);
  if (log.ops->save != nullptr) log.ops->save(log, stream);
}

bool skip_log_image(std::string_view& stream) {
  std::string_view rest = stream;
  uint32_t nb_logs = 1;  // that are still to come; a list stands for its members
  while (nb_logs > 0) {
    uint32_t tag = 0;
    uint32_t version = 1;
    uint32_t number = 0;
    std::string path;
    if (!take_u32(rest, tag)) return false;
    --nb_logs;
    if (tag == LOG_DISCARDING_TAG) continue;
    if (!take_u32(rest, version) || version != 1) return false;
    if (tag == LOG_FILE_TAG) {
      if (!take_string(rest, path) || !take_u32(rest, number)) return false;
    } else if (tag != LOG_LIST_TAG || !take_u32(rest, number) || number > rest.size()) {
      return false;
    } else {
      nb_logs += number;
    }
  }
  stream = rest;
  return true;
}

}  // namespace wk
