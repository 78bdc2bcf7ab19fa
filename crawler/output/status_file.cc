#include "crawler/output/status_file.h"

#include <charconv>

namespace wk {
namespace {

struct decimal {  // room for any 32-bit number
  char digits[12];
  std::string_view text;
};

void set_decimal(decimal& number, uint32_t value) {
  char* end = number.digits + sizeof number.digits;
  end = std::to_chars(number.digits, end, static_cast<int32_t>(value)).ptr;
  number.text = std::string_view(number.digits, static_cast<size_t>(end - number.digits));
}

}  // namespace

status_file_ptr open_status_file(const std::string& path) {
  status_file_ptr status(new status_file);
  if (!open_record_file(status->records, "status file", path, FILE_APPEND)) return nullptr;
  return status;
}

void write_status_file(status_file& status, std::string_view url, uint32_t code, uint32_t seconds) {
  decimal code_text;
  decimal seconds_text;
  set_decimal(code_text, code);
  set_decimal(seconds_text, seconds);
  const std::lock_guard guard(status.lock);
  add_record_file(status.records, {url, " ", code_text.text, " (", seconds_text.text, ")\n"});
}

void flush_status_file(status_file& status) {
  const std::lock_guard guard(status.lock);
  flush_record_file(status.records);
}

void reopen_status_file(status_file& status) {
  const std::lock_guard guard(status.lock);
  (void)reopen_record_file(status.records);  // a refusal was said
}

void close_status_file::operator()(status_file* status) const {
  if (status == nullptr) return;
  flush_status_file(*status);
  delete status;
}

}  // namespace wk
