#include "tools/check_horizon/url_line_file.h"

#include <algorithm>

#include "crawler/url/url_form.h"

namespace wk {
namespace {

constexpr size_t BLOCK_BYTES = 262'144;

bool read_block(url_line_file& file) {
  file.next = 0;
  file.block.resize(BLOCK_BYTES);
  file.block.resize(std::fread(file.block.data(), 1, BLOCK_BYTES, file.stream.get()));
  file.failed = std::ferror(file.stream.get()) != 0;
  return !file.block.empty();
}

// Takes what is left of the block, up to and with the next line feed. True when there was one.
bool take_piece(url_line_file& file, std::string_view& piece) {
  const std::string_view rest = std::string_view(file.block).substr(file.next);
  const size_t feed = rest.find('\n');
  piece = rest.substr(0, feed);
  file.next += piece.size() + (feed == std::string_view::npos ? 0 : 1);
  return feed != std::string_view::npos;
}

void carry_piece(url_line_file& file, url_line& line, std::string_view piece) {
  const size_t room = MAX_URL_BYTES - file.carried.size();
  if (piece.size() > room) line.is_too_long = true;
  file.carried.append(piece.substr(0, room));
}

}  // namespace

url_line_file open_url_line_file(const std::string& path) {
  url_line_file file;
  file.stream.reset(std::fopen(path.c_str(), "rbe"));
  return file;
}

bool read_url_line(url_line_file& file, url_line& line) {
  line = {.text = {}, .number = file.nb_lines + 1};
  file.carried.clear();
  bool is_begun = false;
  while (!line.is_ended && (file.next < file.block.size() || read_block(file))) {
    std::string_view piece;
    line.is_ended = take_piece(file, piece);
    if (line.is_ended && !is_begun && piece.size() <= MAX_URL_BYTES) {
      line.text = piece;  // the usual line needs no copy
      ++file.nb_lines;
      return true;
    }
    is_begun = true;
    carry_piece(file, line, piece);
  }
  if (!is_begun) return false;
  line.text = file.carried;
  ++file.nb_lines;
  return true;
}

}  // namespace wk
