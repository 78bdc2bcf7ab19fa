#include "crawler/config/xml_encoding.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

#include "wkstd/text.h"
#include "wkstd/utf8.h"

namespace wk {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view UTF8_MARK = "\xEF\xBB\xBF";

// The encoding that the declaration at the text's begin names; empty: none.
std::string_view find_declared_encoding(std::string_view text) {
  if (!text.starts_with("<?xml") || text.size() == 5 ||
      !is_blank(static_cast<unsigned char>(text[5]))) {
    return {};
  }
  const std::string_view declaration = text.substr(0, text.find("?>"));
  size_t at = declaration.find("encoding");
  if (at == std::string_view::npos) return {};
  at = declaration.find_first_of("'\"", at);
  if (at == std::string_view::npos) return {};
  const std::string_view rest = declaration.substr(at + 1);
  return rest.substr(0, rest.find(declaration[at]));
}

bool is_one_of(std::string_view name, std::span<const std::string_view> names) {
  return std::any_of(names.begin(), names.end(),
                     [name](std::string_view known) { return equals_ignoring_case(name, known); });
}

constexpr std::array UTF8_NAMES = {"utf-8"sv, "utf8"sv};
constexpr std::array ASCII_NAMES = {"us-ascii"sv, "ascii"sv};
constexpr std::array LATIN1_NAMES = {"iso-8859-1"sv, "latin1"sv};
constexpr std::array UTF16_NAMES = {"utf-16"sv, "utf-16le"sv, "utf-16be"sv};

enum byte_order : uint32_t { LOW_FIRST = 0, HIGH_FIRST = 1 };

// The order of the bytes of UTF-16, which begins with its mark or with "<?".
std::optional<byte_order> find_byte_order(std::string_view bytes) {
  if (bytes.starts_with("\xFF\xFE"sv) || bytes.starts_with("<\0?\0"sv)) return LOW_FIRST;
  if (bytes.starts_with("\xFE\xFF"sv) || bytes.starts_with("\0<\0?"sv)) return HIGH_FIRST;
  return std::nullopt;
}

bool convert_utf16(std::string_view bytes, byte_order order, std::string& text) {
  if (bytes.size() % 2 != 0) return false;
  uint32_t high = 0;  // the first half of a pair; 0: none
  for (size_t i = 0; i < bytes.size(); i += 2) {
    const uint32_t first = static_cast<uint8_t>(bytes[i]);
    const uint32_t second = static_cast<uint8_t>(bytes[i + 1]);
    const uint32_t unit = order == LOW_FIRST ? second << 8 | first : first << 8 | second;
    const bool is_high = unit >= 0xD800 && unit < 0xDC00, is_low = unit >= 0xDC00 && unit < 0xE000;
    if (is_low != (high != 0)) return false;
    if (is_low) {
      append_utf8(text, 0x10000 + ((high - 0xD800) << 10) + (unit - 0xDC00));
    } else if (!is_high && (i != 0 || unit != 0xFEFF)) {
      append_utf8(text, unit);
    }
    high = is_high ? unit : 0;
  }
  return high == 0;
}

bool is_ascii(std::string_view bytes) {
  return std::all_of(bytes.begin(), bytes.end(),
                     [](char c) { return static_cast<uint8_t>(c) < 0x80; });
}

std::string convert_latin1(std::string_view bytes) {
  std::string text;
  for (const char c : bytes) append_utf8(text, static_cast<uint8_t>(c));
  return text;
}

// Of a file whose characters of ASCII are bytes.
bool convert_byte_text(std::string& bytes, std::string& fault) {
  const bool has_mark = bytes.starts_with(UTF8_MARK);
  const std::string name(
      find_declared_encoding(std::string_view(bytes).substr(has_mark ? UTF8_MARK.size() : 0)));
  if (name.empty() || is_one_of(name, UTF8_NAMES)) {
    if (has_mark) bytes.erase(0, UTF8_MARK.size());
    return true;
  }
  if (!has_mark && is_one_of(name, LATIN1_NAMES)) {
    bytes = convert_latin1(bytes);
    return true;
  }
  if (is_one_of(name, ASCII_NAMES) && is_ascii(bytes)) return true;
  const bool is_known =
      is_one_of(name, LATIN1_NAMES) || is_one_of(name, ASCII_NAMES) || is_one_of(name, UTF16_NAMES);
  fault = is_known ? "the file is not in its encoding, " + name : "unknown encoding " + name;
  return false;
}

}  // namespace

bool convert_xml_to_utf8(std::string& bytes, std::string& fault) {
  const std::optional<byte_order> order = find_byte_order(bytes);
  if (!order.has_value()) return convert_byte_text(bytes, fault);
  std::string text;
  if (!convert_utf16(bytes, *order, text)) {
    fault = "the file is not in its encoding, UTF-16";
    return false;
  }
  const std::string_view name = find_declared_encoding(text);
  if (!name.empty() && !is_one_of(name, UTF16_NAMES) && !is_one_of(name, UTF8_NAMES)) {
    fault = "the file is in UTF-16 and says otherwise";
    return false;
  }
  bytes = std::move(text);
  return true;
}

}  // namespace wk
