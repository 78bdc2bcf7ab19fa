// Adding patterns to the URL filter.
#include "crawler/admin/page_writer.h"
#include "crawler/admin/pages.h"
#include "crawler/url/url_filter.h"

namespace wk {
namespace {

struct filter_page {
  page_text form;
  const char* field;
  url_filter_side side;
  url_filter_kind kind;
  page_text added;
  page_text failed;
  page_text help;
};

constexpr filter_page RESTRICTED_URL = {
    "<form action=\"/webadmin/AddRestrictedUrl\" method=\"get\"><p>URL: <input type=\"text\" "
    "name=\"url\"> <input type=\"submit\" value=\"Add\"></p></form>\n",
    "url",
    URL_FILTER_RESTRICTED,
    URL_FILTER_URL,
    "<p class=\"Result\">Now restricting crawling to URLs like '%s'</p>\n",
    "<p class=\"Result\">Failed to restrict crawling to URLs like '%s'</p>\n",
    "<p class=\"Help\">The 'restricted URL set' is the set of sites that you wish to visit. Only "
    "URLs in this set will be visited. Links to sites that aren't contained in this set won't be "
    "visited.</p>\n",
};

constexpr filter_page EXCLUDED_URL = {
    "<form action=\"/webadmin/AddExcludedUrl\" method=\"get\"><p>URL: <input type=\"text\" "
    "name=\"url\"> <input type=\"submit\" value=\"Add\"></p></form>\n",
    "url",
    URL_FILTER_EXCLUDED,
    URL_FILTER_URL,
    "<p class=\"Result\">Now excluding URLs like '%s'.</p>\n",
    "<p class=\"Result\">Failed to exclude URLs like '%s'.</p>\n",
    "<p class=\"Help\">The 'excluded URL set' is the set of sites that you do not wish to visit. "
    "Links to sites that are contained in this set won't be visited.</p>\n",
};

// The extension is taken as the beginning of a URL, which in practice refuses every URL.
constexpr filter_page RESTRICTED_EXTENSION = {
    "<form action=\"/webadmin/AddRestrictedExt\" method=\"get\"><p>Extension: <input "
    "type=\"text\" name=\"ext\"> <input type=\"submit\" value=\"Add\"></p></form>\n",
    "ext",
    URL_FILTER_RESTRICTED,
    URL_FILTER_URL,
    "<p class=\"Result\">Now restricting crawling to URLs with '.%s' extensions.</p>\n",
    "<p class=\"Result\">Failed to restrict crawling to URLs with '.%s' extensions.</p>\n",
    "<p class=\"Help\">The 'restricted extension set' is the set of file extensions that you wish "
    "to crawl. Only URLs not ending with an extension in this set will not be visited.</p>\n"
    "<p class=\"Help\">Do not use a preceding period. Example: html</p>\n",
};

constexpr filter_page EXCLUDED_EXTENSION = {
    "<form action=\"/webadmin/AddExcludedExt\" method=\"get\"><p>Extension: <input "
    "type=\"text\" name=\"ext\"> <input type=\"submit\" value=\"Add\"></p></form>\n",
    "ext",
    URL_FILTER_EXCLUDED,
    URL_FILTER_EXTENSION,
    "<p class=\"Result\">Now excluding URLs with '.%s' extensions.</p>\n",
    "<p class=\"Result\">Failed to exclude URLs with '.%s' extensions.</p>\n",
    "<p class=\"Help\">The 'excluded extension set' is the set of file extensions that you do not "
    "wish to crawl. URLs ending with an extension in this set will not be visited.</p>\n"
    "<p class=\"Help\">Do not use a preceding period. Example: doc</p>\n",
};

// As on the page of URLs, whatever follows a match is allowed too.
constexpr filter_page RESTRICTED_REGEX = {
    "<form action=\"/webadmin/AddRestrictedRegex\" method=\"get\"><p>Regular Expression: <input "
    "type=\"text\" name=\"regex\"> <input type=\"submit\" value=\"Add\"></p></form>\n",
    "regex",
    URL_FILTER_RESTRICTED,
    URL_FILTER_URL,
    "<p class=\"Result\">Now restricting crawling to URLs matching '%s' regular "
    "expressions.</p>\n",
    "<p class=\"Result\">Failed to restrict crawling to URLs matching '.%s' regular "
    "expressions.</p>\n",
    "<p class=\"Help\">The 'restricted regular expression set' is the set of regular expressions "
    "that wish to crawl. Only URLs matching these regular expressions will be crawled.</p>\n",
};

constexpr filter_page EXCLUDED_REGEX = {
    "<form action=\"/webadmin/AddExcludedRegex\" method=\"get\"><p>Regular Expression: <input "
    "type=\"text\" name=\"regex\"> <input type=\"submit\" value=\"Add\"></p></form>\n",
    "regex",
    URL_FILTER_EXCLUDED,
    URL_FILTER_REGEX,
    "<p class=\"Result\">Now excluding URLs matching '%s' regular expressions.</p>\n",
    "<p class=\"Result\">Failed to exclude URLs matching '.%s' regular expressions.</p>\n",
    "<p class=\"Help\">The 'excluded regular expression set' is the set of regular expressions "
    "that do not wish to crawl. URLs matching these regular expressions will not be "
    "crawled.</p>\n",
};

void write_filter_page(page_visit& visit, const filter_page& page) {
  std::string& out = visit.response.body;
  append_page(out, page.form);
  if (const std::string* entry = find_filled_field(visit.fields, page.field); entry != nullptr) {
    const bool added = add_url_filter(visit.crawler.filter, page.side, page.kind, *entry) != 0;
    append_page(out, added ? page.added : page.failed, {*entry});
  }
  append_page(out, page.help);
}

}  // namespace

void write_restricted_url_page(page_visit& visit) { write_filter_page(visit, RESTRICTED_URL); }

void write_excluded_url_page(page_visit& visit) { write_filter_page(visit, EXCLUDED_URL); }

void write_restricted_extension_page(page_visit& visit) {
  write_filter_page(visit, RESTRICTED_EXTENSION);
}

void write_excluded_extension_page(page_visit& visit) {
  write_filter_page(visit, EXCLUDED_EXTENSION);
}

void write_restricted_regex_page(page_visit& visit) { write_filter_page(visit, RESTRICTED_REGEX); }

void write_excluded_regex_page(page_visit& visit) { write_filter_page(visit, EXCLUDED_REGEX); }

}  // namespace wk
