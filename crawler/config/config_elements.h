// Every attribute and element that a profile may hold, with its type: the one table that reading,
// the DTD and the manual of profiles go by.
//
//   <crawler nb-spiders="4">                                    an attribute of the profile
//     <log name="/var/log/crawl" append="true"/>                an element with attributes
//     <seed-urls><url name="http://www.example/"/></seed-urls>  a list: its children are entries
//   </crawler>
//
// Names are compared exactly. An entry counts whatever its element is called; entry_name is the
// name that it is written with. The tables are constant: any thread, no lock.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "crawler/config/crawler_config.h"
#include "crawler/url/url_filter.h"

namespace wk {

enum config_value_type : uint32_t {
  CONFIG_TEXT = 0,
  CONFIG_INTEGER = 1,    // as parse_integer reads it
  CONFIG_BOOLEAN = 2,    // "true", "1", "yes" and "on" are true
  CONFIG_DIRECTORY = 3,  // a text: the path of a directory that is there
  CONFIG_FILE = 4,       // a text: the path of a file to be written
  CONFIG_FILE_BASE = 5,  // a text: what the paths of such files begin with, before ".1", ".2"
  CONFIG_INTERVAL = 6,   // an integer; one below 0 counts as 0
  CONFIG_PATTERN = 7,    // a text: a pattern, which says nothing when it is empty
};

// How a boolean is written. Everything that is none of the first is read as false.
constexpr std::array<std::string_view, 4> TRUE_WORDS = {"true", "1", "yes", "on"};
constexpr std::array<std::string_view, 4> FALSE_WORDS = {"false", "0", "no", "off"};

// A profile while it is read: the record, and what can only be settled at the end of the profile.
struct profile_reading {
  config_values& config;
  std::vector<int32_t> site_max_nums;  // by seed; not above 0: no limit for its site
};

// The values of one list entry, in the order of the list's entry_attributes. Those of required
// attributes are there; they may be moved away.
using config_entry = std::span<std::optional<std::string>>;

struct config_attribute {
  const char* name;
  config_value_type type;
  bool required;  // in entries: without it the entry is skipped
  // Puts the value into the record. Null in entries, which the list takes as a whole.
  void (*set)(profile_reading& reading, const std::string& value);

  // For the manual. Reading default_value changes nothing in a fresh record.
  const char* default_value;  // empty: as if the attribute were absent
  const char* unit;           // of a number; empty: it counts things, or is a switch
  const char* effect;         // one line of Markdown
};

struct config_element {
  const char* name;
  const char* effect;  // one line of Markdown
  std::span<const config_attribute> attributes;

  // For lists; null and empty otherwise.
  const char* entry_name;
  std::span<const config_attribute> entry_attributes;
  void (*clear_entries)(profile_reading& reading);  // a later list replaces an earlier one
  void (*add_entry)(profile_reading& reading, config_entry entry);

  // For lists of the URL filter, whose entries are patterns in their one attribute.
  std::optional<url_filter_kind> filter_kind = {};
  bool restricts = false;  // where it has an entry, only what matches one may be crawled
};

constexpr size_t MAX_ENTRY_ATTRIBUTES = 4;

// "name" is among them, though it only chooses the profile and says nothing to the record.
[[nodiscard]] std::span<const config_attribute> get_config_profile_attributes();
[[nodiscard]] std::span<const config_element> get_config_elements();

}  // namespace wk
