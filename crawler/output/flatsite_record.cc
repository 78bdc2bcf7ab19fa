#include "crawler/output/flatsite_record.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <limits>

namespace wk {
namespace {

constexpr std::string_view DOCUMENT_START = "FLATSITE_START\n";
constexpr std::string_view DOCUMENT_ENDING = "\nFLATSITE_END\n";
constexpr std::string_view HEADERS_START = "WKVER: 1.0\n";
constexpr std::string_view HEADERS_ENDING = "\n\n";

// The lines of a head, one after the other.
struct head_lines {
  std::string_view bytes;
  size_t next = 0;
};

bool take_line(head_lines& lines, std::string_view& line) {
  const size_t end = lines.bytes.find('\n', lines.next);
  if (end == std::string_view::npos) return false;
  line = lines.bytes.substr(lines.next, end - lines.next);
  lines.next = end + 1;
  return true;
}

// A decimal number and nothing else, as long as the writer's own are at most.
bool parse_length(std::string_view text, uint64_t& length) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), length);
  return error == std::errc() && end == text.data() + text.size() &&
         length <= std::numeric_limits<int32_t>::max();
}

flatsite_head_answer refuse(flatsite_head& head, const char* fault) {
  head.fault = fault;
  return FLATSITE_HEAD_FOREIGN;
}

flatsite_head_answer finish_head(const head_lines& lines, std::string_view length,
                                 flatsite_head& head) {
  if (!parse_length(length, head.content_length)) return refuse(head, "a length that is no number");
  head.length = lines.next;
  return FLATSITE_HEAD_WHOLE;
}

struct head_line {
  std::string_view key;
  std::string_view flatsite_head::*value;
};
constexpr head_line DOCUMENT_LINES[] = {
    {"DB_DOC_URL=", &flatsite_head::url},
    {"DB_DOC_DATE=", &flatsite_head::document_date},
    {"WK_CRAWLER_DATE=", &flatsite_head::crawl_date},
    {"DB_DOC_TITLE=", &flatsite_head::title},
    {"DB_DOC_TYPE=", &flatsite_head::type_name},
};

flatsite_head_answer parse_document(head_lines& lines, flatsite_head& head) {
  constexpr std::string_view LENGTH = "DB_DOC_LEN=";
  head.kind = FLATSITE_DOCUMENT;
  std::string_view line;
  while (take_line(lines, line)) {
    if (line.starts_with(LENGTH)) return finish_head(lines, line.substr(LENGTH.size()), head);
    const auto* known = std::find_if(
        std::begin(DOCUMENT_LINES), std::end(DOCUMENT_LINES),
        [line](const head_line& known_line) { return line.starts_with(known_line.key); });
    if (known == std::end(DOCUMENT_LINES)) return refuse(head, "a line that is none of a record's");
    head.*known->value = line.substr(known->key.size());
  }
  return FLATSITE_HEAD_SHORT;
}

// Takes a line that begins with key.
flatsite_head_answer take_value(head_lines& lines, std::string_view key, std::string_view& value) {
  std::string_view line;
  if (!take_line(lines, line)) return FLATSITE_HEAD_SHORT;
  if (!line.starts_with(key)) return FLATSITE_HEAD_FOREIGN;
  value = line.substr(key.size());
  return FLATSITE_HEAD_WHOLE;
}

// Passes over header lines up to and with the empty line behind them.
bool pass_header_lines(head_lines& lines) {
  std::string_view line;
  do {
    if (!take_line(lines, line)) return false;
  } while (!line.empty());
  return true;
}

flatsite_head_answer parse_headers(head_lines& lines, flatsite_head& head) {
  constexpr const char* OUT_OF_ORDER = "a header record whose lines are out of order";
  head.kind = FLATSITE_HEADERS;
  std::string_view rest;
  std::string_view length;
  flatsite_head_answer taken = take_value(lines, "WKURL: ", head.url);
  if (taken == FLATSITE_HEAD_WHOLE) taken = take_value(lines, "WKDATE: ", head.crawl_date);
  if (taken == FLATSITE_HEAD_WHOLE) taken = take_value(lines, "", rest);
  if (taken == FLATSITE_HEAD_FOREIGN || !rest.empty()) return refuse(head, OUT_OF_ORDER);
  if (taken == FLATSITE_HEAD_SHORT) return taken;
  if (!pass_header_lines(lines) || !pass_header_lines(lines)) return FLATSITE_HEAD_SHORT;
  taken = take_value(lines, "WKLEN: ", length);
  if (taken == FLATSITE_HEAD_WHOLE) taken = take_value(lines, "", rest);
  if (taken == FLATSITE_HEAD_FOREIGN || !rest.empty()) return refuse(head, OUT_OF_ORDER);
  return taken == FLATSITE_HEAD_SHORT ? taken : finish_head(lines, length, head);
}

}  // namespace

flatsite_head_answer parse_flatsite_head(std::string_view bytes, flatsite_head& head) {
  head = {};
  head_lines lines{.bytes = bytes};
  for (const std::string_view start : {DOCUMENT_START, HEADERS_START}) {
    if (start.starts_with(bytes)) return FLATSITE_HEAD_SHORT;
    if (!bytes.starts_with(start)) continue;
    lines.next = start.size();
    return start == DOCUMENT_START ? parse_document(lines, head) : parse_headers(lines, head);
  }
  return refuse(head, "no record begins here");
}

std::string_view get_ending_flatsite(flatsite_kind kind) {
  return kind == FLATSITE_DOCUMENT ? DOCUMENT_ENDING : HEADERS_ENDING;
}

}  // namespace wk
