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

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "crawler/config/crawler_config.h"

namespace wk {

enum config_value_type : uint32_t {
  CONFIG_TEXT = 0,
  CONFIG_INTEGER = 1,  // as parse_integer reads it
  CONFIG_BOOLEAN = 2,  // "true", "1", "yes" and "on" are true
};

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
};

struct config_element {
  const char* name;
  std::span<const config_attribute> attributes;

  // For lists; null and empty otherwise.
  const char* entry_name;
  std::span<const config_attribute> entry_attributes;
  void (*clear_entries)(profile_reading& reading);  // a later list replaces an earlier one
  void (*add_entry)(profile_reading& reading, config_entry entry);
};

constexpr size_t MAX_ENTRY_ATTRIBUTES = 4;

// The attribute "name" of a profile is not among them: it chooses the profile and is not kept.
[[nodiscard]] std::span<const config_attribute> get_config_profile_attributes();
[[nodiscard]] std::span<const config_element> get_config_elements();

}  // namespace wk
