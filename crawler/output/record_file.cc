#include "crawler/output/record_file.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include "wkstd/error.h"

namespace wk {
namespace {

void say_refusal_once(record_file& records) {
  if (!records.refusal_said) print_refusal(records.what, records.path, errno);
  records.refusal_said = true;
}

}  // namespace

void print_refusal(const char* what, std::string_view path, int error_number) {
  std::string message(what);
  message.append(" '").append(path).append("': ").append(get_system_error_text(error_number));
  message.append("; records are lost until it can be written again\n");
  print_message(message);
}

bool reopen_by_name(output_file_ptr& file, const char* what, const std::string& path) {
  if (!is_regular_output_file(*file)) return false;
  output_file_ptr opened = open_output_file(path, FILE_APPEND);
  if (opened == nullptr) {
    const std::string reason = get_system_error_text(errno);
    print_message(std::string(what) + " '" + path + "' can't be opened again: " + reason +
                  "; records go on to the file that was open\n");
    return false;
  }
  file = std::move(opened);
  return true;
}

bool open_record_file(record_file& records, const char* what, const std::string& path,
                      file_mode mode) {
  records.file = open_output_file(path, mode);
  if (records.file == nullptr) return false;
  records.what = what;
  records.path = path;
  records.gathered.reset(new char[RECORD_FILE_BUFFER_BYTES]);
  return true;
}

void add_record_file(record_file& records, std::initializer_list<std::string_view> pieces) {
  size_t length = 0;
  for (const std::string_view piece : pieces) length += piece.size();
  if (length > RECORD_FILE_BUFFER_BYTES - records.nb_gathered_bytes) {
    flush_record_file(records);
    if (length > RECORD_FILE_BUFFER_BYTES) {  // a text larger than all that is ever gathered
      if (!append_record_output_file(*records.file, pieces)) say_refusal_once(records);
      return;
    }
  }
  char* end = records.gathered.get() + records.nb_gathered_bytes;
  for (const std::string_view piece : pieces) {
    if (piece.empty()) continue;
    std::memcpy(end, piece.data(), piece.size());
    end += piece.size();
  }
  records.nb_gathered_bytes += length;
  records.ends.push_back(records.nb_gathered_bytes);
}

bool reopen_record_file(record_file& records) {
  flush_record_file(records);
  if (!reopen_by_name(records.file, records.what, records.path)) return false;
  records.refusal_said = false;
  return true;
}

void flush_record_file(record_file& records) {
  if (records.nb_gathered_bytes == 0) return;
  const std::string_view bytes(records.gathered.get(), records.nb_gathered_bytes);
  const size_t nb_written = append_records_output_file(*records.file, bytes, records.ends);
  if (nb_written < records.ends.size()) say_refusal_once(records);
  records.nb_gathered_bytes = 0;
  records.ends.clear();
}

}  // namespace wk
