// Finding the character set that a document names: the Content-Type parameter, then meta tags, as
// the HTML standard's prescan of a byte stream reads them.
#include "crawler/content/content_class.h"
#include "wkstd/text.h"

namespace wk {
namespace {

constexpr size_t MAX_HEAD_BYTES = 1'024;  // how far a page's meta tags are looked for

bool is_separator(char c) { return is_blank(static_cast<unsigned char>(c)) || c == '\f'; }

size_t skip_separators(std::string_view text, size_t at) {
  while (at < text.size() && is_separator(text[at])) ++at;
  return at;
}

// The value of the first "charset =" in text, a Content-Type; empty without one. A quote that is
// not closed gives none.
std::string_view find_charset_parameter(std::string_view text) {
  constexpr std::string_view NAME = "charset";
  for (size_t found = find_ignoring_case(text, NAME); found != std::string_view::npos;
       found = find_ignoring_case(text, NAME, found + NAME.size())) {
    size_t at = skip_separators(text, found + NAME.size());
    if (at == text.size() || text[at] != '=') continue;
    at = skip_separators(text, at + 1);
    if (at == text.size()) return {};
    if (text[at] == '"' || text[at] == '\'') {
      const size_t end = text.find(text[at], at + 1);
      if (end == std::string_view::npos) return {};
      return trim_blanks(text.substr(at + 1, end - at - 1));
    }
    return text.substr(at, text.find_first_of("; \t\r\n\f,", at) - at);
  }
  return {};
}

struct tag_attribute {
  std::string_view name;
  std::string_view value;
};

// Takes the next attribute of a tag off text[at]. False at the tag's ">" or the end of the text.
bool take_attribute(std::string_view text, size_t& at, tag_attribute& attribute) {
  while (at < text.size() && (is_separator(text[at]) || text[at] == '/')) ++at;
  if (at == text.size() || text[at] == '>') return false;

  const size_t name = at++;  // a name is at least one byte, "=" too
  while (at < text.size() && !is_separator(text[at]) && text[at] != '/' && text[at] != '>' &&
         text[at] != '=') {
    ++at;
  }
  attribute = {.name = text.substr(name, at - name), .value = {}};

  const size_t sign = skip_separators(text, at);
  if (sign == text.size() || text[sign] != '=') return true;
  at = skip_separators(text, sign + 1);
  if (at == text.size()) return false;
  if (text[at] == '"' || text[at] == '\'') {
    const size_t end = text.find(text[at], at + 1);
    if (end == std::string_view::npos) return false;
    attribute.value = text.substr(at + 1, end - at - 1);
    at = end + 1;
    return true;
  }
  const size_t value = at;
  while (at < text.size() && !is_separator(text[at]) && text[at] != '>') ++at;
  attribute.value = text.substr(value, at - value);
  return true;
}

// text[at] is behind the name of a meta tag. A charset attribute counts, and the charset of a
// content attribute where http-equiv says that it is a Content-Type.
std::string_view read_meta_charset(std::string_view text, size_t& at) {
  std::string_view charset;
  std::string_view content;
  bool is_content_type = false;
  for (tag_attribute attribute; take_attribute(text, at, attribute);) {
    if (equals_ignoring_case(attribute.name, "charset")) {
      if (charset.empty()) charset = trim_blanks(attribute.value);
    } else if (equals_ignoring_case(attribute.name, "content")) {
      if (content.empty()) content = attribute.value;
    } else if (equals_ignoring_case(attribute.name, "http-equiv")) {
      is_content_type |= equals_ignoring_case(trim_blanks(attribute.value), "content-type");
    }
  }
  if (!charset.empty()) return charset;
  return is_content_type ? find_charset_parameter(content) : std::string_view{};
}

std::string_view find_meta_charset(std::string_view head) {
  size_t at = head.find('<');
  while (at < head.size()) {
    const std::string_view rest = head.substr(at);
    if (rest.starts_with("<!--")) {
      const size_t end = head.find("-->", at + 2);
      at = end == std::string_view::npos ? head.size() : end + 3;
    } else if (starts_with_ignoring_case(rest, "<meta") && rest.size() > 5 &&
               (is_separator(rest[5]) || rest[5] == '/')) {
      at += 5;
      const std::string_view charset = read_meta_charset(head, at);
      if (!charset.empty()) return charset;
    } else {
      ++at;
    }
    at = head.find('<', at);
  }
  return {};
}

}  // namespace

std::string_view find_character_set(std::string_view content_type, std::string_view body) {
  const std::string_view named = find_charset_parameter(content_type);
  return named.empty() ? find_meta_charset(body.substr(0, MAX_HEAD_BYTES)) : named;
}

}  // namespace wk
