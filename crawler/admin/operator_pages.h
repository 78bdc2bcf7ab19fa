// The pages that programs read: one path each, outside /webadmin/, asked with GET.
//
// The server guards them as it guards the pages under /webadmin/. Before it calls a page it sets
// the status 200 and the headers Content-Security-Policy (nothing is loaded, nothing runs),
// X-Content-Type-Options and Cache-Control; the page sets its Content-Type, writes the body, and
// may set a status or a header anew, as a page with a script does with its policy.
//
// Threads: the administration thread.
#pragma once

#include <string_view>

#include "crawler/core/crawler.h"
#include "crawler/fetch/http_message.h"

namespace wk {

struct operator_page {
  const char* path;
  void (*write)(Crawler& crawler, const http_request& request, http_response& response);
};

// The page of exactly this path, the query cut off; null when there is none.
[[nodiscard]] const operator_page* find_operator_page(std::string_view path);

}  // namespace wk
