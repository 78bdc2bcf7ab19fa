#include "crawler/admin/page_frame.h"

#include "crawler/fetch/http_status.h"

namespace wk {
namespace {

constexpr page_text DOCUMENT_TYPE =
    "<!DOCTYPE HTML PUBLIC \"-//W3C//DTD HTML 4.01 Transitional//EN\"\n"
    "\t\"http://www.w3.org/TR/html4/loose.dtd\">\n";

constexpr page_text STYLE =
    "<style type=\"text/css\">\n<!--\n"
    "body { margin: 24pt; font-family: arial, helvetica, sans-serif; font-size: 10pt }\n"
    "table { border-collapse: collapse; width:100% }\n"
    "td, th { font-size: 8pt; border-style: solid; border-color: #999999; border-width: 1px; "
    "padding: 2px }\n"
    "p.Help { font-size: 8pt; }\n"
    "p.Result { font-size: 10pt; font-weight: bold }\n"
    "p { margin: 0; margin-bottom: 10pt }\n"
    "-->\n</style>\n";

}  // namespace

void begin_page(http_response& response, page_text title) {
  response.status = 200;
  set_http_headers(response.headers, "Content-Type", "text/html");
  std::string& out = response.body;
  append_page(out, DOCUMENT_TYPE);
  append_page(out, "<html>\n<head>\n<title>");
  append_page(out, title);
  append_page(out, " - Wendrake Crawler Administrator</title>\n");
  append_page(out, STYLE);
  append_page(out, "</head>\n<body>\n<h2>");
  append_page(out, title);
  append_page(out, "</h2>\n");
}

void end_page(http_response& response) {
  append_page(response.body, "<p><a href=\"/webadmin/\">Index</a></p>\n</body>\n</html>\n");
}

void begin_status_page(http_response& response, uint32_t status, page_text title) {
  begin_page(response, title);
  response.status = status;
  append_page(response.body, "<p class=\"Help\">%s</p>\n", {http_status_description(status)});
}

void write_status_page(http_response& response, uint32_t status, page_text title) {
  begin_status_page(response, status, title);
  end_page(response);
}

}  // namespace wk
