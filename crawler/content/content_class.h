// What a document is, by its Content-Type: decides whether and how its links are looked for, and
// the type name that stores record.
#pragma once

#include <cstdint>
#include <string_view>

namespace wk {

enum content_class : uint32_t {
  CONTENT_HTML = 0,
  CONTENT_SGML = 1,
  CONTENT_XML = 2,
  CONTENT_TXT = 3,
  CONTENT_RAW = 4,
};

// "text" or "html" first gives CONTENT_HTML, "xml" first CONTENT_XML (any case), else CONTENT_RAW.
[[nodiscard]] content_class get_content_class(std::string_view content_type);
[[nodiscard]] std::string_view get_content_type_name(uint32_t code);  // "html" ...; else empty

// The character set that a Content-Type header, or failing that the head of an HTML page, names;
// empty when neither does. The view lies inside one of the arguments.
[[nodiscard]] std::string_view find_character_set(std::string_view content_type,
                                                  std::string_view body);

}  // namespace wk
