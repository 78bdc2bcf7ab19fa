// Every page of the administration, byte for byte.
//
// page_bodies.txt holds what is asked of one crawler, in order: a line "> target | heading", and
// then what the page holds inside the frame of page_frame.txt. "{}" is the crawl's directory.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <string_view>
#include <tuple>

#include "crawler/admin/admin_dispatch.h"
#include "tests/crawler/core/built_crawler.h"

namespace wk {
namespace {

std::string read_pages(const std::string& name) {
  return read_test_file(WK_SOURCE_DIRECTORY "/tests/crawler/admin/" + name);
}

std::string fill_in(std::string text, const std::string& hole, const std::string& with) {
  for (size_t at = text.find(hole); at != std::string::npos; at = text.find(hole)) {
    text.replace(at, hole.size(), with);
  }
  return text;
}

std::string build_page(const std::string& heading, const std::string& body) {
  return fill_in(fill_in(read_pages("page_frame.txt"), "{heading}", heading), "{body}", body);
}

http_response ask(Crawler& crawler, const std::string& target, const std::string& method = "GET",
                  const std::string& headers = "") {
  http_request request;
  http_response response;
  http_read_stored_request(request, method + " " + target + " HTTP/1.0\r\n" + headers + "\r\n");
  answer_admin_request(crawler, {"", {}}, request, response);
  return response;
}

TEST(admin_pages, are_written_byte_for_byte) {
  crawler_place place;
  place.profile.credentials = {{"http://a.test/", "user", "pass\\word\n"}, {"b.test", "", "x"}};
  place.profile.cookies = {{"a.test", "/", "name", "data; with \x01 and \xff"}};
  const crawler_ptr crawler = build(place);
  write_test_file(place.directory.path + "/another_file", "x");
  crawler->crawl_quota.pages = 20;
  crawler->crawl_quota.megabytes = 5;
  const std::string bodies = fill_in(read_pages("page_bodies.txt"), "{}", place.base);
  std::string_view rest = bodies;
  size_t nb_pages = 0;
  for (; rest.starts_with("> "); ++nb_pages) {
    const size_t end = std::min(rest.find("\n> "), rest.size() - 1) + 1;
    const std::string entry(rest.substr(2, end - 2));
    const size_t bar = entry.find(" | ");
    const size_t line_end = entry.find('\n');
    const std::string target = entry.substr(0, bar);
    SCOPED_TRACE(target);
    const http_response response = ask(*crawler, target);
    EXPECT_EQ(response.status, 200u);
    EXPECT_EQ(response.body,
              build_page(entry.substr(bar + 3, line_end - bar - 3), entry.substr(line_end + 1)));
    std::string headers;
    append_http_headers(headers, response.headers);
    const char* refresh =
        target == "/webadmin/GetStats" ? "Refresh: 5; URL=/webadmin/GetStats\r\n" : "";
    EXPECT_EQ(headers, std::string("Content-Type: text/html\r\n") + refresh);
    rest.remove_prefix(end);
  }
  EXPECT_GT(nb_pages, 60u);
  EXPECT_FALSE(std::filesystem::exists(place.base + "/none"));
  EXPECT_EQ(read_test_file(place.directory.path + "/another_file"), "x");
}

// What an action leaves behind, where its page does not show it.
TEST(admin_pages, change_the_filter_as_each_says) {
  // The query, a URL that is allowed then, and one that is not.
  const std::tuple<const char*, const char*, const char*> cases[] = {
      {"AddExcludedExt?ext=png", "http://b.test/x.pngs", "http://b.test/x.png"},
      {"AddExcludedRegex?regex=http://b.test/e", "http://b.test/ex", "http://b.test/e"},
      {"AddExcludedUrl?url=http://b.test/u", "http://b.test/x", "http://b.test/under"},
      {"AddRestrictedRegex?regex=http://n.test/r", "http://n.test/regex", "http://n.test/x"},
      {"AddRestrictedUrl?url=http://n.test/u", "http://n.test/under", "http://n.test/x"},
      {"AddRestrictedExt?ext=xyz", "xyz://x", "http://n.test/x.xyz"},
  };
  const crawler_place place;
  const crawler_ptr crawler = build(place);
  for (const auto& [query, allowed, refused] : cases) {
    SCOPED_TRACE(query);
    EXPECT_EQ(ask(*crawler, std::string("/webadmin/") + query).status, 200u);
    EXPECT_TRUE(is_allowed_url_filter(crawler->filter, allowed));
    EXPECT_FALSE(is_allowed_url_filter(crawler->filter, refused));
  }
}

TEST(admin_dispatch, answers_by_path_method_and_origin) {
  const std::tuple<const char*, const char*, const char*, uint32_t> cases[] = {
      {"GET", "/", "", 404},
      {"GET", "/webadmin", "", 404},
      {"GET", "/Webadmin/Shutdown", "", 404},
      {"GET", "http://localhost/webadmin/Shutdown", "", 404},
      {"GET", "/metrics/", "", 404},
      {"GET", "/live2", "", 404},
      {"GET", "/metrics?x=y", "", 200},
      {"POST", "/metrics", "", 405},
      {"HEAD", "/live", "", 405},
      {"GET", "/metrics", "Origin: null\r\n", 403},
      {"GET", "/webadmin/Shutdown", "Sec-Fetch-Site: cross-site\r\n", 403},
      {"POST", "/webadmin/Shutdown", "Host: a.test\r\n", 403},
      {"GET", "/webadmin/Shutdown", "User-Agent: Mozilla/5.0\r\n", 403},
      {"GET", "/webadmin/AddUrl?url=http://a.test/", "User-Agent: Mozilla/5.0\r\n", 403},
  };
  const crawler_place place;
  const crawler_ptr crawler = build(place);
  for (const auto& [method, target, headers, status] : cases) {
    SCOPED_TRACE(std::string(method) + " " + target + " " + headers);
    const http_response response = ask(*crawler, target, method, headers);
    EXPECT_EQ(response.status, status);
    const bool is_operators = response.status == 200 || response.status == 405;
    for (const char* name :
         {"Content-Security-Policy", "X-Content-Type-Options", "Cache-Control"}) {
      EXPECT_EQ(find_http_headers(response.headers, name) != nullptr, is_operators) << name;
    }
    if (status != 404) continue;
    EXPECT_EQ(response.body, build_page("Not Found",
                                        "<p class=\"Help\">The server has not found anything "
                                        "matching the Request-URI.</p>\n"));
  }
  EXPECT_FALSE(is_stopped(crawler->gate));
}

}  // namespace
}  // namespace wk
