#include "crawler/horizon/url_list.h"

#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <utility>

#include "crawler/url/url_form.h"
#include "wkdt/t_sort.h"
#include "wkstd/directory.h"
#include "wkstd/error.h"
#include "wkstd/text.h"

namespace wk {
namespace {

#ifdef WK_FUZZ
constexpr uint32_t TABLE_SIZE = 100;  // a fuzzer makes and fills one for each input
#else
constexpr uint32_t TABLE_SIZE = 100'000;
#endif
constexpr size_t WRITE_BYTES = 65'536;
constexpr uint32_t NB_URLS_BEFORE_RETRY = 1'000;
constexpr uint64_t SORT_CHUNK_BYTES = 10'000'000;

uint32_t count_unwritten(const url_list& list) {
  const auto nb_lines = std::count(list.unwritten.begin(), list.unwritten.end(), '\n');
  return static_cast<uint32_t>(nb_lines);
}

// A list that holds URLs goes on behind what its file has.
bool open_list_file(url_list& list) {
  if (list.file != nullptr) return true;
  list.file = open_output_file(list.path, list.count == 0 ? FILE_TRUNCATE : FILE_APPEND);
  if (list.file == nullptr) return false;
  if (list.file->size < list.nb_file_bytes) {  // somebody took the file away
    print_message(format_text("%s was cut, up to %u URLs of it are lost\n", list.path.c_str(),
                              list.count - count_unwritten(list)));
  }
  list.nb_file_bytes = list.file->size;
  return true;
}

void report_not_listed(url_list& list) {
  if (!std::has_single_bit(++list.nb_not_listed)) return;
  print_message(format_text("%s can't be opened, %u URLs were not taken so far\n",
                            list.path.c_str(), list.nb_not_listed));
}

// A file that ends inside a line would make one URL of its last and the next one.
void finish_last_line(url_list& list, uint64_t nb_line_bytes) {
  uint64_t size = 0;
  if (get_file_size(list.path, size) && size < nb_line_bytes) list.unwritten.push_back('\n');
}

}  // namespace

void init_url_list(url_list& list, std::string path) {
  list = {};
  list.path = std::move(path);
  list.write_at = WRITE_BYTES;
  list.table = create_hash_string(TABLE_SIZE);
}

bool holds_url_list(const url_list& list, std::string_view url) {
  return list.count > 0 && lookup_hash_string(url, *list.table) != HASH_STRING_NOT_FOUND;
}

bool append_url_list(url_list& list, std::string_view url) {
  if (!open_list_file(list)) {
    report_not_listed(list);
    return false;
  }
  list.unwritten.append(url);
  list.unwritten.push_back('\n');
  insert_hash_string(*list.table, url, 1);
  ++list.count;
  if (list.unwritten.size() >= list.write_at) (void)write_out_url_list(list);  // kept in memory
  return true;
}

bool write_out_url_list(url_list& list) {
  if (list.unwritten.empty()) return true;
  if (open_list_file(list) && append_record_output_file(*list.file, {list.unwritten})) {
    list.unwritten.clear();
    list.write_at = WRITE_BYTES;
    list.nb_file_bytes = list.file->size;
    return true;
  }
  list.write_at = list.unwritten.size() + WRITE_BYTES;
  print_message(format_text("%s can't be written, %u URLs wait in memory\n", list.path.c_str(),
                            count_unwritten(list)));
  return false;
}

bool sort_url_list(url_list& list, const std::string& sorted_path, const std::string& directory) {
  if (!write_out_url_list(list)) return false;
  if (list.file != nullptr && !finish_output_file(list.file)) return false;
  const t_sort_options options{
      .unique = true, .chunk_bytes = SORT_CHUNK_BYTES, .directory = directory};
  return t_sort(list.path, sorted_path, options) == T_SORT_OK;
}

void resume_url_list(url_list& list) {
  list.empty_at = list.count + NB_URLS_BEFORE_RETRY;
  (void)open_list_file(list);  // a refusal is met again, and said, by whoever appends
}

void restart_url_list(url_list& list) {
  clear_url_list(list);
  ::unlink(list.path.c_str());
  (void)open_list_file(list);  // as above
}

void clear_url_list(url_list& list) {
  list.file.reset();
  list.nb_file_bytes = 0;
  list.unwritten.clear();
  list.write_at = WRITE_BYTES;
  list.count = 0;
  list.empty_at = list.limit;
  clear_hash_string(*list.table);
}

bool load_url_list(url_list& list, const char* too_many) {
  const line_reader_ptr reader = open_line_reader(list.path);
  if (reader == nullptr) return errno == ENOENT;
  uint64_t nb_line_bytes = 0;
  std::string_view line;
  while (read_line(*reader, line)) {
    nb_line_bytes += line.size() + 1;
    if (!is_acceptable_url(line)) continue;
    insert_hash_string(*list.table, line, 1);
    ++list.count;
  }
  if (list.count > list.limit) print_message(too_many);
  finish_last_line(list, nb_line_bytes);
  if (list.count == 0) return !reader->failed;
  return open_list_file(list) && !reader->failed;
}

}  // namespace wk
