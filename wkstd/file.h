// Files that the crawler writes and reads in sequence: a buffered writer that says when the disk
// refused, a line reader, and whole-file reading. Offsets and sizes are in bytes.
//
// Every call of the system goes through here, so that each fault of a disk has one place to be
// seen. Files are created with mode 0600. Handles are closed on exec. Threads: one at a time per
// record; the owner locks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace wk {

enum file_mode : uint32_t {
  FILE_TRUNCATE = 0,  // an empty file, made when absent
  FILE_APPEND = 1,    // behind what is there, made when absent
};

// A file being written. After a refused write the record stays broken: further writes are dropped
// and every flush and close answers false, so a caller may write much and look once.
struct output_file {
  int handle = -1;
  bool broken = false;  // some write, sync or close was refused
  uint64_t size = 0;    // bytes of the file as far as the system has them
  std::string buffer;   // not yet handed to the system
};

struct close_output_file {
  void operator()(output_file* file) const;  // flushes what it can; a refusal is lost here
};
using output_file_ptr = std::unique_ptr<output_file, close_output_file>;

// Null when the file cannot be opened; errno says why.
[[nodiscard]] output_file_ptr open_output_file(const std::string& path, file_mode mode);
void write_output_file(output_file& file, std::string_view bytes);
// True when all that was written so far was taken by the system.
[[nodiscard]] bool flush_output_file(output_file& file);
// Flushes, then makes it last through a power cut, where the file is of a kind that can last.
[[nodiscard]] bool sync_output_file(output_file& file);
// Flushes and closes; true when nothing was ever refused. The pointer is null afterwards.
[[nodiscard]] bool finish_output_file(output_file_ptr& file);
// True for what stands on a disk, not for a pipe, a terminal or another device.
[[nodiscard]] bool is_regular_output_file(const output_file& file);
// Writes all pieces, at most 8, at the end of the file in as few calls as can be, past the buffer.
// When the system refuses, the file is cut back to the size it had and stays usable; false then,
// and errno says why.
[[nodiscard]] bool append_record_output_file(output_file& file,
                                             std::initializer_list<std::string_view> pieces);
// The same for many records that stand in bytes one behind the other; ends holds where each of them
// ends, rising, the last end being that of bytes. When the system refuses, the file is cut back to
// the end of a record. The answer is how many records stand in the file; errno is set when fewer
// than all.
[[nodiscard]] size_t append_records_output_file(output_file& file, std::string_view bytes,
                                                std::span<const size_t> ends);

// A file being read line by line.
struct line_reader {
  int handle = -1;
  bool failed = false;  // a read was refused; what follows is missing
  std::string buffer;   // room; what was read of the file lies before end
  size_t next = 0;      // first byte that no line holds yet
  size_t end = 0;
  bool at_end = false;
};
struct close_line_reader {
  void operator()(line_reader* reader) const;
};
using line_reader_ptr = std::unique_ptr<line_reader, close_line_reader>;

[[nodiscard]] line_reader_ptr open_line_reader(const std::string& path);  // null: cannot be opened
// The next line without its line feed; the view lasts until the next call. The last line needs no
// line feed. False at the end or when the system refuses.
[[nodiscard]] bool read_line(line_reader& reader, std::string_view& line);
// The lines that are at hand, at least one, with their line feeds; only the last line of the file
// may lack its own. The rest is as for read_line.
[[nodiscard]] bool read_line_block(line_reader& reader, std::string_view& lines);

// The file's first bytes, at most so many. False when it cannot be read.
[[nodiscard]] bool read_file_head(const std::string& path, size_t nb_bytes, std::string& out);
// The whole file. False when it cannot be read or holds more than max_bytes; out is empty then.
[[nodiscard]] bool read_whole_file(const std::string& path, uint64_t max_bytes, std::string& out);

}  // namespace wk
