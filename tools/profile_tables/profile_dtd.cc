#include "tools/profile_tables/profile_dtd.h"

#include <algorithm>
#include <span>
#include <string_view>
#include <vector>

#include "crawler/config/config_elements.h"

namespace wk {
namespace {

constexpr std::string_view HEAD =
    "<!-- The document type of crawler profiles, made by build/profile_tables dtd.\n"
    "     xmllint holds a profile against it that begins with\n"
    "     <!DOCTYPE crawlers SYSTEM \"wkcrawler.dtd\">, with its options noout and valid. -->\n"
    "<!ELEMENT crawlers (crawler+)>\n"
    "<!ATTLIST crawlers xmlns CDATA #IMPLIED>\n\n";

// The attributes of an element's name, each name once.
struct element_declaration {
  std::string_view name;
  std::vector<const config_attribute*> attributes;
};

void add_attributes(element_declaration& declaration,
                    std::span<const config_attribute> attributes) {
  for (const config_attribute& attribute : attributes) {
    const auto is_same = [&attribute](const config_attribute* other) {
      return std::string_view(attribute.name) == other->name;
    };
    std::vector<const config_attribute*>& all = declaration.attributes;
    if (std::none_of(all.begin(), all.end(), is_same)) all.push_back(&attribute);
  }
}

std::vector<element_declaration> list_entries() {
  std::vector<element_declaration> entries;
  for (const config_element& element : get_config_elements()) {
    if (element.entry_name == nullptr) continue;
    const std::string_view name = element.entry_name;
    auto at = std::find_if(entries.begin(), entries.end(),
                           [name](const auto& entry) { return entry.name == name; });
    if (at == entries.end()) at = entries.insert(at, {name, {}});
    add_attributes(*at, element.entry_attributes);
  }
  return entries;
}

std::string build_type(const config_attribute& attribute) {
  if (attribute.type != CONFIG_BOOLEAN) return "CDATA";
  std::string words;
  for (const auto& list : {TRUE_WORDS, FALSE_WORDS}) {
    for (const std::string_view word : list) words.append(words.empty() ? "" : "|").append(word);
  }
  return "(" + words + ")";
}

void append_attributes(const element_declaration& declaration, std::string& out) {
  if (declaration.attributes.empty()) return;
  out.append("<!ATTLIST ").append(declaration.name);
  for (const config_attribute* attribute : declaration.attributes) {
    out.append("\n  ").append(attribute->name).append(" ").append(build_type(*attribute));
    if (attribute->required) {
      out.append(" #REQUIRED");
    } else if (*attribute->default_value == '\0') {
      out.append(" #IMPLIED");
    } else {
      out.append(" \"").append(attribute->default_value).append("\"");
    }
  }
  out.append(">\n");
}

}  // namespace

void write_profile_dtd(std::string& out) {
  out.assign(HEAD);
  out.append("<!ELEMENT crawler (");
  const char* separator = "";
  for (const config_element& element : get_config_elements()) {
    out.append(separator).append(element.name);
    separator = "\n                 | ";
  }
  out.append(")*>\n");
  element_declaration profile{"crawler", {}};
  add_attributes(profile, get_config_profile_attributes());
  append_attributes(profile, out);
  for (const config_element& element : get_config_elements()) {
    out.append("\n<!ELEMENT ").append(element.name).append(" ");
    if (element.entry_name == nullptr) {
      out.append("EMPTY>\n");
    } else {
      out.append("(").append(element.entry_name).append("*)>\n");
    }
    element_declaration declaration{element.name, {}};
    add_attributes(declaration, element.attributes);
    append_attributes(declaration, out);
  }
  for (const element_declaration& entry : list_entries()) {
    out.append("\n<!ELEMENT ").append(entry.name).append(" EMPTY>\n");
    append_attributes(entry, out);
  }
}

}  // namespace wk
