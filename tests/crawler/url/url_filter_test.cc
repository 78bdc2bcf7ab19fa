#include "crawler/url/url_filter.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace wk {
namespace {

struct filter_entry {
  url_filter_side side;
  url_filter_kind kind;
  const char* entry;
};

void add_all(url_filter& filter, const std::vector<filter_entry>& entries) {
  for (const filter_entry& e : entries) {
    EXPECT_EQ(add_url_filter(filter, e.side, e.kind, e.entry), 1u) << e.entry;
  }
}

TEST(url_filter, holds_white_list_and_black_list) {
  const struct {
    const char* name;
    std::vector<filter_entry> entries;
    std::vector<const char*> allowed;
    std::vector<const char*> refused;
  } cases[] = {
      {"empty allows everything", {}, {"http://a/", ""}, {}},
      {"a URL entry is a prefix",
       {{URL_FILTER_RESTRICTED, URL_FILTER_URL, "http://a.test/x"}},
       {"http://a.test/x", "http://a.test/xy/z?q", "http://a-test/x"},
       {"http://b/?u=http://a.test/x", "http://a.test/", "HTTP://a.test/x"}},
      {"an extension, with a query or without",
       {{URL_FILTER_EXCLUDED, URL_FILTER_EXTENSION, "pdf"}},
       {"http://a/x.pdfx", "http://a/x.PDF", "http://a/pdf", "http://a/x.pdf/y"},
       {"http://a/x.pdf", "http://a/x.pdf?a=b", "http://a/x.pdf?"}},
      {"a regular expression matches whole URLs",
       {{URL_FILTER_RESTRICTED, URL_FILTER_REGEX, "http://a/[0-9]+"}},
       {"http://a/7"},
       {"http://a/7x", "xhttp://a/7"}},
      {"alternatives do not leave their pattern",
       {{URL_FILTER_EXCLUDED, URL_FILTER_REGEX, "http://a/1|http://a/2"}},
       {"http://a/12", "http://a/"},
       {"http://a/1", "http://a/2"}},
      {"the black list wins",
       {{URL_FILTER_RESTRICTED, URL_FILTER_URL, "http://a/"},
        {URL_FILTER_RESTRICTED, URL_FILTER_URL, "http://b/"},
        {URL_FILTER_EXCLUDED, URL_FILTER_EXTENSION, "zip"}},
       {"http://a/x", "http://b/"},
       {"http://a/x.zip", "http://c/"}},
      {"every byte is a symbol",
       {{URL_FILTER_RESTRICTED, URL_FILTER_REGEX, "http://a/.\xe4"}},
       {"http://a/\xff\xe4"},
       {"http://a/\xe4"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    url_filter filter;
    add_all(filter, c.entries);
    // An image taken and read back answers alike.
    std::string stream;
    save_url_filter(filter, stream);
    url_filter again;
    std::string_view bytes = stream;
    ASSERT_TRUE(load_url_filter(bytes, again));
    EXPECT_TRUE(bytes.empty());
    for (const url_filter* tested : {&filter, &again}) {
      for (const char* url : c.allowed) EXPECT_TRUE(is_allowed_url_filter(*tested, url)) << url;
      for (const char* url : c.refused) EXPECT_FALSE(is_allowed_url_filter(*tested, url)) << url;
    }
  }
}

TEST(url_filter, counts_what_does_not_compile_and_uses_the_rest) {
  url_filter filter;
  const std::vector<std::string> entries = {"http://a/", "http://b/(", "c)(d", "http://e/", "*"};
  EXPECT_EQ(add_list_url_filter(filter, URL_FILTER_RESTRICTED, URL_FILTER_URL, entries), 2u);
  EXPECT_TRUE(is_allowed_url_filter(filter, "http://e/x"));
  EXPECT_FALSE(is_allowed_url_filter(filter, "http://b/"));
}

TEST(load_url_filter, refuses_what_is_no_image) {
  url_filter filter;
  add_all(filter, {{URL_FILTER_EXCLUDED, URL_FILTER_URL, "http://a/"}});
  std::string whole;
  save_url_filter(filter, whole);
  for (size_t length = 0; length < whole.size(); ++length) {
    std::string_view bytes = std::string_view(whole).substr(0, length);
    EXPECT_FALSE(load_url_filter(bytes, filter)) << length;
  }
  EXPECT_FALSE(is_allowed_url_filter(filter, "http://a/x")) << "a refused image changes nothing";
}

TEST(url_filter, is_tested_while_patterns_are_added) {
  url_filter filter;
  std::atomic<bool> done{false};
  std::vector<std::thread> testers;
  for (int i = 0; i < 3; ++i) {
    testers.emplace_back([&] {
      while (!done) EXPECT_TRUE(is_allowed_url_filter(filter, "http://never.test/excluded"));
    });
  }
  for (int i = 0; i < 50; ++i) {
    add_url_filter(filter, URL_FILTER_EXCLUDED, URL_FILTER_URL,
                   "http://h" + std::to_string(i) + "/");
  }
  done = true;
  for (std::thread& tester : testers) tester.join();
  EXPECT_FALSE(is_allowed_url_filter(filter, "http://h49/x"));
}

}  // namespace
}  // namespace wk
