// Profiles through pugixml: the reader for machines where libxml2 is not to be used.

#include <array>
#include <pugixml.hpp>

#include "crawler/config/config_reader.h"
#include "crawler/config/config_walk.h"
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

// The line of a parse result; 0 when it cannot be told. The offset counts bytes after conversion to
// UTF-8, where each byte of Latin-1 above ASCII became two.
size_t find_line(std::string_view bytes, const pugi::xml_parse_result& result) {
  const bool latin1 = result.encoding == pugi::encoding_latin1;
  if (!latin1 && result.encoding != pugi::encoding_utf8) return 0;
  size_t line = 1;
  ptrdiff_t left = result.offset;
  for (const char c : bytes) {
    if (left <= 0) break;
    left -= latin1 && static_cast<unsigned char>(c) >= 0x80 ? 2 : 1;
    if (c == '\n') ++line;
  }
  return line;
}

// The library takes every encoding that it does not know for UTF-8.
bool is_known_encoding(std::string_view name) {
  static constexpr std::array<std::string_view, 8> KNOWN = {
      "utf-8", "us-ascii", "ascii", "iso-8859-1", "latin1", "utf-16", "utf-16le", "utf-16be"};
  for (const std::string_view known : KNOWN) {
    if (equals_ignoring_case(name, known)) return true;
  }
  return false;
}

// True when the document type holds declarations of its own, between brackets.
bool has_declarations(std::string_view document_type) {
  char quote = '\0';
  for (size_t i = 0; i < document_type.size(); ++i) {
    const char c = document_type[i];
    if (quote != '\0') {
      if (c == quote) quote = '\0';
    } else if (c == '"' || c == '\'') {
      quote = c;
    } else if (c == '[') {
      const std::string_view inside = trim_blanks(document_type.substr(i + 1));
      return inside.empty() || inside.front() != ']';
    }
  }
  return false;
}

// False, with the fault told, for what this library would read otherwise than it is meant.
bool check_prolog(const std::string& path, const pugi::xml_document& document) {
  for (const pugi::xml_node node : document.children()) {
    if (node.type() == pugi::node_doctype && has_declarations(node.value())) {
      print_config_fault(path, 0, NO_DECLARATIONS);
      return false;
    }
    const pugi::xml_attribute encoding = node.attribute("encoding");
    if (node.type() == pugi::node_declaration && !encoding.empty() &&
        !is_known_encoding(encoding.value())) {
      print_config_fault(path, 0, std::string("unknown encoding ") + encoding.value());
      return false;
    }
  }
  return true;
}

bool load_document(const std::string& path, pugi::xml_document& document) {
  std::string bytes;
  if (!read_whole_file(path, MAX_FILE_BYTES, bytes)) return false;
  const pugi::xml_parse_result result =
      document.load_buffer(bytes.data(), bytes.size(),
                           pugi::parse_default | pugi::parse_declaration | pugi::parse_doctype);
  if (!result) {
    print_config_fault(path, find_line(bytes, result), result.description());
    return false;
  }
  return check_prolog(path, document);
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
