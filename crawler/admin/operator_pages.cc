#include "crawler/admin/operator_pages.h"

#include "crawler/admin/live_page.h"
#include "crawler/admin/metrics_page.h"
#include "crawler/admin/status_page.h"
#include "crawler/core/crawl_facts.h"

namespace wk {
namespace {

void write_metrics(Crawler& crawler, const http_request& /*request*/, http_response& response) {
  set_http_headers(response.headers, "Content-Type", METRICS_CONTENT_TYPE);
  append_metrics(response.body, gather_crawl_facts(crawler));
}

void write_status(Crawler& crawler, const http_request& /*request*/, http_response& response) {
  set_http_headers(response.headers, "Content-Type", STATUS_CONTENT_TYPE);
  append_status(response.body, gather_crawl_facts(crawler));
}

// The server's own policy lets no script run; this page has one.
void write_live(Crawler& crawler, const http_request& /*request*/, http_response& response) {
  const std::string nonce = draw_live_nonce();
  set_http_headers(response.headers, "Content-Type", LIVE_CONTENT_TYPE);
  set_http_headers(response.headers, "Content-Security-Policy", build_live_policy(nonce));
  append_live_page(response.body, gather_crawl_facts(crawler), nonce);
}

constexpr operator_page PAGES[] = {
    {"/live", write_live},
    {"/metrics", write_metrics},
    {"/status.json", write_status},
};

}  // namespace

const operator_page* find_operator_page(std::string_view path) {
  path = path.substr(0, path.find('?'));
  for (const operator_page& page : PAGES) {
    if (path == page.path) return &page;
  }
  return nullptr;
}

}  // namespace wk
