// URLs taken apart: host and site, what a connection needs, the query.
#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "crawler/url/url_address.h"
#include "crawler/url/url_parts.h"
#include "crawler/url/url_query.h"

namespace wk {
namespace {

TEST(url_parts, are_the_keys_that_others_use) {
  const std::string long_host = "http://" + std::string(2'000, 'h') + "/x";
  // URL, host, site
  const std::tuple<std::string, std::string, std::string> cases[] = {
      {"http://U:p@Host:80/x", "U:p@Host:80", "http://U:p@Host:80"},
      {"HTTP://h?x=1/", "h?x=1", ""},
      {"https://h", "h", "https://h"},
      {"http://ab", "ab", "http://ab"},
      {"http://h", "h", ""},  // too short for a site
      {"http:", "", ""},
      {"ftp://ab/c/d", "", "ftp://ab"},
      {"ftp://a/bc/d", "", "ftp://a/bc"},  // the search begins at byte 8
      {"gopher://h/", "", ""},
      {long_host, std::string(2'000, 'h'), long_host.substr(0, 1'023)},
  };
  for (const auto& [url, host, site] : cases) {
    EXPECT_EQ(find_url_host(url), host) << url;
    EXPECT_EQ(find_url_site(url), site) << url;
  }
  // Values computed apart from this code: checkpoints name queues by them.
  EXPECT_EQ(hash_url_host("example.com"), 0x32671388u);
  EXPECT_EQ(hash_url_host("h:8080"), 0xAE3FDC92u);
  EXPECT_EQ(hash_url_host("\xFF\xFE"), 0xFFF807F9u);
}

TEST(split_url, serves_pages_and_proxies) {
  // Each record had port 8 before.
  const std::tuple<const char*, url_address_scheme, const char*, uint32_t, const char*> cases[] = {
      {"http://h/a?b=c", URL_ADDRESS_HTTP, "h", 8, "/a?b=c"},
      {"HTTPS://H", URL_ADDRESS_HTTPS, "H", 443, "/"},
      {"ftp://h:2121/f", URL_ADDRESS_FTP, "h", 2121, "/f"},
      {"proxy:3128", URL_ADDRESS_HTTP, "proxy", 3128, "/"},
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
    EXPECT_EQ(std::tie(address.scheme, address.host, address.port, address.path),
              std::tuple(scheme, host, port, path));
  }
  url_address untouched;
  EXPECT_EQ(split_url(untouched, "gopher://h/"), 0);
  EXPECT_EQ(split_url(untouched, "proxy:3128/x?u=http://y"), 0);
  EXPECT_EQ(untouched.host, "");
}

TEST(parse_query_string, decodes_each_piece) {
  // the text, and each name and value in brackets
  const std::tuple<const char*, uint32_t, std::string> cases[] = {
      {"/p", 0, ""},
      {"/p?a=1&b=2;c", 3, "[a][1][b][2][c][]"},
      {"?a+b=c+d%2B%26%3b%4A%6a", 1, "[a b][c d+&;Jj]"},
      {"?a=b=c&&=v", 3, "[a][b=c][][][][v]"},
      {"?a=%&b=%4;c=x%", 3, "[a][%][b][%4][c][x%]"},
      {"?a=%00%ff", 1, std::string("[a][\0\xFF]", 7)},
      {"?a=%4G%g0%+1", 1, std::string("[a][\x50\0\x01]", 8)},  // not checked: a byte for any two
  };
  for (const auto& [text, count, expected] : cases) {
    std::string seen;
    const auto add = [](const std::string& name, const std::string& value, void* context) {
      *static_cast<std::string*>(context) += "[" + name + "][" + value + "]";
    };
    EXPECT_EQ(parse_query_string(text, add, &seen), count) << text;
    EXPECT_EQ(seen, expected) << text;
  }
}

}  // namespace
}  // namespace wk
