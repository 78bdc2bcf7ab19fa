#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "crawler/url/url_address.h"
#include "crawler/url/url_parts.h"
#include "crawler/url/url_query.h"
#include "crawler/url/url_record.h"

namespace wk {
namespace {

using testing::ElementsAre;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

TEST(get_url_host, keeps_user_port_and_case) {
  const std::tuple<const char*, int, const char*> cases[] = {
      {"http://U:p@Host:80/x", 1, "U:p@Host:80"},
      {"https://h", 1, "h"},
      {"HTTP://h?x=1/", 1, "h?x=1"},
      {"http:", 1, ""},
      {"https:x", 1, ""},
      {"ftp://h/", 0, "kept"},
      {"h/x", 0, "kept"},
  };
  for (const auto& [url, status, expected] : cases) {
    std::string out = "kept";
    EXPECT_EQ(get_url_host(out, url), status) << url;
    EXPECT_EQ(out, expected) << url;
    EXPECT_EQ(find_url_host(url), status == 1 ? expected : "") << url;
  }
}

TEST(get_url_site, is_scheme_and_host) {
  const std::string long_host = "http://" + std::string(2'000, 'h') + "/x";
  const std::tuple<std::string, int, std::string> cases[] = {
      {"http://host:8080/a", 0, "http://host:8080"},
      {"http://ab", 0, "http://ab"},
      {"http://h/", 0, "http://h"},
      {"https://h", 0, "https://h"},
      {"ftp://ab/c/d", 0, "ftp://ab"},
      {"ftp://a/bc/d", 0, "ftp://a/bc"},  // the search begins at byte 8
      {"http://h", -1, "kept"},
      {"HTTP://host/", -1, "kept"},
      {"gopher://h/", -1, "kept"},
      {long_host, 0, long_host.substr(0, 1'023)},
  };
  for (const auto& [url, status, expected] : cases) {
    std::string out = "kept";
    EXPECT_EQ(get_url_site(out, url), status) << url;
    EXPECT_EQ(out, expected) << url;
  }
}

TEST(url_depth, counts_path_and_host) {
  const std::tuple<const char*, uint32_t, uint32_t> cases[] = {
      {"http://h/a/b", 2, 1},
      {"http://h/a?x=1", 2, 1},
      {"http://h/", 1, 1},
      {"http://a.b.c", 1, 3},
      {"http://a.b.", 1, 2},
      {"http://a.b.c/x.html", 1, 3},
      {"http://h/a/b=/c", 4, 1},
      {"", 1, 1},
      {"a.b", 1, 2},
  };
  for (const auto& [url, path_depth, host_depth] : cases) {
    EXPECT_EQ(get_url_path_depth(url), path_depth) << url;
    EXPECT_EQ(get_url_host_depth(url), host_depth) << url;
  }
}

// Values computed apart from this code: checkpoints name queues by them.
TEST(hash_url_host, stays_as_it_is) {
  const std::tuple<const char*, uint32_t> cases[] = {
      {"", 0x0},
      {"h", 0x68},
      {"ab", 0xFFFCF7FF},
      {"example.com", 0x32671388},
      {"h:8080", 0xAE3FDC92},
      {"\xFF\xFE", 0xFFF807F9},
  };
  for (const auto& [host, hash] : cases) EXPECT_EQ(hash_url_host(host), hash) << host;
}

TEST(split_url, serves_pages_and_proxies) {
  // Each record had port 8 before.
  const std::tuple<const char*, url_address_scheme, const char*, uint32_t, const char*> cases[] = {
      {"http://h/a?b=c", URL_ADDRESS_HTTP, "h", 8, "/a?b=c"},
      {"HTTPS://H", URL_ADDRESS_HTTPS, "H", 443, "/"},
      {"ftp://h:2121/f", URL_ADDRESS_FTP, "h", 2121, "/f"},
      {"proxy:3128", URL_ADDRESS_HTTP, "proxy", 3128, "/"},
      {"proxy", URL_ADDRESS_HTTP, "proxy", 8, "/"},
      {"https://h:80x/", URL_ADDRESS_HTTPS, "h", 80, "/"},
      {"https://h:/", URL_ADDRESS_HTTPS, "h", 0, "/"},
      {"http://h:99999999999/", URL_ADDRESS_HTTP, "h", 4'294'967'295, "/"},
      {"http://u:1@h/", URL_ADDRESS_HTTP, "u", 1, "/"},
      {"http://h?x", URL_ADDRESS_HTTP, "h?x", 8, "/"},
  };
  for (const auto& [text, scheme, host, port, path] : cases) {
    SCOPED_TRACE(text);
    url_address address;
    address.port = 8;
    ASSERT_EQ(split_url(address, text), 1);
    EXPECT_EQ(address.scheme, scheme);
    EXPECT_EQ(address.host, host);
    EXPECT_EQ(address.port, port);
    EXPECT_EQ(address.path, path);
  }
  url_address untouched;
  EXPECT_EQ(split_url(untouched, "gopher://h/"), 0);
  EXPECT_EQ(split_url(untouched, "proxy:3128/x?u=http://y"), 0);
  EXPECT_EQ(untouched.host, "");
}

TEST(parse_url, takes_all_parts) {
  url_record record;
  ASSERT_EQ(parse_url(record, "http://u:p@h:81/x?a=1&b=&c&&d=e=f#f#g"), 1);
  EXPECT_EQ(record.scheme, URL_RECORD_HTTP);
  EXPECT_EQ(record.user, "u");
  EXPECT_EQ(record.password, "p");
  EXPECT_EQ(record.host, "h");
  EXPECT_EQ(record.port, 81u);
  EXPECT_EQ(record.path, "/x");
  EXPECT_THAT(record.parameters, ElementsAre("a", "1", "b", "", "c", "", "d", "e=f"));
  EXPECT_EQ(record.nb_parameters, 4u);
  EXPECT_EQ(record.fragment, "f#g");
  reset_url_record(record);
  EXPECT_EQ(record.port + record.nb_parameters + record.scheme, 0u);
  EXPECT_EQ(record.text + record.user + record.password + record.host + record.path, "");
  EXPECT_TRUE(record.parameters.empty() && record.fragment.empty());
}

TEST(parse_url, takes_what_there_is) {
  // scheme, user, host, port, path, fragment; one record for all, so nothing may stay behind
  const std::tuple<const char*, url_record_scheme, const char*, const char*, uint32_t, const char*,
                   const char*>
      cases[] = {
          {"HTTPS://h", URL_RECORD_HTTPS, "", "h", 443, "/", ""},
          {"ftp://h?x", URL_RECORD_FTP, "", "h", 21, "/", ""},
          {"ftps://h#f", URL_RECORD_FTPS, "", "h", 990, "/", "f"},
          {"http://h:/p", URL_RECORD_HTTP, "", "h", 80, "/p", ""},
          {"http://user@host/", URL_RECORD_HTTP, "", "user@host", 80, "/", ""},
          {"http://h/a:b@c", URL_RECORD_HTTP, "", "h", 80, "/a:b@c", ""},
          {"http://u:@h:8/", URL_RECORD_HTTP, "u", "h", 8, "/", ""},
          {"mailto:a@b?c#d", URL_RECORD_MAILTO, "", "", 0, "/", ""},
          {"about:blank", URL_RECORD_ABOUT, "", "", 0, "/", ""},
          {"/webadmin/x?a=b#c", URL_RECORD_UNKNOWN, "", "", 0, "/", ""},
      };
  url_record record;
  for (const auto& [text, scheme, user, host, port, path, fragment] : cases) {
    SCOPED_TRACE(text);
    ASSERT_EQ(parse_url(record, text), 1);
    EXPECT_EQ(record.text, text);
    EXPECT_EQ(record.scheme, scheme);
    EXPECT_EQ(record.user, user);
    EXPECT_EQ(record.host, host);
    EXPECT_EQ(record.port, port);
    EXPECT_EQ(record.path, path);
    EXPECT_EQ(record.fragment, fragment);
  }
}

TEST(parse_url, reports_a_port_that_is_no_number) {
  for (const char* text : {"http://h:8x/p?q=1#f", "http://:p@h/x?q=1#f"}) {
    url_record record;
    CaptureStderr();
    EXPECT_EQ(parse_url(record, text), 1);
    EXPECT_EQ(GetCapturedStderr(), "fail to to parse url " + std::string(text) + "\n");
    EXPECT_EQ(record.path, "/");
    EXPECT_EQ(record.nb_parameters, 0u);
    EXPECT_EQ(record.fragment, "");
  }
}

TEST(parse_query_string, decodes_each_piece) {
  using pairs = std::vector<std::pair<std::string, std::string>>;
  const std::tuple<std::string, pairs> cases[] = {
      {"/p", {}},
      {"/p?a=1&b=2;c", {{"a", "1"}, {"b", "2"}, {"c", ""}}},
      {"?a+b=c+d%2B%26%3b", {{"a b", "c d+&;"}}},
      {"?a=b=c&&=v", {{"a", "b=c"}, {"", ""}, {"", "v"}}},
      {"?q=a?b", {{"q", "a?b"}}},
      {"?%41%6a=%4A", {{"Aj", "J"}}},
      {"?a=%&b=%4;c=x%", {{"a", "%"}, {"b", "%4"}, {"c", "x%"}}},
      {"?a=%00%ff", {{"a", std::string("\0\xFF", 2)}}},
      {"?a=%4G%g0%+1",
       {{"a", std::string("\x50\0\x01", 3)}}},  // not checked: some byte for any two
      {"?", {{"", ""}}},
  };
  for (const auto& [text, expected] : cases) {
    SCOPED_TRACE(text);
    pairs seen;
    const auto add = [](const std::string& name, const std::string& value, void* context) {
      static_cast<pairs*>(context)->emplace_back(name, value);
    };
    EXPECT_EQ(parse_query_string(text, add, &seen), expected.size());
    EXPECT_EQ(seen, expected);
  }
}

}  // namespace
}  // namespace wk
