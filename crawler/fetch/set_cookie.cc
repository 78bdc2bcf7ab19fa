#include "crawler/fetch/set_cookie.h"

#include "wkstd/text.h"

namespace wk {
namespace {

struct attribute_slot {
  std::string_view name;
  std::optional<std::string_view> set_cookie::*value;
};

constexpr attribute_slot ATTRIBUTE_SLOTS[] = {
    {"path", &set_cookie::path},
    {"domain", &set_cookie::domain},
    {"expires", &set_cookie::expires},
    {"max-age", &set_cookie::max_age},
};

// Cuts the text up to the next ";" off rest, and the ";" with it.
std::string_view take_part(std::string_view& rest) {
  const size_t end = rest.find(';');
  const std::string_view part = rest.substr(0, end);
  rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
  return part;
}

void put_attribute(set_cookie& cookie, std::string_view attribute) {
  while (!attribute.empty() && is_blank(static_cast<unsigned char>(attribute.front()))) {
    attribute.remove_prefix(1);
  }
  const size_t equals = attribute.find('=');
  if (equals == std::string_view::npos) return;
  for (const attribute_slot& slot : ATTRIBUTE_SLOTS) {
    if (!starts_with_ignoring_case(attribute.substr(0, equals), slot.name)) continue;
    cookie.*slot.value = attribute.substr(equals + 1);
    return;
  }
}

}  // namespace

bool parse_set_cookie(set_cookie& cookie, std::string_view text) {
  const size_t equals = text.find('=');
  if (equals == std::string_view::npos) return false;
  cookie = set_cookie();
  cookie.name = text.substr(0, equals);
  std::string_view rest = text.substr(equals + 1);
  cookie.value = take_part(rest);
  while (!rest.empty()) put_attribute(cookie, take_part(rest));
  return true;
}

}  // namespace wk
