// A file of URLs, one a line, for a reader who believes nothing of it: memory stays bounded however
// long a line is, and the reader is told when the last line has no line feed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

namespace wk {

struct url_line {
  std::string_view text;     // without the line feed; lasts until the next line is read
  uint64_t number = 0;       // of the line in its file, from 1
  bool is_too_long = false;  // text is the first MAX_URL_BYTES bytes of more
  bool is_ended = false;     // by a line feed
};

struct close_stream {
  void operator()(std::FILE* stream) const { std::fclose(stream); }
};

struct url_line_file {
  std::unique_ptr<std::FILE, close_stream> stream;  // null: it can't be opened
  bool failed = false;                              // a read was refused; what follows is missing
  uint64_t nb_lines = 0;                            // read so far
  std::string block;                                // the bytes read last
  size_t next = 0;                                  // first byte of block that no line holds yet
  std::string carried;                              // a line that stands in several blocks
};

[[nodiscard]] url_line_file open_url_line_file(const std::string& path);
// False at the end and when the system refuses.
[[nodiscard]] bool read_url_line(url_line_file& file, url_line& line);

}  // namespace wk
