#include "crawler/config/libxml_document.h"

#include <libxml/parser.h>
#include <libxml/xmlerror.h>

#include <cstdlib>
#include <cstring>

#include "wkstd/memory.h"

namespace wk {
namespace {

void keep_first_fault(void* context, xmlErrorPtr error) {
  auto& fault = *static_cast<xml_fault*>(context);
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

}  // namespace

xml_document_ptr parse_xml_file(const std::string& path, int options, xml_fault& fault) {
  share_memory();
  xmlSetStructuredErrorFunc(&fault, keep_first_fault);  // else libxml2 prints by itself
  xml_document_ptr document(xmlReadFile(path.c_str(), nullptr, options));
  xmlSetStructuredErrorFunc(nullptr, nullptr);
  return document;
}

bool has_xml_declarations(const xmlDoc& document) {
  return document.intSubset != nullptr && document.intSubset->children != nullptr;
}

}  // namespace wk
