#include "crawler/content/content_class.h"

#include <array>

#include "wkstd/text.h"

namespace wk {
namespace {

constexpr std::array<std::string_view, 5> type_names = {"html", "sgml", "xml", "txt", "raw"};

}  // namespace

content_class get_content_class(std::string_view content_type) {
  for (size_t at = 0; at < content_type.size(); ++at) {
    const std::string_view rest = content_type.substr(at);
    if (starts_with_ignoring_case(rest, "text")) return CONTENT_HTML;
    if (starts_with_ignoring_case(rest, "html")) return CONTENT_HTML;
    if (starts_with_ignoring_case(rest, "xml")) return CONTENT_XML;
  }
  return CONTENT_RAW;
}

std::string_view get_content_type_name(uint32_t code) {
  return code < type_names.size() ? type_names[code] : std::string_view{};
}

}  // namespace wk
