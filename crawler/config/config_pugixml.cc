// Profiles through pugixml: the reader for machines where libxml2 is not to be used.

#include <pugixml.hpp>

#include "crawler/config/config_reader.h"
#include "crawler/config/config_walk.h"
#include "crawler/config/xml_encoding.h"
#include "crawler/config/xml_form.h"
#include "wkstd/error.h"
#include "wkstd/file.h"
#include "wkstd/text.h"

namespace wk {
namespace {

constexpr uint64_t MAX_FILE_BYTES = uint64_t{256} * 1024 * 1024;

// A handle is the library's own pointer to a node, from which its node object is made anew.
pugi::xml_node get_node(const void* element) {
  return pugi::xml_node(
      static_cast<pugi::xml_node_struct*>(const_cast<void*>(element)));  // it is only read
}

const void* skip_to_element(pugi::xml_node node) {
  while (!node.empty() && node.type() != pugi::node_element) node = node.next_sibling();
  return node.internal_object();
}

std::string_view get_name(const void* element) {
  const std::string_view name = get_node(element).name();
  return name.find(':') == std::string_view::npos ? name : std::string_view();
}

const void* get_first_child(const void* element) {
  return skip_to_element(get_node(element).first_child());
}

const void* get_next_sibling(const void* element) {
  return skip_to_element(get_node(element).next_sibling());
}

bool find_attribute(const void* element, const char* name, std::string& value) {
  const pugi::xml_attribute attribute = get_node(element).attribute(name);
  if (attribute.empty()) return false;
  value = attribute.value();
  return true;
}

constexpr xml_view PUGIXML_VIEW = {
    .get_name = get_name,
    .get_first_child = get_first_child,
    .get_next_sibling = get_next_sibling,
    .find_attribute = find_attribute,
};

// The text behind the file's bytes, and its form, are looked at first: the library reads on over
// most faults, and over encodings that it does not know.
bool load_document(const std::string& path, pugi::xml_document& document) {
  std::string text;
  if (!read_whole_file(path, MAX_FILE_BYTES, text)) return false;
  xml_form_fault fault;
  if (!convert_xml_to_utf8(text, fault.text) || !check_xml_form(text, fault)) {
    print_config_fault(path, fault.line, fault.text);
    return false;
  }
  const pugi::xml_parse_result result =
      document.load_buffer(text.data(), text.size(), pugi::parse_default, pugi::encoding_utf8);
  if (!result) print_config_fault(path, 0, result.description());
  return static_cast<bool>(result);
}

}  // namespace

crawler_config_ptr read_config_without_libxml(const std::string& path, const std::string& name) {
  pugi::xml_document document;
  if (!load_document(path, document)) {
    print_message(format_text("Couldn't load configuration file '%s'\n", path.c_str()));
    return nullptr;
  }
  return read_config_profile(PUGIXML_VIEW, document.document_element().internal_object(), name,
                             TAKE_FIRST_MATCH);
}

}  // namespace wk
