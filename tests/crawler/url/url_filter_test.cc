#include "crawler/url/url_filter.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

namespace wk {
namespace {

constexpr url_filter_side ONLY = URL_FILTER_RESTRICTED;
constexpr url_filter_side NOT = URL_FILTER_EXCLUDED;

TEST(url_filter, holds_white_list_and_black_list) {
  const std::tuple<url_filter_side, url_filter_kind, const char*, const char*, bool> cases[] = {
      {ONLY, URL_FILTER_URL, "http://a.test/x", "http://a.test/xy/z?q", true},
      {ONLY, URL_FILTER_URL, "http://a.test/x", "http://a-test/x", true},
      {ONLY, URL_FILTER_URL, "http://a.test/x", "http://b/?u=http://a.test/x", false},
      {ONLY, URL_FILTER_URL, "http://a.test/x", "HTTP://a.test/x", false},
      {NOT, URL_FILTER_EXTENSION, "pdf", "http://a/x.pdf", false},
      {NOT, URL_FILTER_EXTENSION, "pdf", "http://a/x.pdf?a=b", false},
      {NOT, URL_FILTER_EXTENSION, "pdf", "http://a/x.pdfx", true},
      {NOT, URL_FILTER_EXTENSION, "pdf", "http://a/x.pdf/y", true},
      {NOT, URL_FILTER_REGEX, "http://a/1|http://a/2", "http://a/2", false},
      {NOT, URL_FILTER_REGEX, "http://a/1|http://a/2", "http://a/12", true},
      {NOT, URL_FILTER_REGEX, "http://a/1|http://a/2", "xhttp://a/1", true},
  };
  for (const auto& [side, kind, entry, url, allowed] : cases) {
    SCOPED_TRACE(std::string(entry) + " " + url);
    url_filter filter;
    EXPECT_TRUE(is_allowed_url_filter(filter, url)) << "it is empty";
    EXPECT_EQ(add_url_filter(filter, side, kind, entry), 1u);
    EXPECT_EQ(add_url_filter(filter, side, URL_FILTER_REGEX, "http://another/"), 1u);
    EXPECT_EQ(is_allowed_url_filter(filter, url), allowed);
    std::string image;
    save_url_filter(filter, image);
    url_filter again;
    for (size_t length = 0; length <= image.size(); ++length) {
      std::string_view bytes = std::string_view(image).substr(0, length);
      EXPECT_EQ(load_url_filter(bytes, again), length == image.size());
    }
    EXPECT_EQ(is_allowed_url_filter(again, url), allowed);
  }
}

TEST(url_filter, counts_what_does_not_compile_and_uses_the_rest) {
  url_filter filter;
  const std::vector<std::string> entries = {"http://a/", "http://b/(", "c)(d", "http://e/", "*"};
  uint32_t nb_added = 0;
  EXPECT_TRUE(add_list_url_filter(filter, ONLY, URL_FILTER_URL, entries, nb_added));
  EXPECT_EQ(nb_added, 2u);
  EXPECT_TRUE(is_allowed_url_filter(filter, "http://e/x"));
  EXPECT_FALSE(is_allowed_url_filter(filter, "http://b/"));
  std::string_view no_image = "\2";
  EXPECT_FALSE(load_url_filter(no_image, filter));
  EXPECT_EQ(add_url_filter(filter, NOT, URL_FILTER_EXTENSION, "zip"), 1u);
  EXPECT_TRUE(is_allowed_url_filter(filter, "http://a/x")) << "is on one list, not on the other";
  EXPECT_FALSE(is_allowed_url_filter(filter, "http://a/x.zip")) << "the black list wins";
}

TEST(url_filter, holds_more_than_any_automaton) {
  std::vector<std::string> entries;
  for (int i = 0; i < 400'001; ++i) {
    entries.push_back("http://www.site" + std::to_string(i) + (i % 2 == 0 ? ".test/" : "\\.test/"));
  }
  entries.insert(entries.end(), 65'536, "http://again.test/");
  url_filter filter;
  uint32_t nb_added = 0;
  EXPECT_TRUE(add_list_url_filter(filter, ONLY, URL_FILTER_URL, entries, nb_added));
  EXPECT_EQ(nb_added, entries.size());
  const std::atomic<uint32_t> stop{1};
  EXPECT_FALSE(add_list_url_filter(filter, ONLY, URL_FILTER_URL, entries, nb_added, &stop));
  EXPECT_EQ(add_url_filter(filter, ONLY, URL_FILTER_REGEX, "http://[a-c]\\.test/"), 1u);
  EXPECT_EQ(filter.sides[ONLY].patterns.size(), entries.size() + 1);
  const std::pair<const char*, bool> cases[] = {
      {"http://www.site399998.test/x", true},
      {"http://www-site399998-test/x", true},
      {"http://www-site399999.test/x", true},
      {"http://www-site399999-test/x", false},
      {"http://www.site400001.test/x", false},
      {"http://b.test/", true},
      {"http://b.test/x", false},
      {"http://again.test/", true},
  };
  for (const auto& [url, allowed] : cases) {
    EXPECT_EQ(is_allowed_url_filter(filter, url), allowed) << url;
  }
}

TEST(url_filter, is_tested_while_patterns_are_added) {
  url_filter filter;
  std::jthread tester([&filter](const std::stop_token& stop) {
    while (!stop.stop_requested()) EXPECT_TRUE(is_allowed_url_filter(filter, "http://never.test/"));
  });
  for (int i = 0; i < 50; ++i) {
    add_url_filter(filter, NOT, URL_FILTER_URL, "http://h" + std::to_string(i) + "/");
  }
  EXPECT_FALSE(is_allowed_url_filter(filter, "http://h49/x"));
}

}  // namespace
}  // namespace wk
