#include "crawler/config/xml_form.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <span>
#include <vector>

#include "crawler/config/config_walk.h"
#include "wkstd/text.h"
#include "wkstd/utf8.h"

namespace wk {
namespace {

constexpr size_t MAX_DEPTH = 257;
constexpr size_t MAX_NAME_BYTES = 50'000;
constexpr size_t MAX_TEXT_BYTES = 10'000'000;
constexpr size_t MAX_QUOTED_BYTES = 100;

// A walk through the text. Each scan_ function takes what it is called after from the front; false
// means that the fault is set and the walk at an end.
struct xml_scan {
  std::string_view text;
  size_t at = 0;
  std::vector<std::string_view> entities;  // declared ones, sorted once the document type is read
  std::vector<std::string_view> open;      // names of the elements around this place
  std::string fault;
};

bool fail(xml_scan& scan, std::string fault) {
  scan.fault = std::move(fault);
  return false;
}

std::string quote(std::string_view name) {
  return "\"" + std::string(name.substr(0, MAX_QUOTED_BYTES)) + "\"";
}

std::string_view get_rest(const xml_scan& scan) { return scan.text.substr(scan.at); }

bool take(xml_scan& scan, std::string_view part) {
  if (!get_rest(scan).starts_with(part)) return false;
  scan.at += part.size();
  return true;
}

bool skip_blanks(xml_scan& scan) {
  const size_t begin = scan.at;
  while (scan.at < scan.text.size() && is_blank(static_cast<unsigned char>(scan.text[scan.at]))) {
    ++scan.at;
  }
  return scan.at != begin;
}

// Takes all up to end and end itself; inside is what stood before it.
bool take_until(xml_scan& scan, std::string_view end, std::string_view& inside) {
  const size_t found = scan.text.find(end, scan.at);
  if (found == std::string_view::npos || found - scan.at > MAX_TEXT_BYTES) return false;
  inside = scan.text.substr(scan.at, found - scan.at);
  scan.at = found + end.size();
  return true;
}

bool holds_only(std::string_view text, bool (*is_wanted)(unsigned char c)) {
  return std::all_of(text.begin(), text.end(),
                     [is_wanted](char c) { return is_wanted(static_cast<unsigned char>(c)); });
}

bool is_encoding_character(unsigned char c) {
  return is_letter(c) || is_digit(c) || c == '.' || c == '_' || c == '-';
}

bool is_public_character(unsigned char c) {
  return is_letter(c) || is_digit(c) || (c != '\t' && is_blank(c)) ||
         std::string_view("-'()+,./:=?;!*#@$_%").find(static_cast<char>(c)) !=
             std::string_view::npos;
}

bool is_character(uint32_t code) {
  return code == '\t' || code == '\n' || code == '\r' || (code >= 0x20 && code <= 0xD7FF) ||
         (code >= 0xE000 && code <= 0xFFFD) || (code >= 0x10000 && code <= 0x10FFFF);
}

bool scan_characters(xml_scan& scan) {
  while (scan.at < scan.text.size()) {
    uint32_t code = 0;
    const size_t length = decode_utf8(get_rest(scan), code);
    if (length == 0) return fail(scan, "bytes that are no UTF-8");
    if (!is_character(code)) return fail(scan, "a character that XML does not allow");
    scan.at += length;
  }
  scan.at = 0;
  return true;
}

struct code_range {
  uint32_t first, last;
};
constexpr code_range NAME_STARTS[] = {
    {':', ':'},       {'A', 'Z'},       {'_', '_'},       {'a', 'z'},
    {0xC0, 0xD6},     {0xD8, 0xF6},     {0xF8, 0x2FF},    {0x370, 0x37D},
    {0x37F, 0x1FFF},  {0x200C, 0x200D}, {0x2070, 0x218F}, {0x2C00, 0x2FEF},
    {0x3001, 0xD7FF}, {0xF900, 0xFDCF}, {0xFDF0, 0xFFFD}, {0x10000, 0xEFFFF},
};
constexpr code_range NAME_INSIDES[] = {
    {'-', '.'}, {'0', '9'}, {0xB7, 0xB7}, {0x300, 0x36F}, {0x203F, 0x2040},
};

bool is_within(uint32_t code, std::span<const code_range> ranges) {
  return std::any_of(ranges.begin(), ranges.end(), [code](const code_range& range) {
    return code >= range.first && code <= range.last;
  });
}

// Empty when no name stands here, or one that is too long.
std::string_view take_name(xml_scan& scan) {
  const size_t begin = scan.at;
  uint32_t code = 0;
  for (;;) {
    const size_t length = decode_utf8(get_rest(scan), code);
    const bool goes_on =
        is_within(code, NAME_STARTS) || (scan.at != begin && is_within(code, NAME_INSIDES));
    if (length == 0 || !goes_on) break;
    scan.at += length;
  }
  if (scan.at - begin > MAX_NAME_BYTES) return {};
  return scan.text.substr(begin, scan.at - begin);
}

bool scan_character_reference(xml_scan& scan) {
  const bool is_hex = take(scan, "x");
  uint32_t code = 0;
  const size_t begin = scan.at;
  for (; scan.at < scan.text.size(); ++scan.at) {
    const char c = to_lower(scan.text[scan.at]);
    const bool is_letter_digit = is_hex && c >= 'a' && c <= 'f';
    if (!is_digit(static_cast<unsigned char>(c)) && !is_letter_digit) break;
    const auto digit = static_cast<uint32_t>(is_letter_digit ? c - 'a' + 10 : c - '0');
    code = std::min(code * (is_hex ? 16 : 10) + digit, 0x110000U);
  }
  if (scan.at == begin || !is_character(code) || !take(scan, ";")) {
    return fail(scan, "a reference to no character");
  }
  return true;
}

// Behind the "&"; the name of an entity or, for a reference to a character, an empty one.
bool scan_reference(xml_scan& scan, std::string_view& name) {
  name = {};
  if (take(scan, "#")) return scan_character_reference(scan);
  name = take_name(scan);
  if (!name.empty() && take(scan, ";")) return true;
  return fail(scan, "a \"&\" that begins no reference; it is written \"&amp;\"");
}

// The same where the entity's text is to be read.
bool scan_used_reference(xml_scan& scan) {
  constexpr std::string_view PREDEFINED[] = {"amp", "lt", "gt", "quot", "apos"};
  std::string_view name;
  if (!scan_reference(scan, name)) return false;
  if (name.empty() ||
      std::find(std::begin(PREDEFINED), std::end(PREDEFINED), name) != std::end(PREDEFINED)) {
    return true;
  }
  const bool is_declared = std::binary_search(scan.entities.begin(), scan.entities.end(), name);
  return fail(scan, "the entity " + quote(name) +
                        (is_declared ? " is used; only the libxml2 reader expands it"
                                     : " is not declared"));
}

// A quoted value: of an attribute, or of an entity, which is only looked at and not used.
bool scan_value(xml_scan& scan, bool is_entity) {
  if (scan.at == scan.text.size()) return fail(scan, "the text ends where a value is to stand");
  const char mark = scan.text[scan.at];
  if (mark != '"' && mark != '\'') return fail(scan, "a value without quotation marks");
  const size_t begin = ++scan.at;
  const std::string stops = {mark, '&', is_entity ? '%' : '<'};
  for (;;) {
    scan.at = std::min(scan.text.find_first_of(stops, scan.at), scan.text.size());
    if (scan.at == scan.text.size()) return fail(scan, "a value without its end");
    if (scan.at - begin > MAX_TEXT_BYTES) return fail(scan, "a value that is too long");
    const char stop = scan.text[scan.at];
    if (stop != mark && stop != '&') {
      return fail(scan, std::string("a \"") + stop + "\" inside a value");
    }
    ++scan.at;
    if (stop == mark) return true;
    std::string_view name;
    if (is_entity ? !scan_reference(scan, name) : !scan_used_reference(scan)) return false;
  }
}

bool scan_comment(xml_scan& scan) {
  std::string_view inside;
  if (!take_until(scan, "--", inside)) return fail(scan, "a comment without its end");
  return take(scan, ">") ? true : fail(scan, "\"--\" inside a comment");
}

bool scan_instruction(xml_scan& scan) {
  const std::string_view name = take_name(scan);
  if (name.empty()) return fail(scan, "a processing instruction without a name");
  if (equals_ignoring_case(name, "xml")) return fail(scan, "an XML declaration behind the begin");
  if (take(scan, "?>")) return true;
  std::string_view inside;
  if (!skip_blanks(scan)) return fail(scan, "a processing instruction without a name");
  return take_until(scan, "?>", inside) ? true
                                        : fail(scan, "a processing instruction without its end");
}

// Blanks, comments and processing instructions.
bool scan_miscellaneous(xml_scan& scan) {
  for (;;) {
    skip_blanks(scan);
    if (take(scan, "<!--")) {
      if (!scan_comment(scan)) return false;
    } else if (take(scan, "<?")) {
      if (!scan_instruction(scan)) return false;
    } else {
      return true;
    }
  }
}

// A pseudo attribute of the XML declaration, its blanks taken; value is empty when it is not there.
bool scan_declared(xml_scan& scan, std::string_view name, std::string_view& value) {
  const size_t begin = scan.at;
  value = {};
  if (!skip_blanks(scan) || !take(scan, name)) {
    scan.at = begin;
    return true;
  }
  skip_blanks(scan);
  if (take(scan, "=")) {
    skip_blanks(scan);
    for (const std::string_view mark : {"\"", "'"}) {
      if (take(scan, mark)) (void)take_until(scan, mark, value);
    }
  }
  return value.empty() ? fail(scan, "an XML declaration with a fault") : true;
}

bool scan_xml_declaration(xml_scan& scan) {
  const std::string_view rest = get_rest(scan);
  if (!rest.starts_with("<?xml") || rest.size() < 6 ||
      !is_blank(static_cast<unsigned char>(rest[5]))) {
    return true;
  }
  scan.at += 5;
  std::string_view version, encoding, standalone;
  if (!scan_declared(scan, "version", version) || !scan_declared(scan, "encoding", encoding) ||
      !scan_declared(scan, "standalone", standalone)) {
    return false;
  }
  skip_blanks(scan);
  const bool is_version = version.starts_with("1.") && holds_only(version.substr(2), is_digit);
  const bool is_encoding =
      encoding.empty() || (is_letter(static_cast<unsigned char>(encoding[0])) &&
                           holds_only(encoding, is_encoding_character));
  const bool is_standalone = standalone.empty() || standalone == "yes" || standalone == "no";
  return is_version && is_encoding && is_standalone && take(scan, "?>")
             ? true
             : fail(scan, "an XML declaration with a fault");
}

// Behind "<!ENTITY".
bool scan_entity(xml_scan& scan) {
  if (!skip_blanks(scan)) return fail(scan, "a declaration with a fault");
  const std::string_view name = take_name(scan);
  if (name.empty() || !skip_blanks(scan) || scan.at == scan.text.size() ||
      (scan.text[scan.at] != '"' && scan.text[scan.at] != '\'')) {
    return fail(scan, std::string(NO_DECLARATIONS));  // of a parameter or of an external entity
  }
  if (!scan_value(scan, true)) return false;
  skip_blanks(scan);
  scan.entities.push_back(name);
  return take(scan, ">") ? true : fail(scan, "a declaration with a fault");
}

// Behind the "[".
bool scan_declarations(xml_scan& scan) {
  for (;;) {
    if (!scan_miscellaneous(scan)) return false;
    if (take(scan, "]")) break;
    if (!take(scan, "<!ENTITY")) return fail(scan, std::string(NO_DECLARATIONS));
    if (!scan_entity(scan)) return false;
  }
  std::sort(scan.entities.begin(), scan.entities.end());
  return true;
}

bool scan_quoted(xml_scan& scan, std::string_view& inside) {
  for (const std::string_view mark : {"\"", "'"}) {
    if (take(scan, mark)) return take_until(scan, mark, inside);
  }
  return false;
}

bool scan_public_name(xml_scan& scan) {
  std::string_view inside;
  if (!skip_blanks(scan) || !scan_quoted(scan, inside)) return false;
  return holds_only(inside, is_public_character);
}

// The DTD that a document type names: SYSTEM "a", PUBLIC "a" "b", or none.
bool scan_external_name(xml_scan& scan) {
  const bool is_public = take(scan, "PUBLIC");
  if (!is_public && !take(scan, "SYSTEM")) return true;
  std::string_view inside;
  return (!is_public || scan_public_name(scan)) && skip_blanks(scan) && scan_quoted(scan, inside);
}

// Behind "<!DOCTYPE".
bool scan_document_type(xml_scan& scan) {
  skip_blanks(scan);
  const bool is_named = !take_name(scan).empty();
  skip_blanks(scan);
  if (!is_named || !scan_external_name(scan)) return fail(scan, "a document type with a fault");
  skip_blanks(scan);
  // libxml2 takes the brackets behind the end too.
  const bool has_declarations = take(scan, "[") || take(scan, ">[");
  if (has_declarations && !scan_declarations(scan)) return false;
  skip_blanks(scan);
  return take(scan, ">") ? true : fail(scan, "a document type with a fault");
}

bool has_doubles(std::vector<std::string_view>& names) {
  std::sort(names.begin(), names.end());
  return std::adjacent_find(names.begin(), names.end()) != names.end();
}

// Behind the "<".
bool scan_start_tag(xml_scan& scan) {
  const std::string_view element = take_name(scan);
  if (element.empty()) return fail(scan, "a \"<\" that begins nothing");
  if (scan.open.size() == MAX_DEPTH) return fail(scan, "elements too deep inside each other");
  std::vector<std::string_view> names;
  for (;;) {
    const bool is_separate = skip_blanks(scan);
    const bool is_end = take(scan, "/>");
    if (is_end || take(scan, ">")) {
      if (!is_end) scan.open.push_back(element);
      return has_doubles(names) ? fail(scan, "an attribute given twice") : true;
    }
    const std::string_view name = take_name(scan);
    if (name.empty() || !is_separate) return fail(scan, "a tag with a fault");
    names.push_back(name);
    skip_blanks(scan);
    if (!take(scan, "=")) return fail(scan, "an attribute without a value");
    skip_blanks(scan);
    if (!scan_value(scan, false)) return false;
  }
}

// Behind the "</"; there is an open element.
bool scan_end_tag(xml_scan& scan) {
  const bool is_same = take_name(scan) == scan.open.back();
  skip_blanks(scan);
  if (!is_same || !take(scan, ">")) {
    return fail(scan, "an end tag that is not that of " + quote(scan.open.back()));
  }
  scan.open.pop_back();
  return true;
}

// Text and references, up to the next "<".
bool scan_text(xml_scan& scan) {
  const size_t end = std::min(scan.text.find('<', scan.at), scan.text.size());
  const std::string_view before = scan.text.substr(0, end);
  const size_t misplaced = before.find("]]>", scan.at);
  if (end - scan.at > MAX_TEXT_BYTES) return fail(scan, "a text that is too long");
  for (;;) {
    const size_t next = std::min({before.find('&', scan.at), misplaced, end});
    scan.at = next;
    if (next == end) return true;
    if (next == misplaced) return fail(scan, "\"]]>\" inside a text");
    ++scan.at;
    if (!scan_used_reference(scan)) return false;
  }
}

// What stands inside of the root element, and its end.
bool scan_content(xml_scan& scan) {
  while (!scan.open.empty()) {
    std::string_view inside;
    bool is_sound = scan_text(scan);
    if (!is_sound) return false;
    if (scan.at == scan.text.size()) {
      return fail(scan, "the text ends inside " + quote(scan.open.back()));
    }
    if (take(scan, "<!--")) {
      is_sound = scan_comment(scan);
    } else if (take(scan, "<![CDATA[")) {
      is_sound = take_until(scan, "]]>", inside) || fail(scan, "a CDATA section without its end");
    } else if (take(scan, "<?")) {
      is_sound = scan_instruction(scan);
    } else if (take(scan, "</")) {
      is_sound = scan_end_tag(scan);
    } else {
      ++scan.at;
      is_sound = scan_start_tag(scan);
    }
    if (!is_sound) return false;
  }
  return true;
}

bool scan_document(xml_scan& scan) {
  if (!scan_characters(scan) || !scan_xml_declaration(scan) || !scan_miscellaneous(scan)) {
    return false;
  }
  if (take(scan, "<!DOCTYPE") && (!scan_document_type(scan) || !scan_miscellaneous(scan))) {
    return false;
  }
  if (!take(scan, "<")) return fail(scan, "no element where the first one is to stand");
  if (!scan_start_tag(scan) || !scan_content(scan) || !scan_miscellaneous(scan)) return false;
  return scan.at == scan.text.size() ? true : fail(scan, "more behind the last element");
}

}  // namespace

bool check_xml_form(std::string_view text, xml_form_fault& fault) {
  xml_scan scan{.text = text, .at = 0, .entities = {}, .open = {}, .fault = {}};
  if (scan_document(scan)) return true;
  const auto end = text.begin() + static_cast<ptrdiff_t>(scan.at);
  fault.line = 1 + static_cast<size_t>(std::count(text.begin(), end, '\n'));
  fault.text = std::move(scan.fault);
  return false;
}

}  // namespace wk
