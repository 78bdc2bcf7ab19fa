#include "crawler/url/url_resolve.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "crawler/url/url_kind.h"

namespace wk {
namespace {

using namespace std::string_literals;

constexpr const char* REJECTED = "";

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
void enumerate_texts(std::string_view alphabet, size_t max_bytes, check_function check) {
  std::string text;
  const auto extend = [&](auto& self) -> void {
    check(text);
    if (text.size() == max_bytes) return;
    for (const char c : alphabet) {
      text.push_back(c);
      self(self);
      text.pop_back();
    }
  };
  extend(extend);
}

TEST(classify_url, tells_the_schemes_apart) {
  const std::tuple<const char*, url_kind> cases[] = {
      {"http:", URL_HTTP},         {"hTTp:x", URL_HTTP},     {"https:", URL_RELATIVE},
      {"HTTPS:", URL_RELATIVE},    {"https:/", URL_HTTPS},   {"httpsx:", URL_OTHER},
      {"mailto:x", URL_OTHER},     {":x", URL_OTHER},        {"", URL_RELATIVE},
      {"svn+ssh:x", URL_RELATIVE}, {"a/b:c", URL_RELATIVE},  {"#a:b", URL_RELATIVE},
      {"h2:x", URL_OTHER},         {"\xE9:x", URL_RELATIVE}, {"http", URL_RELATIVE},
  };
  for (const auto& [text, kind] : cases) EXPECT_EQ(classify_url(text), kind) << text;
}

TEST(build_absolute_url, resolves_or_rejects) {
  const std::tuple<const char*, const char*, const char*> cases[] = {
      {"../x", "http://h/a/b/c.html", "http://h/a/x"},
      {"../x", "http://h/a/", "http://h/a/x"},
      {"../x", "http://h/", REJECTED},
      {"..", "http://h/a/b/", "http://h/a/"},
      {"HTTP://HoSt/A/B", "http://b/", "http://host/A/B"},
      {"https://HoSt:443", "http://b/", "https://host:443/"},
      {"#top", "http://h/a", REJECTED},
      {"http:#top", "http://h/a", REJECTED},
      {"page.html#top", "http://h/d/p", "http://h/d/page.html#top"},
      {"mailto:x", "http://h/", REJECTED},
      {"javascript:void(0)", "http://h/", REJECTED},
      {"ftp://h/f", "http://h/", REJECTED},
      {"svn+ssh:x", "http://h/d/p", "http://h/d/svn+ssh:x"},
      {"http://h", "http://b/", "http://h/"},
      {"http://h?x=1", "http://b/", "http://h?x=1/"},
      {"a%zzb", "http://h/", REJECTED},
      {"a%2", "http://h/", REJECTED},
      {"a%2Fb%c3", "http://h/", "http://h/a%2Fb%c3"},
      {"?u=http://x", "http://h/d/p", "http://h/d/?u=http:/x"},
      {"/a?x=1&amp;y=2", "http://h/", "http://h/a?x=1&y=2"},
      {"x", "http://h/dir/page?u=a/b", "http://h/dir/page?u=a/x"},
      {"//other/x", "http://h/d/p", "http://h/other/x"},
      {"http:page.html", "https://U:P@H:80/d/p", "https://u:p@h:80/d/page.html"},
      {"http:", "http://h/d/p", "http://h/d/"},
      {"https:", "http://h/d/p", "http://h/d/https:"},
      {"", "http://h/d/p", "http://h/d/"},
      {"x", "http://h", "http://h/x"},
      {"x", "http:", REJECTED},
      {"x", "http:///d/", REJECTED},
      {"x", "ftp://h/", REJECTED},
      {"http:///x", "http://h/", REJECTED},
  };
  for (const auto& [link, base, expected] : cases) {
    SCOPED_TRACE(std::string(link) + " against " + base);
    std::string out = "kept";
    const bool rejected = std::string_view(expected).empty();
    EXPECT_EQ(build_absolute_url(out, link, base), rejected ? 0 : 1);
    EXPECT_EQ(out, rejected ? "kept" : expected);
  }
}

TEST(build_absolute_url, works_on_bytes) {
  std::string out;
  ASSERT_EQ(build_absolute_url(out, "a\0\xFF"s, "http://\xC4H/"), 1);
  EXPECT_EQ(out, "http://\xC4h/a\0\xFF"s);
}

TEST(build_absolute_url, gives_what_resolves_to_itself) {
  uint32_t nb_resolved = 0;
  enumerate_texts("/.a:%?#2", 6, [&](const std::string& link) {
    std::string once;
    if (build_absolute_url(once, link, "http://H/a/b/c?x=/d") == 0) return;
    std::string twice;
    ASSERT_EQ(build_absolute_url(twice, once, once), 1) << link;
    ASSERT_EQ(twice, once) << link;
    ++nb_resolved;
  });
  EXPECT_GT(nb_resolved, 10'000u);
}

TEST(normalize_url_path, takes_out_dots_and_slashes) {
  const std::tuple<const char*, int, const char*> cases[] = {
      {"", 1, ""},
      {"/a/./b", 1, "/a/b"},
      {"/a//b?u=//c", 1, "/a/b?u=/c"},
      {"/a/../b", 1, "/a/b"},
      {"/a/b/../c", 1, "/a/c"},
      {"/a/b/c/../../x", 1, "/a/x"},
      {"/a/b/../../../x", 1, "/a/x"},
      {"/a/.", 1, "/a/"},
      {"/a/b/..", 1, "/a/"},
      {"/a/..", 1, "/"},
      {"/a/..?q", 1, "/a/..?q"},
      {"/a/...", 1, "/a/..."},
      {"/a.b/.c", 1, "/a.b/.c"},
      {"/%41%fF", 1, "/%41%fF"},
      {"/..", 0, ""},
      {"/./../x", 0, ""},
      {"/a%g0", 0, ""},
      {"/a%4", 0, ""},
      {"/a%zz/../../b", 0, ""},
  };
  for (const auto& [path, status, expected] : cases) {
    std::string text = path;
    EXPECT_EQ(normalize_url_path(text), status) << path;
    if (status == 1) {
      EXPECT_EQ(text, expected) << path;
    }
  }
}

TEST(normalize_url_path, agrees_with_the_rules_taken_one_by_one) {
  enumerate_texts("/.a%2", 8, [](const std::string& path) {
    std::string expected = path;
    std::string actual = path;
    const int status = normalize_step_by_step(expected);
    ASSERT_EQ(normalize_url_path(actual), status) << path;
    if (status == 1) {
      ASSERT_EQ(actual, expected) << path;
    }
  });
}

// Work that grew with the square of these lengths would outlast any time limit of a test run.
TEST(normalize_url_path, is_linear_in_hostile_texts) {
  constexpr size_t REPEATS = 1'000'000;
  const std::string long_segment = "/" + std::string(REPEATS, 'a');
  const auto repeat = [](std::string_view piece) {
    std::string text;
    for (size_t i = 0; i < REPEATS; ++i) text += piece;
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
    SCOPED_TRACE(name);
    std::string text = path;
    EXPECT_EQ(normalize_url_path(text), 1);
    EXPECT_TRUE(text == expected) << text.substr(0, 100);
  }
}

}  // namespace
}  // namespace wk
