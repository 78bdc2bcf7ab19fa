// The pages of the administration: one small function each.
//
// A page reads the fields of the query, acts on the crawler, and appends its body, which is a form,
// the result of what was done, a link to a related page and a help text, in this order. The frame
// around it is the caller's. A form shows the values in force after the action.
// Threads: the administration thread; spiders run beside it.
#pragma once

#include "crawler/admin/query_fields.h"
#include "crawler/core/crawler.h"
#include "crawler/fetch/http_message.h"

namespace wk {

// One request that is being answered.
struct page_visit {
  Crawler& crawler;
  const query_fields& fields;
  http_response& response;
};

// pages_control.cc
void write_shutdown_page(page_visit& visit);
void write_pause_page(page_visit& visit);
void write_resume_page(page_visit& visit);
void write_statistics_page(page_visit& visit);
void write_add_url_page(page_visit& visit);
void write_checkpoint_page(page_visit& visit);

// pages_filter.cc
void write_restricted_url_page(page_visit& visit);
void write_excluded_url_page(page_visit& visit);
void write_restricted_extension_page(page_visit& visit);
void write_excluded_extension_page(page_visit& visit);
void write_restricted_regex_page(page_visit& visit);
void write_excluded_regex_page(page_visit& visit);

// pages_access.cc
void write_add_cookie_page(page_visit& visit);
void write_cookies_page(page_visit& visit);
void write_add_credential_page(page_visit& visit);
void write_credentials_page(page_visit& visit);

// pages_quota.cc
void write_set_quota_page(page_visit& visit);
void write_quota_page(page_visit& visit);

// pages_settings.cc
void write_depth_first_page(page_visit& visit);
void write_honor_robots_page(page_visit& visit);
void write_user_agent_page(page_visit& visit);
void write_content_certainty_page(page_visit& visit);
void write_spiders_page(page_visit& visit);

}  // namespace wk
