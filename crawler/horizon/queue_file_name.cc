#include "crawler/horizon/queue_file_name.h"

#include "wkstd/text.h"

namespace wk {
namespace {

constexpr std::string_view PREFIX = "nfrontier";

// Cuts the text up to the next dot, and the dot, off the front of rest.
bool take_component(std::string_view& rest, std::string_view& component) {
  const size_t dot = rest.find('.');
  if (dot == std::string_view::npos) return false;
  component = rest.substr(0, dot);
  rest.remove_prefix(dot + 1);
  return true;
}

bool parse_number(std::string_view text, uint32_t& number) {
  constexpr size_t MAX_DIGITS = 10;
  if (text.empty() || text.size() > MAX_DIGITS || (text.size() > 1 && text[0] == '0')) return false;
  uint64_t value = 0;
  for (const char c : text) {
    if (!is_digit(static_cast<unsigned char>(c))) return false;
    value = value * 10 + static_cast<uint64_t>(c - '0');
  }
  if (value > MAX_QUEUE_FILE_NUMBER) return false;
  number = static_cast<uint32_t>(value);
  return true;
}

}  // namespace

queue_file_name parse_queue_file_name(std::string_view name) {
  if (!name.starts_with(PREFIX)) return {};
  const queue_file_name foreign{.kind = QUEUE_FILE_FOREIGN};
  std::string_view rest = name.substr(PREFIX.size());
  std::string_view before, queue, part;
  if (!take_component(rest, before) || !take_component(rest, queue) || !take_component(rest, part))
    return foreign;

  queue_file_name parsed;
  if (!before.empty() || rest != "txt" || !parse_number(queue, parsed.queue)) return foreign;
  if (part == "head") {
    parsed.kind = QUEUE_FILE_HEAD;
  } else if (part == "tail") {
    parsed.kind = QUEUE_FILE_TAIL;
  } else if (parse_number(part, parsed.number)) {
    parsed.kind = QUEUE_FILE_SPILL;
  } else {
    return foreign;
  }
  return parsed;
}

std::string build_queue_path_prefix(const std::string& directory, uint32_t queue) {
  return format_text("%s/nfrontier.%u.", directory.c_str(), queue);
}

}  // namespace wk
