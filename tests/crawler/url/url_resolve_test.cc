#include "crawler/url/url_resolve.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "crawler/url/url_form.h"

namespace wk {
namespace {

using namespace std::string_literals;

// The rules of normalisation taken literally, each deletion shifting the rest: the answer that the
// one-pass scan must give, at the price of its square.
int normalize_step_by_step(std::string& path) {
  const auto is_hexadecimal = [](char c) {
    return std::string_view("0123456789abcdefABCDEF").find(c) != std::string_view::npos;
  };
  size_t i = 0;
  while (i < path.size()) {
    const std::string rest = path.substr(i);
    const bool climbs = rest.starts_with("/../") || rest == "/..";
    const size_t before = i == 0 ? std::string::npos : path.rfind('/', i - 1);
    if (rest.starts_with("/./")) {
      path.erase(i + 1, 2);
    } else if (rest.starts_with("//")) {
      path.erase(i + 1, 1);
    } else if (climbs && i == 0) {
      return 0;
    } else if (rest == "/..") {
      path.resize(before == std::string::npos ? 0 : before + 1);
      return 1;
    } else if (climbs && (before == 0 || before == std::string::npos)) {
      path.erase(i + 1, 3);
    } else if (climbs) {
      path.erase(before + 1, i + 4 - (before + 1));
      i = before;
    } else if (rest == "/.") {
      path.pop_back();
      return 1;
    } else if (rest[0] == '%') {
      if (rest.size() < 3 || !is_hexadecimal(rest[1]) || !is_hexadecimal(rest[2])) return 0;
      i += 3;
    } else {
      ++i;
    }
  }
  return 1;
}

// Every text of up to max_bytes bytes out of alphabet is handed to check.
template <typename check_function>
void enumerate_texts(std::string_view alphabet, size_t max_bytes, const check_function& check,
                     const std::string& text = "") {
  check(text);
  if (text.size() == max_bytes) return;
  for (const char c : alphabet) enumerate_texts(alphabet, max_bytes, check, text + c);
}

TEST(build_absolute_url, resolves_or_rejects) {
  // link, base, and the URL: empty when it is rejected
  const std::tuple<std::string, const char*, std::string> cases[] = {
      {"../x", "http://h/a/b/c.html", "http://h/a/x"},
      {"../x", "http://h/a/", "http://h/a/x"},  // the first segment is never cut
      {"../x", "http://h/", ""},
      {"..", "http://h/a/b/", "http://h/a/"},
      {"/a/..?q", "http://h/", "http://h/a/..?q"},
      {"https://HoSt:443", "http://b/", "https://host:443/"},
      {"#top", "http://h/a", ""},
      {"page.html#top", "http://h/d/p", "http://h/d/page.html#top"},
      {"mailto:x", "http://h/", ""},
      {"h2:x", "http://h/", ""},
      {":x", "http://h/", ""},
      {"svn+ssh:x", "http://h/d/p", "http://h/d/svn+ssh:x"},
      {"\xE9:x", "http://h/d/p", "http://h/d/\xE9:x"},
      {"http://h?x=1", "http://b/", "http://h?x=1/"},
      {"a%zzb", "http://h/", ""},
      {"?u=http://x", "http://h/d/p", "http://h/d/?u=http:/x"},
      {"/a?x=1&amp;y=2", "http://h/", "http://h/a?x=1&y=2"},
      {"x", "http://h/dir/page?u=a/b", "http://h/dir/page?u=a/x"},
      {"//other/x", "http://h/d/p", "http://h/other/x"},
      {"http:page.html", "https://U:P@H:80/d/p", "https://u:p@h:80/d/page.html"},
      {"https:", "http://h/d/p", "http://h/d/https:"},
      {"", "http://h/d/p", "http://h/d/"},
      {"x", "http://h", "http://h/x"},
      {"x", "http:///d/", ""},
      {"x", "ftp://h/", ""},
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

TEST(normalize_url_path, agrees_with_the_rules_taken_one_by_one) {
  enumerate_texts("/.a%2", 8, [](const std::string& path) {
    std::string expected = path;
    std::string actual = path;
    const int status = normalize_step_by_step(expected);
    ASSERT_EQ(normalize_url_path(actual), status) << path;
    ASSERT_TRUE(status == 0 || actual == expected) << path;
  });
}

// Work that grew with the square of these lengths would outlast any time limit of a test run.
TEST(normalize_url_path, is_linear_in_hostile_texts) {
  const std::string long_segment = "/" + std::string(1'000'000, 'a');
  const auto repeat = [](std::string_view piece) {
    std::string text;
    for (size_t i = 0; i < 1'000'000; ++i) text += piece;
    return text;
  };
  const std::tuple<const char*, std::string, std::string> cases[] = {
      {"slashes", repeat("//"), "/"},
      {"dots", repeat("/."), "/"},
      {"climbing to the first segment", long_segment + repeat("/.."), "/"},
      {"climbing at the first segment", long_segment + repeat("/b/../.."), "/"},
      {"down and up", "/a" + repeat("/b") + repeat("/..") + "/x", "/a/x"},
      {"up after each step", "/a" + repeat("/b/c/../..") + "/x", "/a/x"},
  };
  for (const auto& [name, path, expected] : cases) {
    std::string text = path;
    EXPECT_EQ(normalize_url_path(text), 1) << name;
    EXPECT_TRUE(text == expected) << name;
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
      {"http://h:80?x", "http://h/?x"},
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
      {"ftp://h#x y", "ftp://h#x y"},
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
