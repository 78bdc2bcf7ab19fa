// The item: a document as the news pipeline takes it, a small XML text.
//
//   <item>
//   <id><![CDATA[<url, as it is>]]></id>
//   <raw><content in base64></raw>              raw
//   <mimetype><type name></mimetype>            raw
//   <body><![CDATA[<content>]]></body>          not raw; each "]]>" inside is "]]]]><![CDATA[>",
//   </item>                                     which ends the section and begins another one
#pragma once

#include <string>

#include "crawler/output/url_hold.h"

namespace wk {

void append_pipeline_item(std::string& out, const stored_document& document, bool raw);

}  // namespace wk
