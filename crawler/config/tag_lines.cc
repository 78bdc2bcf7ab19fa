#include "crawler/config/tag_lines.h"

#include <cstdint>

#include "wkstd/file.h"
#include "wkstd/text.h"

namespace wk {
namespace {

constexpr uint64_t MAX_FILE_BYTES = uint64_t{256} * 1024 * 1024;
constexpr size_t MAX_TAG_LINES = 100;

std::string_view get_line(const tag_lines& lines, size_t number) {
  const std::string_view bytes = lines.bytes;
  const size_t begin = lines.begins[number - 1];
  const size_t end = number < lines.begins.size() ? lines.begins[number] : bytes.size();
  return bytes.substr(begin, end - begin);
}

bool is_name_end(std::string_view text, size_t at) {
  return at >= text.size() || is_blank(static_cast<unsigned char>(text[at])) || text[at] == '/' ||
         text[at] == '>';
}

bool begins_element(std::string_view line, std::string_view element) {
  for (size_t at = line.find('<'); at != std::string_view::npos; at = line.find('<', at + 1)) {
    if (line.substr(at + 1).starts_with(element) && is_name_end(line, at + 1 + element.size())) {
      return true;
    }
  }
  return false;
}

// The name, at the line's begin or behind a blank, and an equals sign that may stand off.
bool gives_attribute(std::string_view line, std::string_view name) {
  for (size_t at = line.find(name); at != std::string_view::npos; at = line.find(name, at + 1)) {
    if (at != 0 && !is_blank(static_cast<unsigned char>(line[at - 1]))) continue;
    if (trim_blanks(line.substr(at + name.size())).starts_with('=')) return true;
  }
  return false;
}

}  // namespace

tag_lines load_tag_lines(const std::string& path) {
  tag_lines lines;
  if (!read_whole_file(path, MAX_FILE_BYTES, lines.bytes)) return lines;
  lines.begins.push_back(0);
  for (size_t i = 0; i < lines.bytes.size(); ++i) {
    if (lines.bytes[i] == '\n') lines.begins.push_back(i + 1);
  }
  return lines;
}

size_t find_line_tag_lines(const tag_lines& lines, size_t tag_end, std::string_view element,
                           std::string_view attribute) {
  if (tag_end > lines.begins.size()) return tag_end;
  for (size_t line = tag_end; line > 0 && line + MAX_TAG_LINES > tag_end; --line) {
    const std::string_view text = get_line(lines, line);
    if (!attribute.empty() && gives_attribute(text, attribute)) return line;
    if (begins_element(text, element)) return line;
  }
  return tag_end;
}

}  // namespace wk
