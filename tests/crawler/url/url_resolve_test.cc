#include "crawler/url/url_resolve.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>

#include "crawler/url/url_form.h"

namespace wk {
namespace {

using namespace std::string_literals;

TEST(build_absolute_url, resolves_or_rejects) {
  // link, base, and the URL: empty when it is rejected
  const std::tuple<std::string, const char*, std::string> cases[] = {
      {"../x", "http://h/a/b/c.html", "http://h/a/x"},
      {"../x", "http://h/", ""},
      {"..", "http://h/a/b/", "http://h/a/"},
      {"/a/..?q", "http://h/", "http://h/a/..?q"},
      {"https://HoSt:443", "http://b/", "https://host:443/"},
      {"#top", "http://h/a", ""},
      {"page.html#top", "http://h/d/p", "http://h/d/page.html#top"},
      {"mailto:x", "http://h/", ""},
      {"h2:x", "http://h/", ""},
      {"svn+ssh:x", "http://h/d/p", "http://h/d/svn+ssh:x"},
      {"\xE9:x", "http://h/d/p", "http://h/d/\xE9:x"},
      {"http://h?x=1", "http://b/", "http://h?x=1/"},
      {"?u=http://x", "http://h/d/p", "http://h/d/?u=http:/x"},
      {"/a?x=1&amp;y=2", "http://h/", "http://h/a?x=1&y=2"},
      {"x", "http://h/dir/page?u=a/b", "http://h/dir/page?u=a/x"},
      {"//other/x", "http://h/d/p", "http://h/other/x"},
      {"http:page.html", "https://U:P@H:80/d/p", "https://u:p@h:80/d/page.html"},
      {"", "http://h/d/p", "http://h/d/"},
      {"x", "http://h", "http://h/x"},
      {"http:///x", "http://h/", ""},
      {"a\0\xFF"s, "http://\xC4H/", "http://\xC4h/a\0\xFF"s},
  };
  for (const auto& [link, base, expected] : cases) {
    SCOPED_TRACE(link + " against " + base);
    std::string out = "kept";
    EXPECT_EQ(build_absolute_url(out, link, base), expected.empty() ? 0 : 1);
    EXPECT_EQ(out, expected.empty() ? "kept" : expected);
  }
}

// Work that grew with the square of the long ones would outlast any time limit of a test run.
TEST(normalize_url_path, takes_dots_and_empty_segments_away) {
  const std::string long_segment = "/" + std::string(1'000'000, 'a');
  const auto repeat = [](std::string_view piece) {
    std::string text;
    for (size_t i = 0; i < 1'000'000; ++i) text += piece;
    return text;
  };
  const std::pair<std::string, const char*> cases[] = {
      // path, and what is left: null when it is refused
      {"/a/./b//c///d", "/a/b/c/d"},
      {"/./.", "/"},
      {"/a/.", "/a/"},
      {"/a/..", "/"},
      {"/a/b/..", "/a/"},
      {"/a/../b", "/a/b"},  // the first segment is never cut
      {"/a/b/../../c", "/a/c"},
      {"/a/b/c/../d/../e", "/a/b/e"},
      {"/a/.b/..c/d./...", "/a/.b/..c/d./..."},
      {"a/../b", "a/b"},
      {"a/b/..", "a/"},
      {"..", ".."},
      {"../a", "../a"},
      {"/..", nullptr},
      {"/../a", nullptr},
      {"//../a", nullptr},
      {"/%2e%2E/%2f", "/%2e%2E/%2f"},
      {"/%2", nullptr},
      {"/%", nullptr},
      {"/%g2", nullptr},
      {"/%2g", nullptr},
      {"", ""},
      {repeat("//"), "/"},
      {repeat("/."), "/"},
      {long_segment + repeat("/.."), "/"},
      {long_segment + repeat("/b/../.."), "/"},
      {"/a" + repeat("/b") + repeat("/..") + "/x", "/a/x"},
      {"/a" + repeat("/b/c/../..") + "/x", "/a/x"},
  };
  for (const auto& [path, expected] : cases) {
    std::string text = path;
    EXPECT_EQ(normalize_url_path(text), expected == nullptr ? 0 : 1) << path.substr(0, 99);
    EXPECT_TRUE(expected == nullptr || text == expected) << path.substr(0, 99);
  }
}

TEST(is_acceptable_url, refuses_control_bytes_and_lengths) {
  EXPECT_FALSE(is_acceptable_url(""));
  EXPECT_TRUE(is_acceptable_url(std::string(MAX_URL_BYTES, 'a')));
  EXPECT_FALSE(is_acceptable_url(std::string(MAX_URL_BYTES + 1, 'a')));
  for (int c = 0; c < 256; ++c) {
    const bool answer = is_acceptable_url("http://h/"s + static_cast<char>(c));
    EXPECT_EQ(answer, c >= 0x20 && c != 0x7F) << c;
  }
}

TEST(canonicalize_url, gives_one_spelling_and_keeps_it) {
  const std::tuple<const char*, const char*> cases[] = {
      {"http://h/a#top", "http://h/a"},
      {"http://h#top", "http://h/"},
      {"http://h:80/a:80", "http://h/a:80"},
      {"http://h:80:80/", "http://h/"},
      {"http://h:8080/", "http://h:8080/"},
      {"https://h:443/", "https://h/"},
      {"http://u:80@h/", "http://u:80@h/"},
      {"http://[::1]:80/", "http://[::1]/"},
      {"HTTP://H:80/A", "HTTP://H/A"},
      {"http://h/a b  c ?d #e f", "http://h/a%20b%20%20c%20?d%20"},
      {"http://", "http:///"},
      {"http:x#y z", "http:x#y z"},
      {"", ""},
  };
  for (const auto& [url, expected] : cases) {
    std::string text = url;
    for (int round = 0; round < 2; ++round) {
      canonicalize_url(text);
      EXPECT_EQ(text, expected) << url;
    }
  }
}

}  // namespace
}  // namespace wk
