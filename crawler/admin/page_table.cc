#include "crawler/admin/page_table.h"

#include <algorithm>

namespace wk {
namespace {

void write_index_page(page_visit& visit) {
  std::string& out = visit.response.body;
  append_page(out, "<ul>\n");
  for (const admin_page& page : get_admin_pages()) {
    append_page(out, "<li><a href=\"");
    append_page(out, page.path);
    append_page(out, "\">");
    append_page(out, page.title);
    append_page(out, "</a></li>\n");
  }
  append_page(out, "</ul>\n");
}

// The index is last: its path begins every other, and it shows whatever no other page claims.
constexpr admin_page ADMIN_PAGES[] = {
    {"/webadmin/Shutdown", "Shut Down the Crawler", "The Crawler is Exiting...", CHANGES_ALWAYS,
     write_shutdown_page},
    {"/webadmin/Pause", "Pause the Crawler", "Pausing the Crawler...", CHANGES_ALWAYS,
     write_pause_page},
    {"/webadmin/Resume", "Resume a Paused Crawler", "Resuming a Paused Crawler...", CHANGES_ALWAYS,
     write_resume_page},
    {"/webadmin/GetStats", "Crawler Statistics", "", CHANGES_NOTHING, write_statistics_page},
    {"/webadmin/AddUrl", "Add a URL to the Horizon", "", CHANGES_WITH_FIELDS, write_add_url_page},
    {"/webadmin/AddRestrictedUrl",
     "Restrict Crawling to URLs Like...(This function is depreciated)",
     "Restrict Crawling to URLs Like", CHANGES_WITH_FIELDS, write_restricted_url_page},
    {"/webadmin/AddExcludedUrl", "Exclude Crawling URLs Like...(This function is depreciated)",
     "Exclude Crawling URLs Like", CHANGES_WITH_FIELDS, write_excluded_url_page},
    {"/webadmin/AddRestrictedExt",
     "Restrict Crawling to URLs With These Extensions(This function is depreciated)",
     "Crawl URLs With This Extension", CHANGES_WITH_FIELDS, write_restricted_extension_page},
    {"/webadmin/AddExcludedExt",
     "Exclude Crawling URLs With These Extensions(This function is depreciated)",
     "Don't Crawl URLs with This Extension", CHANGES_WITH_FIELDS, write_excluded_extension_page},
    {"/webadmin/AddRestrictedRegex",
     "Restrict Crawling to URLs Matching These Regexes(This function is depreciated)", "",
     CHANGES_WITH_FIELDS, write_restricted_regex_page},
    {"/webadmin/AddExcludedRegex",
     "Exclude Crawling URLs Matching These Regexes(This function is depreciated)", "",
     CHANGES_WITH_FIELDS, write_excluded_regex_page},
    {"/webadmin/SetDepthFirst",
     "Depth-first or Breadth-first Crawling (This function is depreciated)", "",
     CHANGES_WITH_FIELDS, write_depth_first_page},
    {"/webadmin/AddCookie", "Add a Cookie", "", CHANGES_WITH_FIELDS, write_add_cookie_page},
    {"/webadmin/GetCookies", "Display Your Cookies", "", CHANGES_NOTHING, write_cookies_page},
    {"/webadmin/AddAuth", "Add an Authorization Token(This function is depreciated)", "",
     CHANGES_WITH_FIELDS, write_add_credential_page},
    {"/webadmin/GetAuths", "Display Your Authorization Credentials(This function is depreciated)",
     "", CHANGES_NOTHING, write_credentials_page},
    {"/webadmin/SetHonorRobots", "Honor robots.txt", "", CHANGES_WITH_FIELDS,
     write_honor_robots_page},
    {"/webadmin/SetQuota", "Set the Crawler's Quota", "", CHANGES_WITH_FIELDS,
     write_set_quota_page},
    {"/webadmin/GetQuota", "Display the Crawler's Quota", "", CHANGES_NOTHING, write_quota_page},
    {"/webadmin/SetUserAgent", "Set the Crawler's HTTP User-Agent", "", CHANGES_WITH_FIELDS,
     write_user_agent_page},
    {"/webadmin/SetContentCertainty", "Set the Crawler's Content Certainty Threshold", "",
     CHANGES_WITH_FIELDS, write_content_certainty_page},
    {"/webadmin/ConfigureSpiders", "Configure how the Crawler's Downloading Behaves", "",
     CHANGES_WITH_FIELDS, write_spiders_page},
    {"/webadmin/Checkpoint", "Checkpoint the crawler", "", CHANGES_WITH_FIELDS,
     write_checkpoint_page},
    {"/webadmin/", "Crawler Main Index", "", CHANGES_NOTHING, write_index_page},
};

}  // namespace

std::span<const admin_page> get_admin_pages() { return ADMIN_PAGES; }

const admin_page* find_admin_page(std::string_view target) {
  const auto pages = get_admin_pages();
  const auto found = std::find_if(pages.begin(), pages.end(), [target](const admin_page& page) {
    return target.starts_with(page.path.text);
  });
  return found == pages.end() ? nullptr : &*found;
}

}  // namespace wk
