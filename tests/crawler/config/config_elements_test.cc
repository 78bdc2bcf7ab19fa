// The table of elements and attributes is the whole truth: the walk asks for these names and no
// others, and its defaults are those of the record.

#include "crawler/config/config_elements.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "crawler/config/config_walk.h"
#include "tests/crawler/config/profile_file.h"

namespace wk {
namespace {

// A profile without attributes that holds every element, each with an entry; it notes what is
// asked of it.
struct asked_element {
  std::string name;
  std::vector<asked_element> children;
  const asked_element* next = nullptr;
};
std::set<std::string> asked;

const asked_element& get_element(const void* handle) {
  return *static_cast<const asked_element*>(handle);
}

constexpr xml_view ASKED_VIEW = {
    .get_name = [](const void* handle) -> std::string_view { return get_element(handle).name; },
    .get_first_child = [](const void* handle) -> const void* {
      const auto& children = get_element(handle).children;
      return children.empty() ? nullptr : &children.front();
    },
    .get_next_sibling = [](const void* handle) -> const void* { return get_element(handle).next; },
    .find_attribute =
        [](const void* handle, const char* name, std::string& /*value*/) {
          asked.insert(get_element(handle).name + " " + name);
          return false;
        },
};

void add_names(const std::string& element, std::span<const config_attribute> attributes,
               std::set<std::string>& names) {
  for (const config_attribute& attribute : attributes) names.insert(element + " " + attribute.name);
}

TEST(config_elements, are_all_that_the_walk_asks_for) {
  asked_element root{"crawlers", {{"crawler", {}}}};
  std::vector<asked_element>& elements = root.children[0].children;
  std::set<std::string> names;
  add_names("crawler", get_config_profile_attributes(), names);
  for (const config_element& kind : get_config_elements()) {
    const std::string entry = std::string(kind.name) + "/entry";
    elements.push_back({kind.name, {{entry, {}}}});
    add_names(kind.name, kind.attributes, names);
    add_names(entry, kind.entry_attributes, names);
  }
  for (size_t i = 0; i + 1 < elements.size(); ++i) elements[i].next = &elements[i + 1];
  asked.clear();
  EXPECT_NE(read_config_profile(ASKED_VIEW, &root, "", TAKE_FIRST_MATCH), nullptr);
  EXPECT_EQ(asked, names);
  EXPECT_GT(names.size(), 60u);
}

// The attributes with their defaults, or only those that are required, with "x".
std::string write_attributes(std::span<const config_attribute> attributes, bool with_defaults) {
  std::string text;
  for (const config_attribute& attribute : attributes) {
    const std::string value =
        attribute.required ? "x" : (with_defaults ? attribute.default_value : "");
    if (!value.empty()) text.append(" ").append(attribute.name).append("='" + value + "'");
  }
  return text;
}

config_values read_attributes(bool with_defaults) {
  std::string inside;
  for (const config_element& kind : get_config_elements()) {
    inside.append("<").append(kind.name).append(write_attributes(kind.attributes, with_defaults));
    inside.append("><entry").append(write_attributes(kind.entry_attributes, with_defaults));
    inside.append("/></").append(kind.name).append(">");
  }
  return read_inside(inside, write_attributes(get_config_profile_attributes(), with_defaults));
}

TEST(config_elements, have_the_defaults_of_the_record) {
  const config_values given = read_attributes(true);
  expect_same_config(given, read_attributes(false));
  EXPECT_EQ(given.cookies.size(), 1u);
}

}  // namespace
}  // namespace wk
