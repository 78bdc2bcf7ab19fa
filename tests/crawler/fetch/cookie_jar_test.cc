#include "crawler/fetch/cookie_jar.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "crawler/fetch/cookie_date.h"

namespace wk {
namespace {

using namespace std::string_view_literals;

constexpr uint32_t NOON = 1'000'000'000;

// A jar on the test's clock.
struct test_jar : cookie_jar {
  crawl_rules rules;

  explicit test_jar(bool strict_safety = false) {
    clock = [] { return NOON; };
    rules.strict_safety = strict_safety;
    store.rules = &rules;
  }
  void add(std::string_view key, uint32_t expiry, std::string_view name, std::string_view value) {
    EXPECT_EQ(cookie_jar_add(*this, key, "/", expiry, name, value), 1);
  }
  void parse(std::string_view domain, std::string_view text) {
    EXPECT_EQ(cookie_jar_parse_set_cookie(*this, domain, "/", text), 1);
  }
  std::string get_header(std::string_view url) {
    std::string out = "what stood there before";
    const int answer = cookie_jar_header(*this, url, out);
    EXPECT_EQ(answer, out.empty() ? 0 : 1);
    return out;
  }
  std::string list() const {
    std::string all;
    for (const cookie& c : list_cookie_jar(*this)) {
      all += c.key + "|" + c.name + "|" + c.value + "|" + std::to_string(c.expiry) + "\n";
    }
    return all;
  }
};

TEST(cookie_date_parse, reads_four_forms_as_a_whole_and_nothing_else) {
  const std::string endless = "Sun, " + std::string(8'000, '0') + "6-Nov-94 08:49:37 GMT";
  const std::tuple<std::string_view, uint32_t> cases[] = {
      {"Sun, 06-Nov-94 08:49:37 GMT", 784111777},
      {"Sun Nov 06 08:49:37 1994 GMT", 784111777},
      {"Sun, 06 Nov 1994 08:49:37 GMT", 784111777},
      {"Mon, 6-November-94 08:49:37 GMT", 784111777},  // the day's name is not held against it
      {"Thu, 01-Jan-1970 00:00:00 GMT", 0},
      {"Wed, 31-Dec-1969 23:59:59 GMT", 1},
      {"Sun, 31-Dec-68 23:59:59 GMT", 3124223999},  // two digits below 69 are of the 2000s
      {"Fri, 31-Dec-9999 23:59:59 GMT", 4294967295},
      {"Sunday, 06-Nov-94 08:49:37 GMT", 0},  // a name of more than five letters
      {"Sun, 32-Jan-94 08:49:37 GMT", 0},
      {"Sun, 06-Nov-94 08:49:37 GMT\n", 0},
      {"Sun, 06-Nov-94 08:49:37 GMT\0"sv, 0},
      {"Sun, 06 Nov 94 08:49:37 GMT", 0},
      {endless, 0},
  };
  for (const auto& [text, expiry] : cases) EXPECT_EQ(cookie_date_parse(text), expiry) << text;
}

TEST(cookie_jar_parse_set_cookie, takes_a_cookie_from_a_text) {
  // with strict safety, the host, the text, the cookie: empty when it is refused
  const std::tuple<bool, const char*, std::string_view, std::string> cases[] = {
      {false, "h.test", "a=1", "h.test/d|a|1|0\n"},
      {false, "h.test", "a=1; Path=/; Domain=.other.test", ".other.test|a|1|0\n"},
      {false, "h.test", "a=1; Path=/x; PATH=/y; pathology=/z", "h.test/z|a|1|0\n"},
      {false, "h.test", " a = 1 =2 ; path=/; secure; SameSite=Lax;", "h.test| a | 1 =2 |0\n"},
      {false, "h.test", "flag; Path=/", "h.test/d|flag; Path|/|0\n"},
      {false, "h.test", "a=1; path=/; \t max-age=60", "h.test|a|1|1000000060\n"},
      {false, "h.test", "a=1; max-age=5; expires=Sun, 06", "h.test/d|a|1|1000000005\n"},
      {false, "h.test", "a=1; path=/; max-age=99999999999", "h.test|a|1|3147483647\n"},
      {false, "h.test", "a=1; expires=Sun, 06-Nov-2044 08:49:37 GMT", "h.test/d|a|1|2362034977\n"},
      {false, "h.test", "a=1; path=/; expires=Sunday, 06-Nov-94 08:49:37 GMT", "h.test|a|1|0\n"},
      {false, "h.test", "flag", ""},
      {false, "h.test", "a=1\0"sv, ""},
      {false, "h.test", "a=1\r\nX: y", ""},
      {true, "www.h.test", "a=1; domain=.H.test; path=/", ".H.test|a|1|0\n"},
      {true, "localhost", "a=1; domain=localhost", "localhost/d|a|1|0\n"},
      {true, "h.test", "a=1; path=.evil.test", "h.test/d|a|1|0\n"},
      {true, "127.0.0.1", "a=1; domain=127.0.0.1; path=/", "127.0.0.1|a|1|0\n"},
      {true, "127.0.0.1", "a=1; domain=0.0.1; path=/", ""},
      {true, "www.h.test", "a=1; domain=.test", ""},
      {true, "www.host.test", "a=1; domain=ost.test", ""},
      {true, "www.h.test", "a=1; domain=x.www.h.test", ""},
      {true, "www.h.test", "a=1; domain=", ""},
      {true, "www.h.test", "a=1; domain=.", ""},
  };
  for (const auto& [strict, host, text, expected] : cases) {
    SCOPED_TRACE(std::string(host) + " " + std::string(text));
    test_jar jar(strict);
    EXPECT_EQ(cookie_jar_parse_set_cookie(jar, host, "/d", text), expected.empty() ? 0 : 1);
    EXPECT_EQ(jar.list(), expected);
    EXPECT_EQ(cookie_jar_add(jar, "h.test", "/", 0, "a", "1\r\nX: y"), 0);
  }
}

TEST(cookie_jar_header, answers_for_keys_that_are_made_to_be_slow) {
  for (const bool strict : {false, true}) {
    test_jar jar(strict);
    std::string key;
    for (int i = 0; i < 500; ++i) {
      key += "a.";
      jar.add(key + "a", 0, "n", "1");
      jar.add(key + "!", 0, "n", "2");
    }
    const std::string header = jar.get_header("http://" + key + key + "a/");
    EXPECT_EQ(header.size(), 500 * "n=1; "sv.size());
    EXPECT_EQ(header.find('2'), std::string::npos);
  }
}

TEST(cookie_jar, refuses_and_removes_what_is_outdated_with_a_message) {
  test_jar jar;
  testing::internal::CaptureStderr();
  jar.parse("h.test", "a=1; expires=Thu, 01-Jan-1970 00:00:01 GMT");
  EXPECT_EQ(cookie_jar_add(jar, "h.test", "/p", NOON - 1, "b", "2 3"), 0);
  jar.parse("h.test", "c=4; max-age=-2000000000");
  jar.add("h.test", NOON, "d", "5");
  jar.add("h.test", NOON + 1, "e", "6");
  jar.add("other.test", NOON, "f", "7");
  std::string removed;
  jar.removal_context = &removed;
  jar.removal_hook = [](std::string_view key, std::string_view, uint32_t, std::string_view name,
                        std::string_view, void* context) {
    static_cast<std::string*>(context)->append(key).append(name);
  };
  for (int i = 0; i < 2; ++i) EXPECT_EQ(jar.get_header("http://h.test/"), "e=6; ");
  const std::string refused = "fail to add a cookie, it is already outdated: h.test ";
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            refused + "/ 1 a 1\n" + refused + "/p 999999999 b 2 3\n" + refused +
                "/ 1 c 4\ndelete a outdated cookie: h.test 1000000000 d 5\n");
  EXPECT_EQ(jar.list(), "h.test|e|6|1000000001\nother.test|f|7|1000000000\n");
  EXPECT_EQ(removed, "h.testd");
}

TEST(cookie_jar, keeps_to_its_bounds_and_to_preset_cookies) {
  test_jar jar;
  jar.add("h.test", COOKIE_NEVER_EXPIRES, "preset", "1");
  for (size_t i = 0; i <= COOKIE_STORE_MAX_OF_KEY; ++i) {
    jar.parse("h.test", "n" + std::to_string(i) + "=v");
  }
  jar.add("h.test", COOKIE_NEVER_EXPIRES, "n1", "kept");
  for (size_t i = COOKIE_STORE_MAX_OF_KEY - 2; i <= COOKIE_STORE_MAX_IN_ALL; ++i) {
    jar.parse(std::to_string(i) + ".test", "n=v");
  }
  const std::vector<cookie> all = list_cookie_jar(jar);
  EXPECT_EQ(all.size(), COOKIE_STORE_MAX_IN_ALL + 2);
  EXPECT_EQ(all[0].name + all[1].name + all[2].name, "presetn1n4");
}

}  // namespace
}  // namespace wk
