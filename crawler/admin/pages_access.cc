// Cookies and credentials.
#include <mutex>
#include <vector>

#include "crawler/admin/page_writer.h"
#include "crawler/admin/pages.h"

namespace wk {
namespace {

// Of one table: a jar may hold more than a browser can show.
constexpr size_t MAX_TABLE_BYTES = 16 << 20;
constexpr page_text TABLE_CUT = "<p class=\"Help\">There are more than are shown here.</p>\n";

void append_empty_fields(std::string& out, const std::string& names) {
  append_page(out, "<p class=\"Result\">Nothing was added; empty: %s.</p>\n", {names});
}

std::vector<fetch_credential> list_credentials(const fetch_settings& settings) {
  const std::shared_lock<std::shared_mutex> hold(settings.lock);
  return settings.credentials;
}

// Without a site the cookie would go to every site.
void add_cookie(page_visit& visit) {
  std::string& out = visit.response.body;
  const std::string* site = find_field(visit.fields, "site");
  const std::string* path = find_field(visit.fields, "path");
  const std::string* key = find_field(visit.fields, "key");
  const std::string* data = find_field(visit.fields, "data");
  if (site == nullptr || path == nullptr || key == nullptr || data == nullptr) return;
  const std::string empty = list_empty_fields(visit.fields, {"site", "path", "key", "data"});
  if (!empty.empty()) {
    append_empty_fields(out, empty);
  } else if (cookie_jar_add(visit.crawler.cookies, *site, *path, COOKIE_NEVER_EXPIRES, *key,
                            *data) != 0) {
    append_page(out, "<p class=\"Result\">Added a cookie for '%s%s'.</p>\n", {*site, *path});
  } else {
    append_page(out,
                "<p class=\"Result\">Nothing was added; a cookie holds no line end and no "
                "zero byte.</p>\n");
  }
}

// Without a site the password would go to every site.
void add_credential(page_visit& visit) {
  std::string& out = visit.response.body;
  const std::string* site = find_field(visit.fields, "site");
  const std::string* user = find_field(visit.fields, "user");
  const std::string* password = find_field(visit.fields, "pass");
  if (site == nullptr || user == nullptr || password == nullptr) return;
  const std::string empty = list_empty_fields(visit.fields, {"site", "user", "pass"});
  if (!empty.empty()) return append_empty_fields(out, empty);
  add_credential_fetch_settings(visit.crawler.fetch, *site, *user, *password);
  append_page(out, "<p class=\"Result\">Added a cookie for '%s'.</p>\n", {*site});
}

}  // namespace

void write_add_cookie_page(page_visit& visit) {
  std::string& out = visit.response.body;
  append_page(out,
              "<form action=\"/webadmin/AddCookie\" method=\"get\">\n"
              "<p>Site: <input type=\"text\" name=\"site\"></p>\n"
              "<p>Path: <input name=\"path\" type=\"text\"></p>\n"
              "<p>Key: &nbsp;<input name=\"key\" type=\"text\"></p>\n"
              "<p>Data: <input name=\"data\" type=\"text\"></p>\n"
              "<p><input type=\"submit\" value=\"Submit\"></p></form>\n");
  add_cookie(visit);
  append_page(out,
              "<p class=\"Help\">Click <a href=\"/webadmin/GetCookies\">here</a> to view your "
              "cookies.</p>\n<p class=\"Help\">This form adds a cookie. See <a "
              "href=\"https://www.rfc-editor.org/rfc/rfc6265\">RFC 6265</a> for how cookies "
              "work.</p>\n");
}

void write_cookies_page(page_visit& visit) {
  std::string& out = visit.response.body;
  append_page(out, "<table>\n<tr><th>Site:</th><th>Key:</th><th>Value</th></tr>\n");
  bool cut = false;
  for (const cookie& row : list_cookie_jar(visit.crawler.cookies)) {
    cut = out.size() > MAX_TABLE_BYTES;
    if (cut) break;
    append_page(out, "<tr><td>%s</td><td>%s</td><td>%s</td></tr>\n",
                {row.key, row.name, row.value});
  }
  append_page(out, "</table>\n");
  if (cut) append_page(out, TABLE_CUT);
  append_page(out,
              "<p class=\"Help\">Click <a href=\"/webadmin/AddCookie\">here</a> to add a "
              "cookie.</p>\n<p class=\"Help\">This page displays your cookies. See <a "
              "href=\"https://www.rfc-editor.org/rfc/rfc6265\">RFC 6265</a> for how cookies "
              "work.</p>\n");
}

void write_add_credential_page(page_visit& visit) {
  std::string& out = visit.response.body;
  append_page(out,
              "<form action=\"/webadmin/AddAuth\" method=\"get\">\n"
              "<p>Site: <input type=\"text\" name=\"site\"></p>\n"
              "<p>User: <input name=\"user\" type=\"text\"></p>\n"
              "<p>Pass: <input name=\"pass\" type=\"password\"></p>\n"
              "<p><input type=\"submit\" value=\"Submit\"></p></form>\n");
  add_credential(visit);
  append_page(out,
              "<p class=\"Help\">Click <a href=\"/webadmin/GetAuths\">here</a> to view your "
              "authorization credentials.</p>\n<p class=\"Help\">This form adds an HTTP 401 "
              "authentication token. See <a href=\"https://www.rfc-editor.org/rfc/rfc2617\">RFC "
              "2617</a>.</p>\n");
}

void write_credentials_page(page_visit& visit) {
  std::string& out = visit.response.body;
  append_page(out, "<table>\n<tr><th>Site:</th><th>Authorization:</th></tr>\n");
  bool cut = false;
  for (const fetch_credential& row : list_credentials(visit.crawler.fetch)) {
    cut = out.size() > MAX_TABLE_BYTES;
    if (cut) break;
    append_page(out, "<tr><td>%s</td><td>%s</td></tr>\n", {row.key, row.value});
  }
  append_page(out, "</table>\n");
  if (cut) append_page(out, TABLE_CUT);
  append_page(out,
              "<p class=\"Help\">Click <a href=\"/webadmin/AddAuth\">here</a> to add "
              "authorization credentials.</p>\n<p class=\"Help\">This page displays HTTP 401 "
              "authentication tokens. See <a "
              "href=\"https://www.rfc-editor.org/rfc/rfc2617\">RFC 2617</a>.</p>\n");
}

}  // namespace wk
