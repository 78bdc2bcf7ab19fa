#include "crawler/admin/admin_dispatch.h"

#include "crawler/admin/admin_guard.h"
#include "crawler/admin/operator_pages.h"
#include "crawler/admin/page_frame.h"
#include "crawler/admin/page_table.h"

namespace wk {
namespace {

void answer_with_page(Crawler& crawler, const admin_page& page, std::string_view target,
                      http_response& response) {
  begin_page(response, page.heading.text.empty() ? page.title : page.heading);
  const query_fields fields = read_query_fields(target);
  page_visit visit{crawler, fields, response};
  page.write(visit);
  end_page(response);
}

void answer_with_operator_page(Crawler& crawler, const operator_page& page,
                               const http_request& request, http_response& response) {
  set_http_headers(response.headers, "Content-Security-Policy",
                   "default-src 'none'; base-uri 'none'; form-action 'none'; "
                   "frame-ancestors 'none'");
  set_http_headers(response.headers, "X-Content-Type-Options", "nosniff");
  set_http_headers(response.headers, "Cache-Control", "no-store");
  if (request.method != HTTP_GET) {
    set_http_headers(response.headers, "Allow", "GET");
    write_status_page(response, 405, "Method Not Allowed");
    return;
  }
  response.status = 200;
  page.write(crawler, request, response);
}

}  // namespace

void answer_admin_request(Crawler& crawler, const http_request& request, http_response& response) {
  const std::string_view target = request.target.path;
  if (!is_own_request(request.headers, crawler.profile.admin_address)) {
    write_status_page(response, 403, "Forbidden");
  } else if (const admin_page* page = find_admin_page(target); page != nullptr) {
    answer_with_page(crawler, *page, target, response);
  } else if (const operator_page* own = find_operator_page(target.substr(0, target.find('?')));
             own != nullptr) {
    answer_with_operator_page(crawler, *own, request, response);
  } else {
    write_status_page(response, 404, "Not Found");
  }
}

}  // namespace wk
