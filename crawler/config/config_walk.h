// The walk over a parsed file that fills the record, whichever library parsed it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "crawler/config/crawler_config.h"

namespace wk {

// What an XML library must answer about its elements, which it hands out as opaque handles. Texts,
// comments and everything else that is no element is passed over.
struct xml_view {
  // As written, or empty for a name with a namespace prefix, which is never one of ours.
  std::string_view (*get_name)(const void* element);
  const void* (*get_first_child)(const void* element);   // null: none
  const void* (*get_next_sibling)(const void* element);  // null: none
  // False, with value left alone, when the element has no such attribute without a prefix. The
  // value is UTF-8, its references decoded, a line break or tab in it turned into a blank.
  bool (*find_attribute)(const void* element, const char* name, std::string& value);
};

enum profile_choice : uint32_t {
  TAKE_FIRST_MATCH = 0,
  TAKE_LAST_MATCH = 1,  // each match is read in full, so a fatal value in any of them ends it all
};

// Reads the profile of that name among the children of root; the first child when name is empty or
// none has it. Null, with a message, when root has no child. Time is linear in the file.
[[nodiscard]] crawler_config_ptr read_config_profile(const xml_view& view, const void* root,
                                                     const std::string& name,
                                                     profile_choice choice);

// The fault of a document type that declares anything else: what stands in other files, what makes
// up declarations, and defaults of attributes.
constexpr std::string_view NO_DECLARATIONS =
    "a document type may declare nothing but internal general entities";

// Says on standard error where a file is broken: "file:line: text", without the line when it is 0.
void print_config_fault(const std::string& path, size_t line, std::string_view text);

}  // namespace wk
