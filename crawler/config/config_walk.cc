#include "crawler/config/config_walk.h"

#include <array>
#include <optional>

#include "crawler/config/config_elements.h"
#include "crawler/url/url_form.h"
#include "crawler/url/url_parts.h"
#include "wkstd/error.h"
#include "wkstd/text.h"

namespace wk {
namespace {

void read_attributes(const xml_view& view, const void* element,
                     std::span<const config_attribute> attributes, profile_reading& reading) {
  std::string value;
  for (const config_attribute& attribute : attributes) {
    if (view.find_attribute(element, attribute.name, value)) attribute.set(reading, value);
  }
}

void read_entries(const xml_view& view, const void* element, const config_element& kind,
                  profile_reading& reading) {
  kind.clear_entries(reading);
  const std::span<const config_attribute> attributes = kind.entry_attributes;
  for (const void* child = view.get_first_child(element); child != nullptr;
       child = view.get_next_sibling(child)) {
    std::array<std::optional<std::string>, MAX_ENTRY_ATTRIBUTES> entry;
    bool complete = true;
    for (size_t i = 0; i < attributes.size(); ++i) {
      std::string value;
      if (view.find_attribute(child, attributes[i].name, value)) {
        entry[i] = std::move(value);
      } else if (attributes[i].required) {
        complete = false;
      }
    }
    if (complete) kind.add_entry(reading, config_entry(entry).first(attributes.size()));
  }
}

void read_element(const xml_view& view, const void* element, profile_reading& reading) {
  const std::string_view name = view.get_name(element);
  for (const config_element& kind : get_config_elements()) {
    if (name != kind.name) continue;
    read_attributes(view, element, kind.attributes, reading);
    if (kind.add_entry != nullptr) read_entries(view, element, kind, reading);
    return;
  }
}

// The key is taken from the spelling under which the crawl knows the site's pages, so it has to
// wait until the whole profile is read.
void build_site_page_limits(profile_reading& reading) {
  for (size_t i = 0; i < reading.site_max_nums.size(); ++i) {
    if (reading.site_max_nums[i] <= 0) continue;
    std::string seed = reading.config.seed_urls[i];
    if (reading.config.canonical_urls) canonicalize_url(seed);
    const std::string_view host = find_url_host(seed);
    if (host.empty()) continue;
    reading.config.site_page_limits[hash_url_host(host)] = reading.site_max_nums[i];
  }
}

crawler_config_ptr read_profile(const xml_view& view, const void* profile) {
  auto config = std::make_unique<CrawlerConfig>();
  profile_reading reading{*config, {}};
  read_attributes(view, profile, get_config_profile_attributes(), reading);
  for (const void* child = view.get_first_child(profile); child != nullptr;
       child = view.get_next_sibling(child)) {
    read_element(view, child, reading);
  }
  build_site_page_limits(reading);
  (void)view.find_attribute(profile, "name", config->name);  // stays empty without one
  if (config->frontier_mode == 2) {
    config->nb_queues = 100;
    config->queue_buffer_size = 1'000;
  }
  if (config->temp_data_path.empty()) config->temp_data_path = config->store_name;
  return config;
}

crawler_config_ptr read_named_profile(const xml_view& view, const void* root,
                                      const std::string& name, profile_choice choice) {
  crawler_config_ptr config;
  for (const void* child = view.get_first_child(root); child != nullptr;
       child = view.get_next_sibling(child)) {
    std::string value;
    if (!view.find_attribute(child, "name", value) || value != name) continue;
    config = read_profile(view, child);
    if (choice == TAKE_FIRST_MATCH) break;
  }
  return config;
}

}  // namespace

crawler_config_ptr read_config_profile(const xml_view& view, const void* root,
                                       const std::string& name, profile_choice choice) {
  crawler_config_ptr config;
  if (!name.empty()) config = read_named_profile(view, root, name, choice);
  if (config != nullptr) return config;
  const void* first = view.get_first_child(root);
  if (first != nullptr) return read_profile(view, first);
  print_message(name.empty()
                    ? std::string("Failed to find any suitable crawler\n")
                    : format_text("Failed to find crawler profile named '%s'\n", name.c_str()));
  return nullptr;
}

void print_config_fault(const std::string& path, size_t line, std::string_view text) {
  text = text.substr(0, text.find('\n'));  // what follows quotes bytes of the file
  std::string message = path;
  if (line != 0) append_formatted_text(message, ":%zu", line);
  message.append(": ").append(text).append("\n");
  print_message(message);
}

}  // namespace wk
