#include "crawler/content/attribute_value.h"

#include "wkstd/byte_block.h"
#include "wkstd/text.h"

namespace wk {
namespace {

bool is_blank_at(std::string_view text, size_t at) {
  return is_blank(static_cast<unsigned char>(text[at]));
}

size_t find_unquoted_end(std::string_view text, size_t from) {
  size_t at = from;
  while (at < text.size() && text[at] != '>' && !is_blank_at(text, at)) ++at;
  return at;
}

}  // namespace

bool read_attribute_value(std::string_view text, size_t& at, std::string_view& value) {
  // Only blanks and "=" are skipped here: a line break before the value makes it an unquoted one.
  while (at < text.size() && (text[at] == ' ' || text[at] == '=')) ++at;
  const bool quoted = at < text.size() && (text[at] == '"' || text[at] == '\'');
  const char quote = quoted ? text[at++] : '>';
  while (at < text.size() && is_blank_at(text, at)) ++at;

  const size_t begin = at;
  at = quoted ? find_byte(text, begin, quote) : find_unquoted_end(text, begin);
  if (at == text.size() || at == begin) return false;
  value = trim_blanks(text.substr(begin, at - begin));
  ++at;
  return true;
}

}  // namespace wk
