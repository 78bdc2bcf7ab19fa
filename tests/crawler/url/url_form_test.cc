#include "crawler/url/url_form.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

namespace wk {
namespace {

TEST(is_acceptable_url, refuses_control_bytes_and_lengths) {
  EXPECT_FALSE(is_acceptable_url(""));
  EXPECT_TRUE(is_acceptable_url(std::string(MAX_URL_BYTES, 'a')));
  EXPECT_FALSE(is_acceptable_url(std::string(MAX_URL_BYTES + 1, 'a')));
  for (int c = 0; c < 256; ++c) {
    const std::string url = std::string("http://h/") + static_cast<char>(c);
    EXPECT_EQ(is_acceptable_url(url), c >= 0x20 && c != 0x7F) << c;
  }
}

TEST(canonicalize_url, gives_one_spelling_and_keeps_it) {
  const std::tuple<const char*, const char*> cases[] = {
      {"http://h/a#top", "http://h/a"},
      {"http://h#top", "http://h/"},
      {"http://h?x#/y", "http://h/?x"},
      {"http://h?x=1/", "http://h/?x=1/"},
      {"http://h:80?x", "http://h/?x"},
      {"http://h", "http://h/"},
      {"http://h:80", "http://h/"},
      {"http://h:80/a:80", "http://h/a:80"},
      {"http://h:80:80/", "http://h/"},
      {"http://h:8080/", "http://h:8080/"},
      {"http://h:443/", "http://h:443/"},
      {"https://h:443/", "https://h/"},
      {"https://h:80", "https://h:80/"},
      {"http://u:80@h/", "http://u:80@h/"},
      {"http://[::1]:80/", "http://[::1]/"},
      {"HTTP://H:80/A", "HTTP://H/A"},
      {"http://h/a b  c ?d #e f", "http://h/a%20b%20%20c%20?d%20"},
      {"http:// ", "http://%20/"},
      {"http://h/%20?a=b&c", "http://h/%20?a=b&c"},
      {"http://", "http:///"},
      {"http:x#y z", "http:x#y z"},
      {"ftp://h#x y", "ftp://h#x y"},
      {"https:/", "https:/"},
      {"http:", "http:"},
      {"", ""},
  };
  for (const auto& [url, expected] : cases) {
    std::string text = url;
    canonicalize_url(text);
    EXPECT_EQ(text, expected) << url;
    canonicalize_url(text);
    EXPECT_EQ(text, expected) << url << ", twice";
  }
}

TEST(is_url_character, holds_for_those_of_rfc_3986) {
  const std::string allowed =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~:/?#[]@!$&'()*+,;=%";
  for (int c = 0; c < 256; ++c) {
    EXPECT_EQ(is_url_character(static_cast<unsigned char>(c)),
              allowed.find(static_cast<char>(c)) != std::string::npos)
        << c;
  }
}

}  // namespace
}  // namespace wk
