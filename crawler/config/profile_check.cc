#include "crawler/config/profile_check.h"

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <span>
#include <string_view>
#include <system_error>
#include <utility>

#include "crawler/config/config_elements.h"
#include "crawler/config/libxml_document.h"
#include "crawler/config/near_name.h"
#include "crawler/config/profile_place.h"
#include "crawler/config/tag_lines.h"
#include "wkstd/directory.h"
#include "wkstd/text.h"

namespace wk {
namespace {

constexpr size_t MAX_SHOWN_BYTES = 200;
constexpr size_t MAX_DOUBTS = 100;

struct profile_inspection {
  const profile_question& question;
  tag_lines lines;
  std::vector<std::string>& doubts;
  std::string store_directory = {};  // both are emptied when a crawl starts; empty: none
  std::string temp_directory = {};
};

std::string_view get_name(const xmlNode& node) { return as_bytes(node.name); }
bool is_ours(const xmlNode& node) {
  return node.type == XML_ELEMENT_NODE && (node.ns == nullptr || node.ns->prefix == nullptr);
}

bool find_value(const xmlNode& node, const char* name, std::string& value) {
  const xml_text_ptr text(xmlGetNoNsProp(&node, as_xml(name)));
  if (text == nullptr) return false;
  value = as_bytes(text.get());
  return true;
}

// attribute is empty when the element itself is meant.
void add_doubt(profile_inspection& inspection, const xmlNode& node, std::string_view attribute,
               std::string_view text) {
  if (inspection.doubts.size() > MAX_DOUBTS) return;
  if (inspection.doubts.size() == MAX_DOUBTS) {
    inspection.doubts.push_back(inspection.question.path + ": and more");
    return;
  }
  const long tag_end = xmlGetLineNo(&node);
  const size_t line = find_line_tag_lines(
      inspection.lines, tag_end > 0 ? static_cast<size_t>(tag_end) : 0, get_name(node), attribute);
  std::string doubt = inspection.question.path;
  doubt.append(":").append(std::to_string(line)).append(": ").append(text);
  inspection.doubts.push_back(std::move(doubt));
}

// A doubt is one line, whatever the file holds.
std::string quote(std::string_view text) {
  std::string quoted = "\"";
  for (const char c : text.substr(0, MAX_SHOWN_BYTES)) {
    const bool is_control = static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
    quoted.push_back(is_control ? '?' : c);
  }
  return quoted + "\"";
}

// Digits with an optional sign, blanks around them, within 32 bits.
bool is_whole_number(std::string_view text) {
  text = trim_blanks(text);
  if (text.starts_with('+')) text.remove_prefix(1);
  int32_t number = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && stop == end;
}

std::string build_unknown_text(const std::string& what, std::string_view name,
                               std::span<const std::string_view> known) {
  const std::string_view near = find_near_name(name, known);
  std::string text = what + " is not known";
  if (!near.empty()) text.append("; did you mean ").append(quote(near)).append("?");
  return text;
}

bool is_boolean_word(std::string_view value) {
  const auto holds = [value](const auto& words) {
    return std::find(words.begin(), words.end(), value) != words.end();
  };
  return holds(TRUE_WORDS) || holds(FALSE_WORDS);
}

std::string find_number_fault(const std::string& value) {
  if (is_whole_number(value)) return {};
  return "is no whole number of 32 bits and counts as " + std::to_string(parse_integer(value));
}

// What is wrong with a file that the crawl writes. is_own: it is the profile.
std::string find_output_fault(const profile_inspection& inspection, const std::string& path,
                              bool is_own) {
  if (is_own) return "is this profile; no crawl starts";
  std::string fault = find_file_fault(path);
  if (fault.empty() && (is_emptied_file(path, inspection.store_directory) ||
                        is_emptied_file(path, inspection.temp_directory))) {
    fault = "stands in a directory that is emptied at the start";
  }
  return fault;
}

// What is wrong with a value of the type, to stand behind it; empty: nothing.
std::string find_value_fault(const profile_inspection& inspection, config_value_type type,
                             const std::string& value) {
  const std::string& profile = inspection.question.path;
  switch (type) {
    case CONFIG_TEXT:
      return {};
    case CONFIG_PATTERN:
      return value.empty() ? "is an empty pattern" : "";
    case CONFIG_INTEGER:
      return find_number_fault(value);
    case CONFIG_INTERVAL:
      if (is_whole_number(value) && parse_integer(value) < 0) return "is below 0 and counts as 0";
      return find_number_fault(value);
    case CONFIG_BOOLEAN:
      return is_boolean_word(value) ? "" : "is neither true nor false and counts as false";
    case CONFIG_DIRECTORY:
      return find_directory_fault(value);
    case CONFIG_FILE:
      if (value.empty()) return {};
      return find_output_fault(inspection, value, is_same_file(value, profile));
    case CONFIG_FILE_BASE:
      if (value.empty()) return {};
      return find_output_fault(inspection, value + ".1", is_link_file(value, profile));
  }
  return {};
}

void inspect_attributes(profile_inspection& inspection, const xmlNode& node,
                        std::span<const config_attribute> attributes) {
  std::vector<std::string_view> known;
  for (const config_attribute& attribute : attributes) known.emplace_back(attribute.name);
  for (const xmlAttr* given = node.properties; given != nullptr; given = given->next) {
    if (given->ns != nullptr) continue;
    const std::string_view name = as_bytes(given->name);
    const std::string what = "attribute " + quote(name) + " of " + quote(get_name(node));
    const auto found = std::find(known.begin(), known.end(), name);
    if (found == known.end()) {
      add_doubt(inspection, node, name, build_unknown_text(what, name, known));
      continue;
    }
    const config_attribute& attribute = attributes[static_cast<size_t>(found - known.begin())];
    std::string value;
    if (!find_value(node, attribute.name, value)) continue;
    const std::string fault = find_value_fault(inspection, attribute.type, value);
    if (!fault.empty()) add_doubt(inspection, node, name, what + ": " + quote(value) + " " + fault);
  }
}

void doubt_children(profile_inspection& inspection, const xmlNode& node) {
  for (const xmlNode* child = node.children; child != nullptr; child = child->next) {
    if (!is_ours(*child)) continue;
    add_doubt(
        inspection, *child, "",
        "element " + quote(get_name(*child)) + " of " + quote(get_name(node)) + " is not known");
  }
}

// The pattern of an entry of the URL filter; false without one.
bool find_pattern(const xmlNode& entry, const config_element& list, std::string& pattern) {
  return entry.type == XML_ELEMENT_NODE &&
         find_value(entry, list.entry_attributes[0].name, pattern);
}

void inspect_pattern(profile_inspection& inspection, const xmlNode& entry,
                     const config_element& list) {
  std::string pattern, reason;
  if (!find_pattern(entry, list, pattern) ||
      is_valid_url_filter_entry(*list.filter_kind, pattern, &reason)) {
    return;
  }
  const std::string_view name = list.entry_attributes[0].name;
  // Behind its colon the reason repeats the pattern.
  add_doubt(
      inspection, entry, name,
      "attribute " + quote(name) + " of " + quote(get_name(entry)) + ": " + quote(pattern) +
          " is no regular expression and is left out: " + reason.substr(0, reason.find(": ")));
}

// True when the list has entries and none of them is valid.
bool restricts_nothing(const xmlNode& list, const config_element& kind) {
  if (!kind.restricts) return false;
  bool has_entries = false;
  for (const xmlNode* entry = list.children; entry != nullptr; entry = entry->next) {
    std::string pattern;
    if (find_pattern(*entry, kind, pattern) &&
        is_valid_url_filter_entry(*kind.filter_kind, pattern)) {
      return false;
    }
    has_entries |= entry->type == XML_ELEMENT_NODE;
  }
  return has_entries;
}

void inspect_entries(profile_inspection& inspection, const xmlNode& list,
                     const config_element& kind) {
  if (restricts_nothing(list, kind)) {
    add_doubt(inspection, list, "",
              "element " + quote(kind.name) + " restricts nothing: none of its entries is valid");
  }
  for (const xmlNode* entry = list.children; entry != nullptr; entry = entry->next) {
    if (entry->type != XML_ELEMENT_NODE) continue;  // any name counts
    inspect_attributes(inspection, *entry, kind.entry_attributes);
    if (kind.filter_kind.has_value()) inspect_pattern(inspection, *entry, kind);
    for (const config_attribute& attribute : kind.entry_attributes) {
      std::string value;
      if (!attribute.required || find_value(*entry, attribute.name, value)) continue;
      add_doubt(inspection, *entry, "",
                "element " + quote(get_name(*entry)) + " of " + quote(kind.name) +
                    " is left out: it has no " + quote(attribute.name));
      break;
    }
    doubt_children(inspection, *entry);
  }
}

void inspect_element(profile_inspection& inspection, const xmlNode& node) {
  std::vector<std::string_view> known;
  for (const config_element& kind : get_config_elements()) {
    known.emplace_back(kind.name);
    if (get_name(node) != kind.name) continue;
    inspect_attributes(inspection, node, kind.attributes);
    if (kind.add_entry != nullptr) return inspect_entries(inspection, node, kind);
    return doubt_children(inspection, node);
  }
  const std::string what =
      "element " + quote(get_name(node)) + " of " + quote(get_name(*node.parent));
  add_doubt(inspection, node, "", build_unknown_text(what, get_name(node), known));
}

void inspect_admin_port(profile_inspection& inspection, const xmlNode& profile) {
  std::string value;
  const bool is_given = inspection.question.admin_port.has_value();
  int32_t port = inspection.question.admin_port.value_or(config_values{}.admin_port);
  if (!is_given && find_value(profile, "admin-port", value)) port = parse_integer(value);
  std::string address;
  (void)find_value(profile, "admin-address", address);  // stays empty without one
  const std::string fault = find_admin_port_fault(address, port);
  if (fault.empty()) return;
  add_doubt(inspection, profile, is_given ? "" : "admin-port",
            "port " + std::to_string(port) + " " + fault + "; there will be no administration");
}

void inspect_admin_hosts(profile_inspection& inspection, const xmlNode& profile) {
  std::string value;
  if (!find_value(profile, "admin-hosts", value)) return;
  const auto fits = [](char byte) {
    const auto c = static_cast<unsigned char>(byte);
    return is_blank(c) || is_letter(c) || is_digit(c) || c >= 0x80 ||
           std::string_view("-._:[]").find(byte) != std::string_view::npos;
  };
  if (std::all_of(value.begin(), value.end(), fits)) return;
  add_doubt(inspection, profile, "admin-hosts",
            "attribute \"admin-hosts\" of \"crawler\": " + quote(value) +
                " is no list of names with blanks between");
}

// The profile that is read; null: the root has no element.
const xmlNode* choose_profile(const profile_question& question, const xmlNode& root) {
  const xmlNode* first = nullptr;
  const xmlNode* chosen = nullptr;
  for (const xmlNode* child = root.children; child != nullptr; child = child->next) {
    if (child->type != XML_ELEMENT_NODE) continue;
    if (first == nullptr) first = child;
    std::string name;
    if (question.name.empty() || !find_value(*child, "name", name) || name != question.name) {
      continue;
    }
    if (chosen == nullptr || question.use_libxml) chosen = child;
  }
  return chosen != nullptr ? chosen : first;
}

// As the reader takes them: the last ones. Without one of its own, temporary data goes to the
// store.
void find_emptied_directories(profile_inspection& inspection, const xmlNode& profile) {
  for (const xmlNode* child = profile.children; child != nullptr; child = child->next) {
    if (!is_ours(*child) || get_name(*child) != "store") continue;
    (void)find_value(*child, "name", inspection.store_directory);
    (void)find_value(*child, "temp_data_path", inspection.temp_directory);
  }
}

void inspect_profile(profile_inspection& inspection, const xmlNode& profile) {
  find_emptied_directories(inspection, profile);
  inspect_attributes(inspection, profile, get_config_profile_attributes());
  inspect_admin_port(inspection, profile);
  inspect_admin_hosts(inspection, profile);
  for (const xmlNode* child = profile.children; child != nullptr; child = child->next) {
    if (is_ours(*child)) inspect_element(inspection, *child);
  }
}

}  // namespace

bool check_profile(const profile_question& question, std::vector<std::string>& doubts) {
  doubts.clear();
  xml_fault fault;
  const xml_document_ptr document =
      parse_xml_file(question.path, XML_PARSE_NONET | XML_PARSE_BIG_LINES, fault);
  if (document == nullptr || fault.loses_text) return false;
  const xmlNode* root = xmlDocGetRootElement(document.get());
  if (root == nullptr) return false;
  const xmlNode* profile = choose_profile(question, *root);
  if (profile == nullptr) return false;
  profile_inspection inspection{
      .question = question, .lines = load_tag_lines(question.path), .doubts = doubts};
  inspect_profile(inspection, *profile);
  return true;
}

}  // namespace wk
