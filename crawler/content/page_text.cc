#include "crawler/content/page_text.h"

#include "crawler/content/page_text_scan.h"

namespace wk {

void build_page_text(std::string& out, std::string_view page) {
  out.clear();
  page_text_scan scan{.page = page};
  for (std::string_view run; find_next_page_text(scan, run);) out.append(run);
}

}  // namespace wk
