// The table of the administration's pages.
#pragma once

#include <span>
#include <string_view>

#include "crawler/admin/page_writer.h"
#include "crawler/admin/pages.h"

namespace wk {

struct admin_page {
  page_text path;
  page_text title;    // in the index
  page_text heading;  // of the page itself; empty: the title
  void (*write)(page_visit& visit);
};

[[nodiscard]] std::span<const admin_page> get_admin_pages();
// The first page of the table whose path the target begins with; null outside /webadmin/.
[[nodiscard]] const admin_page* find_admin_page(std::string_view target);

}  // namespace wk
