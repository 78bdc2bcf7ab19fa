#include "crawler/content/plain_feed.h"

#include <algorithm>

#include "crawler/content/html_name.h"
#include "wkstd/byte_block.h"
#include "wkstd/text.h"

namespace wk {
namespace {

constexpr size_t MAX_REFERENCE_BYTES = 32;  // longer ones are no references

// In no other character set do the bytes of markup always stand for themselves.
constexpr std::string_view ascii_extensions[] = {"utf-8", "us-ascii", "iso-8859-", "windows-125",
                                                 "koi8-"};

bool is_name_byte(char byte) {
  const auto c = static_cast<unsigned char>(byte);
  return is_letter(c) || is_digit(c) || c == '_' || c == '-' || c == '.' || c == ':' || c >= 0x80;
}

std::string_view take_name(std::string_view text) {
  size_t size = 0;
  while (size < text.size() && is_name_byte(text[size])) ++size;
  return text.substr(0, size);
}

std::string_view choose_character_set(std::string_view feed) {
  if (!feed.starts_with("<?xml")) return "UTF-8";
  const std::string_view declaration = feed.substr(0, find_byte(feed, 0, '>'));
  constexpr std::string_view ENCODING = "encoding";
  const size_t at = declaration.find(ENCODING);
  if (at == std::string_view::npos) return "UTF-8";
  const size_t begin = declaration.find_first_not_of(" \t\r\n='\"", at + ENCODING.size());
  if (begin == std::string_view::npos) return "UTF-8";
  const std::string_view name = take_name(declaration.substr(begin));
  for (const std::string_view known : ascii_extensions) {
    if (starts_with_ignoring_case(name, known)) return name;
  }
  return "ISO-8859-1";
}

size_t find_behind(std::string_view feed, size_t from, std::string_view end) {
  const size_t at = feed.find(end, from);
  return at == std::string_view::npos ? feed.size() : at + end.size();
}

// The place of the ">" that ends a tag, quoted ones passed over, or of a "<": no tag holds one, so
// there the tag was broken off.
size_t find_tag_end(std::string_view feed, size_t at) {
  for (char quote = '\0'; at < feed.size() && feed[at] != '<'; ++at) {
    if (quote != '\0') {
      if (feed[at] == quote) quote = '\0';
    } else if (feed[at] == '"' || feed[at] == '\'') {
      quote = feed[at];
    } else if (feed[at] == '>') {
      break;
    }
  }
  return at;
}

// A document type ends at the ">" that stands outside quotes, comments and square brackets.
size_t find_behind_document_type(std::string_view feed, size_t at) {
  for (bool in_brackets = false; at < feed.size(); ++at) {
    const char byte = feed[at];
    if (byte == '"' || byte == '\'') {
      at = find_byte(feed, at + 1, byte);
    } else if (feed.substr(at, 4) == "<!--") {
      at = find_behind_html_comment(feed, at + 4) - 1;
    } else if (byte == '[' || byte == ']') {
      in_brackets = byte == '[';
    } else if (byte == '>' && !in_brackets) {
      return at + 1;
    }
  }
  return feed.size();
}

// feed[at] is the "<" of a tag with that name. The place behind the tag.
size_t write_tag(std::string& out, std::string_view feed, size_t at, std::string_view name) {
  const bool closes = feed[at + 1] == '/';
  const size_t behind_name = at + 1 + (closes ? 1 : 0) + name.size();
  const size_t end = find_tag_end(feed, behind_name);
  const size_t name_begin = out.size() + (closes ? 2 : 1);
  out.append(closes ? "</" : "<").append(name);
  std::replace(out.begin() + static_cast<ptrdiff_t>(name_begin), out.end(), ':', '_');
  if (!closes && feed.substr(behind_name, end - behind_name).ends_with('/')) out += '/';
  out += '>';
  return end < feed.size() && feed[end] == '>' ? end + 1 : end;
}

size_t write_markup(std::string& out, std::string_view feed, size_t at) {
  const std::string_view rest = feed.substr(at);
  if (rest.starts_with("<!--")) return find_behind_html_comment(feed, at + 4);
  if (rest.starts_with("<?")) return find_behind(feed, at, "?>");
  if (rest.starts_with("<![CDATA[")) {
    const size_t end = find_behind(feed, at, "]]>");
    out.append(feed.substr(at, end - at));
    return end;
  }
  if (rest.starts_with("<!")) return find_behind_document_type(feed, at + 2);
  const std::string_view name = take_name(rest.substr(rest.starts_with("</") ? 2 : 1));
  if (!name.empty()) return write_tag(out, feed, at, name);
  out.append("&lt;");
  return at + 1;
}

// feed[at] is an "&". The place behind what was read.
size_t write_reference(std::string& out, std::string_view feed, size_t at) {
  const std::string_view rest = feed.substr(at, MAX_REFERENCE_BYTES);
  const size_t begin = rest.substr(1).starts_with('#') ? 2 : 1;
  const std::string_view name = take_name(rest.substr(begin));
  const size_t end = begin + name.size();
  if (name.empty() || end >= rest.size() || rest[end] != ';') {
    out.append("&amp;");
    return at + 1;
  }
  constexpr std::string_view known[] = {"amp", "lt", "gt", "quot", "apos"};
  if (begin == 2 || std::find(std::begin(known), std::end(known), name) != std::end(known)) {
    out.append(rest.substr(0, end + 1));
  }
  return at + end + 1;
}

}  // namespace

void build_plain_feed(std::string& out, std::string_view feed) {
  constexpr std::string_view UTF_8_MARK = "\xEF\xBB\xBF";
  if (feed.starts_with(UTF_8_MARK)) feed.remove_prefix(UTF_8_MARK.size());
  while (!feed.empty() && is_blank(static_cast<unsigned char>(feed[0]))) feed.remove_prefix(1);
  out.assign("<?xml version=\"1.0\" encoding=\"");
  out.append(choose_character_set(feed)).append("\"?>");
  for (size_t at = 0; at < feed.size();) {
    const size_t end = find_either_byte(feed, at, '<', '&');
    out.append(feed.substr(at, end - at));
    if (end == feed.size()) return;
    at = feed[end] == '<' ? write_markup(out, feed, end) : write_reference(out, feed, end);
  }
}

}  // namespace wk
