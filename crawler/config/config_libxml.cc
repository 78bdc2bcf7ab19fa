// Profiles through libxml2: the reader that is used unless the other one is asked for.

#include <libxml/parser.h>
#include <libxml/tree.h>

#include "crawler/config/config_reader.h"
#include "crawler/config/config_walk.h"
#include "crawler/config/libxml_document.h"
#include "wkstd/error.h"

namespace wk {
namespace {

const void* skip_to_element(const xmlNode* node) {
  while (node != nullptr && node->type != XML_ELEMENT_NODE) node = node->next;
  return node;
}

std::string_view get_name(const void* element) {
  const auto* node = static_cast<const xmlNode*>(element);
  if (node->ns != nullptr && node->ns->prefix != nullptr) return {};
  return as_bytes(node->name);
}

const void* get_first_child(const void* element) {
  return skip_to_element(static_cast<const xmlNode*>(element)->children);
}

const void* get_next_sibling(const void* element) {
  return skip_to_element(static_cast<const xmlNode*>(element)->next);
}

bool find_attribute(const void* element, const char* name, std::string& value) {
  auto* node = const_cast<xmlNode*>(static_cast<const xmlNode*>(element));  // it is only read
  const xml_text_ptr text(xmlGetNoNsProp(node, as_xml(name)));
  if (text == nullptr) return false;
  value = as_bytes(text.get());
  return true;
}

constexpr xml_view LIBXML_VIEW = {
    .get_name = get_name,
    .get_first_child = get_first_child,
    .get_next_sibling = get_next_sibling,
    .find_attribute = find_attribute,
};

}  // namespace

crawler_config_ptr read_config_with_libxml(const std::string& path, const std::string& name) {
  xml_fault fault;
  const xml_document_ptr document =
      parse_xml_file(path, XML_PARSE_NOBLANKS | XML_PARSE_NODICT | XML_PARSE_NONET, fault);
  if (fault.found) print_config_fault(path, fault.line, fault.text);
  if (document == nullptr || fault.loses_text) {
    print_message(fault.no_root ? "Empty document.\n" : "Document not parsed successfully.\n");
    return nullptr;
  }
  const xmlNode* root = xmlDocGetRootElement(document.get());
  if (root == nullptr) {
    print_message("Empty document.\n");
    return nullptr;
  }
  return read_config_profile(LIBXML_VIEW, root, name, TAKE_LAST_MATCH);
}

}  // namespace wk
