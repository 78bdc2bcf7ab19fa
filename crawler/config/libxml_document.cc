#include "crawler/config/libxml_document.h"

#include <libxml/SAX2.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/xmlerror.h>

#include <cstdlib>
#include <cstring>

#include "crawler/config/config_walk.h"
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

size_t get_line(const xmlParserCtxt& parser) {
  return parser.input != nullptr ? static_cast<size_t>(parser.input->line) : 0;
}

// The library takes a NUL behind the last element for the end.
bool has_rest(const xmlParserCtxt& parser) {
  return parser.input != nullptr && parser.input->cur < parser.input->end;
}

// Ends the parsing with a fault before anything comes of the declaration.
void refuse_declaration(void* context) {
  auto* parser = static_cast<xmlParserCtxt*>(context);
  auto& fault = *static_cast<xml_fault*>(parser->_private);
  fault.found = true;
  fault.line = get_line(*parser);
  fault.text = NO_DECLARATIONS;
  xmlStopParser(parser);
  parser->wellFormed = 0;
}

void declare_entity(void* context, const xmlChar* name, int type, const xmlChar* public_name,
                    const xmlChar* system_name, xmlChar* content) {
  if (type != XML_INTERNAL_GENERAL_ENTITY) return refuse_declaration(context);
  xmlSAX2EntityDecl(context, name, type, public_name, system_name, content);
}

void guard_declarations(xmlSAXHandler& handler) {
  handler.entityDecl = declare_entity;
  handler.unparsedEntityDecl = [](void* context, const xmlChar*, const xmlChar*, const xmlChar*,
                                  const xmlChar*) { refuse_declaration(context); };
  handler.notationDecl = [](void* context, const xmlChar*, const xmlChar*, const xmlChar*) {
    refuse_declaration(context);
  };
  handler.elementDecl = [](void* context, const xmlChar*, int, xmlElementContent*) {
    refuse_declaration(context);
  };
  handler.attributeDecl = [](void* context, const xmlChar*, const xmlChar*, int, int,
                             const xmlChar*, xmlEnumeration* words) {
    xmlFreeEnumeration(words);
    refuse_declaration(context);
  };
}

struct free_xml_parser {
  void operator()(xmlParserCtxt* parser) const { xmlFreeParserCtxt(parser); }
};
using xml_parser_ptr = std::unique_ptr<xmlParserCtxt, free_xml_parser>;

}  // namespace

xml_document_ptr parse_xml_file(const std::string& path, int options, xml_fault& fault) {
  share_memory();
  const xml_parser_ptr parser(xmlNewParserCtxt());
  parser->_private = &fault;
  guard_declarations(*parser->sax);
  xmlSetStructuredErrorFunc(&fault, keep_first_fault);  // else libxml2 prints by itself
  xml_document_ptr document(
      xmlCtxtReadFile(parser.get(), path.c_str(), nullptr, options | XML_PARSE_NOENT));
  xmlSetStructuredErrorFunc(nullptr, nullptr);
  if (document != nullptr && has_rest(*parser)) {
    fault = {.found = true, .line = get_line(*parser), .text = "bytes behind the last element"};
    return nullptr;
  }
  return document;
}

}  // namespace wk
