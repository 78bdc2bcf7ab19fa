#include "crawler/admin/admin_dispatch.h"

#include "crawler/admin/operator_pages.h"
#include "crawler/admin/page_frame.h"
#include "crawler/admin/page_table.h"

namespace wk {
namespace {

bool does_change(const admin_page& page, const query_fields& fields) {
  return page.effect == CHANGES_ALWAYS || (page.effect == CHANGES_WITH_FIELDS && !fields.empty());
}

// Every refusal says what lets the operator in.
void refuse(http_response& response, admin_verdict verdict) {
  begin_status_page(response, 403, "Forbidden");
  std::string& out = response.body;
  if (verdict == ADMIN_UNKNOWN_HOST) {
    append_page(
        out,
        "<p class=\"Help\">The name in the address is none of this server's. Ask by "
        "localhost, by 127.0.0.1 or by the address that the server listens on, or write the "
        "name into the attribute admin-hosts of the profile.</p>\n");
  } else if (verdict == ADMIN_FOREIGN_PAGE) {
    append_page(out,
                "<p class=\"Help\">A page of another site made the browser ask for this. Use the "
                "<a href=\"/webadmin/\">list of pages</a>.</p>\n");
  } else {
    append_page(out,
                "<p class=\"Help\">A browser changes something here by a link or form of this "
                "server's own pages only. Use the <a href=\"/webadmin/\">list of pages</a>, or a "
                "command line tool if the browser sends no Referer.</p>\n");
  }
  end_page(response);
}

void refuse_method(http_response& response, const char* allowed) {
  set_http_headers(response.headers, "Allow", allowed);
  write_status_page(response, 405, "Method Not Allowed");
}

void answer_with_page(Crawler& crawler, const admin_page& page, const query_fields& fields,
                      http_response& response) {
  begin_page(response, page.heading.text.empty() ? page.title : page.heading);
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
    refuse_method(response, "GET");
    return;
  }
  response.status = 200;
  page.write(crawler, request, response);
}

}  // namespace

void answer_admin_request(Crawler& crawler, const admin_names& names, const http_request& request,
                          http_response& response) {
  const std::string_view target = request.target.path;
  const admin_page* page = find_admin_page(target);
  const query_fields fields = page == nullptr ? query_fields() : read_query_fields(target);
  const bool changes = page != nullptr && does_change(*page, fields);
  const admin_verdict verdict = judge_admin_request(request.headers, names, changes);
  if (verdict != ADMIN_ADMITTED) {
    refuse(response, verdict);
  } else if (changes && request.method == HTTP_HEAD) {
    refuse_method(response, "GET, POST");
  } else if (page != nullptr) {
    answer_with_page(crawler, *page, fields, response);
  } else if (const operator_page* own = find_operator_page(target.substr(0, target.find('?')));
             own != nullptr) {
    answer_with_operator_page(crawler, *own, request, response);
  } else {
    write_status_page(response, 404, "Not Found");
  }
}

}  // namespace wk
