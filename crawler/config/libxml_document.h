// A profile file as libxml2 parses it, and what is wrong with it.
#pragma once

#include <libxml/tree.h>

#include <cstddef>
#include <memory>
#include <string>

namespace wk {

struct free_xml_document {
  void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
};
using xml_document_ptr = std::unique_ptr<xmlDoc, free_xml_document>;

struct free_xml_text {
  void operator()(xmlChar* text) const { xmlFree(text); }
};
using xml_text_ptr = std::unique_ptr<xmlChar, free_xml_text>;

[[nodiscard]] inline const char* as_bytes(const xmlChar* text) {
  return reinterpret_cast<const char*>(text);
}
[[nodiscard]] inline const xmlChar* as_xml(const char* text) {
  return reinterpret_cast<const xmlChar*>(text);
}

// The first fault that the parser reports, as those behind it mostly follow from it; or the first
// that loses text.
struct xml_fault {
  bool found = false;
  bool no_root = false;     // the text ended before a root element began
  bool loses_text = false;  // a reference to an entity that nothing declares was left out
  size_t line = 0;
  std::string text;
};

// options are those of xmlReadFile. Internal general entities are expanded, as far as the library's
// limits go; every other declaration is a fault, so that no file names another that is read. Null
// when the file can't be read or is broken; a document comes with a fault too when it loses text.
// Nothing is printed.
[[nodiscard]] xml_document_ptr parse_xml_file(const std::string& path, int options,
                                              xml_fault& fault);

}  // namespace wk
