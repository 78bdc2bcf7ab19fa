// The crawl-wide quota.
#include "crawler/admin/page_writer.h"
#include "crawler/admin/pages.h"
#include "wkstd/text.h"

namespace wk {
namespace {

// A limit of 0 has no share that could be used up.
std::string write_quota_share(uint32_t counted, uint32_t limit) {
  if (limit == 0) return "0";
  return format_text("%g", static_cast<double>(counted) / static_cast<double>(limit));
}

// A box that is off leaves the old limit as it was.
void change_quota(quota& limits, const query_fields& fields) {
  const bool has_page_limit = is_box_checked(fields, "has_page_quota");
  const bool has_mb_limit = is_box_checked(fields, "has_mb_quota");
  if (has_page_limit) {
    set_page_limit_quota(limits, static_cast<uint32_t>(read_number_field(fields, "page_quota")));
  }
  if (has_mb_limit) {
    set_mb_limit_quota(limits, static_cast<uint32_t>(read_number_field(fields, "mb_quota")));
  }
  switch_limits_quota(limits, has_page_limit, has_mb_limit);
}

void write_quota_form(std::string& out, const quota& limits) {
  append_page(out,
              "<form action=\"/webadmin/SetQuota\" method=\"get\">\n"
              "<input type=\"hidden\" name=\"submitted\" value=\"true\">\n");
  append_page(out,
              "<p>Limit on how many pages the crawler can download: <input name=\"page_quota\" "
              "type=\"text\" value=\"%s\"></p>\n<p>Has a page quota limit: <input "
              "type=\"checkbox\" name=\"has_page_quota\" %s></p>",
              {write_page_number(limits.page_limit), limits.has_page_limit != 0 ? "checked" : ""});
  append_page(out,
              "<p>Limit on how many megabytes the crawler can download: <input name=\"mb_quota\" "
              "type=\"text\" value=\"%s\"></p>\n<p>Has a megabyte quota limit: <input "
              "name=\"has_mb_quota\" type=\"checkbox\" %s></p>\n",
              {write_page_number(limits.mb_limit), limits.has_mb_limit != 0 ? "checked" : ""});
  append_page(out, "<p><input type=\"submit\" value=\"Submit\"></p>\n</form>\n");
}

}  // namespace

void write_set_quota_page(page_visit& visit) {
  quota& limits = visit.crawler.crawl_quota;
  std::string& out = visit.response.body;
  const bool submitted = find_field(visit.fields, "submitted") != nullptr;
  if (submitted) change_quota(limits, visit.fields);
  write_quota_form(out, limits);
  if (submitted) append_page(out, "<p class=\"Result\">Set quota.</p>\n");
  append_page(out,
              "<p class=\"Help\">Click <a href=\"/webadmin/GetQuota\">here</a> to view your "
              "quota.</p>\n");
}

void write_quota_page(page_visit& visit) {
  const quota& limits = visit.crawler.crawl_quota;
  std::string& out = visit.response.body;
  const uint32_t pages = limits.pages;
  const uint32_t page_limit = limits.page_limit;
  const uint32_t megabytes = limits.megabytes;
  const uint32_t mb_limit = limits.mb_limit;
  append_page(out, "<h2>Page Quota:</h2>\n");
  if (limits.has_page_limit != 0) {
    append_page(out, "<p>%s of %s pages (%s%).</p>\n",
                {write_page_number(pages), write_page_number(page_limit),
                 write_quota_share(pages, page_limit)});
  } else {
    append_page(out, "<p>The crawler does not have a page-quota.</p>\n");
  }
  append_page(out, "<h2>MegaByte Quota:</h2>\n");
  if (limits.has_mb_limit != 0) {
    append_page(out, "<p>%s of %s MegaBytes (%s%).</p>\n",
                {write_page_number(megabytes), write_page_number(mb_limit),
                 write_quota_share(megabytes, mb_limit)});
  } else {
    append_page(out, "<p>The crawler does not have a byte-quota.</p>\n");
  }
  append_page(out,
              "<p class=\"Help\">Click <a href=\"/webadmin/SetQuota\">here</a> to change the "
              "crawler's quota.</p>\n");
}

}  // namespace wk
