#include "crawler/output/pipeline_item.h"

#include "wkstd/base64.h"

namespace wk {
namespace {

constexpr std::string_view SECTION_END = "]]>";

// Time is linear however many ends there are.
void append_section_text(std::string& out, std::string_view text) {
  for (size_t at = text.find(SECTION_END); at != std::string_view::npos;
       at = text.find(SECTION_END)) {
    out.append(text.substr(0, at)).append("]]]]><![CDATA[>");
    text.remove_prefix(at + SECTION_END.size());
  }
  out.append(text);
}

}  // namespace

void append_pipeline_item(std::string& out, const stored_document& document, bool raw) {
  out.append("<item>\n<id><![CDATA[").append(document.url).append("]]></id>\n");
  if (raw) {
    out.append("<raw>");
    append_base64(out, document.content);
    out.append("</raw>\n<mimetype>").append(document.type_name).append("</mimetype>\n");
  } else {
    out.append("<body><![CDATA[");
    append_section_text(out, document.content);
    out.append("]]></body>\n");
  }
  out.append("</item>\n");
}

}  // namespace wk
