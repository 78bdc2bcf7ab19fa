// Profiles through libxml2: the reader that is used unless the other one is asked for.

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlerror.h>

#include <cstdlib>
#include <cstring>
#include <memory>

#include "crawler/config/config_reader.h"
#include "crawler/config/config_walk.h"
#include "wkstd/error.h"
#include "wkstd/memory.h"

namespace wk {
namespace {

struct free_document {
  void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
};
using document_ptr = std::unique_ptr<xmlDoc, free_document>;

struct free_text {
  void operator()(xmlChar* text) const { xmlFree(text); }
};
using text_ptr = std::unique_ptr<xmlChar, free_text>;

const char* as_bytes(const xmlChar* text) { return reinterpret_cast<const char*>(text); }
const xmlChar* as_xml(const char* text) { return reinterpret_cast<const xmlChar*>(text); }

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
  const text_ptr text(xmlGetNoNsProp(node, as_xml(name)));
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

// The first fault that the parser reports, as those behind it mostly follow from it; or the first
// that loses text.
struct parse_fault {
  bool found = false;
  bool no_root = false;     // the text ended before a root element began
  bool loses_text = false;  // a reference to an entity that nothing declares was left out
  size_t line = 0;
  std::string text;
};

void keep_first_fault(void* context, xmlErrorPtr error) {
  auto& fault = *static_cast<parse_fault*>(context);
  // The DTD that is not loaded might declare it: for the library that is no fault of the file.
  const bool loses_text = error->code == XML_WAR_UNDECLARED_ENTITY;
  if (error->message == nullptr || fault.loses_text || (fault.found && !loses_text)) return;
  fault.found = true;
  fault.loses_text = loses_text;
  fault.line = error->line > 0 ? static_cast<size_t>(error->line) : 0;
  fault.text = error->message;
  const auto* parser = static_cast<const xmlParserCtxt*>(error->ctxt);
  fault.no_root = error->code == XML_ERR_DOCUMENT_EMPTY && parser != nullptr &&
                  parser->input != nullptr && parser->input->cur >= parser->input->end;
}

char* duplicate_text(const char* text) {
  const size_t size = std::strlen(text) + 1;
  return static_cast<char*>(std::memcpy(allocate_memory(size), text, size));
}

// libxml2 does not survive every allocation that is refused, and an attribute that finds no memory
// is absent to it: it gets memory like everybody else in the house, or the process ends.
void share_memory() {
  static const int shared =
      xmlMemSetup(std::free, allocate_memory, reallocate_memory, duplicate_text);
  (void)shared;  // refused only without one of the four
}

document_ptr parse_file(const std::string& path, parse_fault& fault) {
  share_memory();
  xmlSetStructuredErrorFunc(&fault, keep_first_fault);  // else libxml2 prints by itself
  document_ptr document(
      xmlReadFile(path.c_str(), nullptr, XML_PARSE_NOBLANKS | XML_PARSE_NODICT | XML_PARSE_NONET));
  xmlSetStructuredErrorFunc(nullptr, nullptr);
  return document;
}

}  // namespace

crawler_config_ptr read_config_with_libxml(const std::string& path, const std::string& name) {
  parse_fault fault;
  const document_ptr document = parse_file(path, fault);
  if (fault.found) print_config_fault(path, fault.line, fault.text);
  if (document == nullptr || fault.loses_text) {
    print_message(fault.no_root ? "Empty document.\n" : "Document not parsed successfully.\n");
    return nullptr;
  }
  // Declared entities could make a small file expand without end.
  const xmlDtd* declarations = document->intSubset;
  if (declarations != nullptr && declarations->children != nullptr) {
    print_config_fault(path, 0, NO_DECLARATIONS);
    print_message("Document not parsed successfully.\n");
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
