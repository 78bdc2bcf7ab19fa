#include "crawler/horizon/disk_cache.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "wkstd/directory.h"
#include "wkstd/error.h"
#include "wkstd/file.h"
#include "wkstd/state_stream.h"

namespace wk {
namespace {

static_assert(std::endian::native == std::endian::little, "the filter's words are written raw");

constexpr size_t WORDS_A_PIECE = 16'384;

// Puts the merged file in the place of the disk cache at one stroke. The two are exchanged and the
// old one removed, because a rename over a file makes some file systems (ext4) write the new one to
// the disk before they answer, which would cost more than the merge.
bool replace_cache_file(const std::string& merged_path, const std::string& path) {
  if (::renameat2(AT_FDCWD, merged_path.c_str(), AT_FDCWD, path.c_str(), RENAME_EXCHANGE) != 0) {
    return std::rename(merged_path.c_str(), path.c_str()) == 0;
  }
  ::unlink(merged_path.c_str());
  return true;
}

// Takes the words as they stand in the file; false when there are fewer or more.
bool take_filter_words(std::string_view bytes, bit_filter& filter) {
  const std::span<uint32_t> words = get_words_bit_filter(filter);
  if (bytes.size() != words.size_bytes()) return false;
  std::memcpy(words.data(), bytes.data(), bytes.size());
  return true;
}

bool read_filter(disk_cache& cache, const std::string& bytes) {
  std::string_view rest = bytes;
  uint64_t size = 0;
  const bool has_urls = get_file_size(cache.path, size) && size > 0;
  uint32_t count = 0;
  if (!take_u32(rest, count) || (count > 0) != has_urls) return false;
  if (!take_filter_words(rest, cache.filter)) return false;
  cache.count = count;
  return true;
}

bool rebuild_filter(disk_cache& cache) {
  clear_disk_cache(cache);
  const line_reader_ptr reader = open_line_reader(cache.path);
  if (reader == nullptr && errno == ENOENT) return true;
  if (reader == nullptr) {
    print_message("can't open disk cache");
    return false;
  }
  std::string_view line;
  while (read_line(*reader, line)) {
    if (line.empty()) continue;
    add_bit_filter(cache.filter, line);
    ++cache.count;
  }
  return !reader->failed;
}

// The file does not say of how many bits it is. A filter of nearly as many has as many words, and
// would take known URLs for new ones.
bool covers_disk_cache(const disk_cache& cache) {
  if (cache.count == 0) return true;
  const line_reader_ptr reader = open_line_reader(cache.path);
  std::string_view line;
  while (reader != nullptr && read_line(*reader, line)) {
    if (!line.empty() && !may_hold_bit_filter(cache.filter, line)) return false;
  }
  return reader != nullptr && !reader->failed;
}

}  // namespace

void init_disk_cache(disk_cache& cache, const std::string& directory, uint32_t nb_bits) {
  cache.count = 0;
  cache.path = directory + "/ndue_disk_cache.txt";
  cache.filter_path = directory + "/ndue_mhash.txt";
  init_bit_filter(cache.filter, nb_bits);
}

void clear_disk_cache(disk_cache& cache) {
  clear_bit_filter(cache.filter);
  cache.count = 0;
}

bool merge_disk_cache(disk_cache& cache, const std::string& sorted_path, merge_outcome& outcome) {
  const std::string merged_path = cache.path + ".new";
  const merge_status status = merge_sorted_files(sorted_path, cache.path, merged_path, outcome);
  if (status == MERGE_NO_BASE) print_message("can't open disk cache");
  if (status != MERGE_OK || !replace_cache_file(merged_path, cache.path)) {
    ::unlink(merged_path.c_str());
    return false;
  }
  std::string_view rest = outcome.entered;
  std::string_view line;
  while (take_outcome_line(rest, line)) {
    add_bit_filter(cache.filter, line);
    ++cache.count;
  }
  return true;
}

bool save_filter_disk_cache(const disk_cache& cache) {
  output_file_ptr file = open_output_file(cache.filter_path, FILE_TRUNCATE);
  if (file == nullptr) {
    print_message("The ndue_mhash.txt can't be open to write!\n");
    return false;
  }
  std::string head;
  append_u32(head, cache.count);
  write_output_file(*file, head);
  std::span<const uint32_t> words = get_words_bit_filter(cache.filter);
  while (!words.empty()) {
    const auto piece = words.first(std::min(words.size(), WORDS_A_PIECE));
    write_output_file(*file, {reinterpret_cast<const char*>(piece.data()), piece.size_bytes()});
    words = words.subspan(piece.size());
  }
  return finish_output_file(file);
}

bool load_filter_disk_cache(disk_cache& cache) {
  const uint64_t whole_size = sizeof(uint32_t) + get_words_bit_filter(cache.filter).size_bytes();
  std::string bytes;
  if (!is_regular_file(cache.filter_path)) {
    print_message("The ndue_mhash.txt can't be open to read!\n");
    return rebuild_filter(cache);
  }
  const bool fits =
      read_whole_file(cache.filter_path, whole_size, bytes) && read_filter(cache, bytes);
  bytes = {};
  if (!(fits && covers_disk_cache(cache)) && !rebuild_filter(cache)) return false;
  return ::unlink(cache.filter_path.c_str()) == 0;
}

}  // namespace wk
