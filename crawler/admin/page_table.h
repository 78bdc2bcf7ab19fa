// The table of the administration's pages.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "crawler/admin/page_writer.h"
#include "crawler/admin/pages.h"

namespace wk {

enum admin_page_effect : uint32_t {
  CHANGES_NOTHING = 0,
  CHANGES_WITH_FIELDS,  // without a field it shows its form
  CHANGES_ALWAYS,
};

struct admin_page {
  page_text path;
  page_text title;    // in the index
  page_text heading;  // of the page itself; empty: the title
  admin_page_effect effect;
  void (*write)(page_visit& visit);
};

[[nodiscard]] std::span<const admin_page> get_admin_pages();
// The first page of the table whose path the target begins with; null outside /webadmin/.
[[nodiscard]] const admin_page* find_admin_page(std::string_view target);

}  // namespace wk
