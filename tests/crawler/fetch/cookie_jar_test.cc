#include "crawler/fetch/cookie_jar.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <tuple>
#include <vector>

#include "crawler/fetch/cookie_jar_image.h"
#include "crawler/fetch/http_fetcher.h"
#include "crawler/fetch/url_key.h"

namespace wk {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr uint32_t NOON = 1'000'000'000;
std::atomic<uint32_t> now{NOON};
uint32_t get_test_time() { return now.load(); }

// A jar on the test's clock.
struct test_jar : cookie_jar {
  explicit test_jar(bool strict_safety = false) {
    now = NOON;
    clock = get_test_time;
    store.strict_safety = strict_safety;
  }
};

std::string get_header(cookie_jar& jar, std::string_view url) {
  std::string out = "what stood there before";
  const int answer = cookie_jar_header(jar, url, out);
  EXPECT_EQ(answer, out.empty() ? 0 : 1);
  return out;
}

// Every cookie as "key|name|value|expiry".
std::vector<std::string> list_texts(const cookie_jar& jar) {
  std::vector<std::string> texts;
  for (const cookie& each : list_cookie_jar(jar)) {
    texts.push_back(each.key + "|" + each.name + "|" + each.value + "|" +
                    std::to_string(each.expiry));
  }
  return texts;
}

// What is printed to standard error meanwhile.
std::string capture_messages(const std::function<void()>& work) {
  testing::internal::CaptureStderr();
  work();
  return testing::internal::GetCapturedStderr();
}

TEST(cookie_jar_parse_set_cookie, takes_a_cookie_from_a_text) {
  const std::tuple<const char*, const char*> cases[] = {
      {"a=1", "host.test/d/p?x=1|a|1|0"},
      {"a=1; Path=/; Domain=.host.test", ".host.test|a|1|0"},
      {"a=1;path=/shop", "host.test/shop|a|1|0"},
      {"a=1; path=", "host.test|a|1|0"},
      {"a=1; Path=/x; PATH=/y; pathology=/z", "host.test/z|a|1|0"},
      {"a= 1 =2 ; path=/; secure; HttpOnly; SameSite=Lax;", "host.test|a| 1 =2 |0"},
      {" a =1; path=/", "host.test| a |1|0"},
      {"=1; path=/", "host.test||1|0"},
      {"a=; path=/", "host.test|a||0"},
      {"flag; Path=/", "host.test/d/p?x=1|flag; Path|/|0"},
      {"a=1; path=/; \t max-age=60", "host.test|a|1|1000000060"},
      {"a=1; path=/; Max-Age=0", "host.test|a|1|1000000000"},
      {"a=1; path=/; max-age=5; expires=Sun, 06-Nov-2044 08:49:37 GMT", "host.test|a|1|1000000005"},
      {"a=1; path=/; max-age=99999999999", "host.test|a|1|3147483647"},
      {"a=1; path=/; expires=Sun, 06-Nov-2044 08:49:37 GMT", "host.test|a|1|2362034977"},
      {"a=1; path=/; expires=Sunday, 06-Nov-94 08:49:37 GMT", "host.test|a|1|0"},
      {"a=1; path=/; expires", "host.test|a|1|0"},
  };
  for (const auto& [text, expected] : cases) {
    SCOPED_TRACE(text);
    test_jar jar;
    EXPECT_EQ(cookie_jar_parse_set_cookie(jar, "host.test", "/d/p?x=1", text), 1);
    EXPECT_THAT(list_texts(jar), ElementsAre(expected));
  }
  test_jar jar;
  EXPECT_EQ(cookie_jar_parse_set_cookie(jar, "host.test", "", "a=1"), 1);
  EXPECT_THAT(list_texts(jar), ElementsAre("host.test|a|1|0"));
  for (const std::string_view text :
       {std::string_view("flag"), std::string_view(""), std::string_view("a=1\0", 4),
        std::string_view("a=1\r\nX: y"), std::string_view("a\n=1")}) {
    EXPECT_EQ(cookie_jar_parse_set_cookie(jar, "host.test", "/", text), 0) << text;
  }
  EXPECT_EQ(cookie_jar_add(jar, "host.test", "/", 0, "a", "1\r\nX: y"), 0);
  EXPECT_EQ(list_texts(jar).size(), 1u);
}

TEST(cookie_jar, refuses_what_is_outdated_with_a_message) {
  test_jar jar;
  const std::string messages = capture_messages([&jar] {
    EXPECT_EQ(cookie_jar_parse_set_cookie(jar, "host.test", "/p",
                                          "a=1; expires=Thu, 01-Jan-1970 00:00:01 GMT"),
              1);
    EXPECT_EQ(cookie_jar_add(jar, "host.test", "/", NOON - 1, "b", "2 3"), 0);
    EXPECT_EQ(cookie_jar_parse_set_cookie(jar, "host.test", "/", "c=4; max-age=-2000000000"), 1);
    EXPECT_EQ(cookie_jar_add(jar, "host.test", "/", NOON, "d", "5"), 1);
  });
  EXPECT_EQ(messages,
            "fail to add a cookie, it is already outdated: host.test /p 1 a 1\n"
            "fail to add a cookie, it is already outdated: host.test / 999999999 b 2 3\n"
            "fail to add a cookie, it is already outdated: host.test / 1 c 4\n");
  EXPECT_THAT(list_texts(jar), ElementsAre("host.test|d|5|1000000000"));
}

TEST(cookie_jar_header, sends_what_the_url_contains_in_the_order_of_first_addition) {
  test_jar jar;
  (void)cookie_jar_add(jar, "z.host.test", "/", COOKIE_NEVER_EXPIRES, "z", "1");
  (void)cookie_jar_add(jar, ".host.test", "/", COOKIE_NEVER_EXPIRES, "a", "1");
  (void)cookie_jar_add(jar, "host.test", "/dir/page.html?x=1", 0, "p", "1");
  (void)cookie_jar_add(jar, "host.test", "/", 0, "a", "2");
  (void)cookie_jar_add(jar, ".host.test", "/", 0, "A", "3");
  (void)cookie_jar_add(jar, ".host.test", "/", 0, "a", "4");
  (void)cookie_jar_add(jar, "..dots", "/", 0, "d", "5");
  const std::tuple<const char*, const char*> cases[] = {
      {"http://host.test/", "a=4; a=2; A=3; "},
      {"http://z.host.test/", "z=1; a=4; a=2; A=3; "},
      {"http://other.test/?u=host.test", "a=4; a=2; A=3; "},
      {"http://myhost.testing/", "a=4; a=2; A=3; "},
      {"http://host.test/dir/page.html?x=12", "a=4; p=1; a=2; A=3; "},
      {"http://host.test/dir/page.html", "a=4; a=2; A=3; "},
      {"http://HOST.test/", ""},
      {"http://host.tes", ""},
      {"http://x.dots/", "d=5; "},
      {"", ""},
  };
  for (const auto& [url, header] : cases) EXPECT_EQ(get_header(jar, url), header) << url;
  (void)cookie_jar_add(jar, ".", "/", 0, "everywhere", "6");
  EXPECT_EQ(get_header(jar, "http://elsewhere.test/"), "everywhere=6; ");
  EXPECT_EQ(get_header(jar, ""), "everywhere=6; ");
}

// The index must answer as a look at each key does, for keys and URLs that share many beginnings.
TEST(cookie_jar_header, answers_as_a_look_at_each_key_does) {
  const std::string_view letters[] = {"a", "b", ".", "/", "A", ":1"};
  uint32_t random = 12'345;
  const auto draw_text = [&random, &letters](uint32_t max_letters) {
    std::string text;
    for (uint32_t i = 0; i < max_letters; ++i) {
      random = random * 1'664'525 + 1'013'904'223;
      const uint32_t drawn = (random >> 16) % 8;
      if (drawn < std::size(letters)) text += letters[drawn];
    }
    return text;
  };
  for (const bool strict_safety : {false, true}) {
    test_jar jar(strict_safety);
    for (uint32_t i = 0; i < 600; ++i) {
      (void)cookie_jar_add(jar, draw_text(i % 7), "/", 0, std::to_string(i), "v");
    }
    const std::vector<cookie> all = list_cookie_jar(jar);
    uint32_t nb_sent = 0;
    for (uint32_t i = 0; i < 400; ++i) {
      const std::string url = "http://" + draw_text(i % 20);
      url_address target;
      ASSERT_EQ(split_url(target, url), 1);
      std::string expected;
      for (const cookie& each : all) {
        const std::string_view part = std::string_view(each.key).substr(each.key[0] == '.' ? 1 : 0);
        const bool fits =
            strict_safety ? does_url_key_fit(each.key, target) : is_url_key_in(part, url);
        if (fits) expected += each.name + "=v; ";
      }
      if (!expected.empty()) ++nb_sent;
      EXPECT_EQ(get_header(jar, url), expected) << url;
    }
    EXPECT_GT(nb_sent, 50u) << strict_safety;
  }
}

TEST(cookie_jar_header, answers_for_keys_that_are_made_to_be_slow) {
  test_jar jar;
  for (size_t length = 1; length <= 500; ++length) {
    const std::string run(length, 'a');
    (void)cookie_jar_add(jar, run, "/", 0, "n", "1");
    (void)cookie_jar_add(jar, run + "!", "/", 0, "n", "2");
  }
  const std::string header = get_header(jar, "http://" + std::string(8'000, 'a'));
  EXPECT_EQ(header.size(), 500 * std::string_view("n=1; ").size());
  EXPECT_EQ(header.find('2'), std::string::npos);
}

struct removal_record {
  std::atomic<uint32_t> nb_removed{0};
  std::string last;
};

void record_removal(std::string_view key, std::string_view empty, uint32_t expiry,
                    std::string_view name, std::string_view value, void* context) {
  auto& record = *static_cast<removal_record*>(context);
  record.nb_removed += 1;
  for (const std::string_view text : {key, empty, name, value}) {
    record.last.append(text).append("|");
  }
  record.last += std::to_string(expiry);
}

TEST(cookie_jar_header, removes_outdated_cookies_that_would_be_sent) {
  test_jar jar;
  removal_record record;
  jar.removal_hook = record_removal;
  jar.removal_context = &record;
  (void)cookie_jar_add(jar, "host.test", "/", 0, "a", "1");
  (void)cookie_jar_add(jar, ".host.test", "/", NOON + 5, "b", "2");
  (void)cookie_jar_add(jar, "host.test", "/", NOON + 6, "c", "3");
  (void)cookie_jar_add(jar, "other.test", "/", NOON + 5, "d", "4");
  now = NOON + 4;
  EXPECT_EQ(get_header(jar, "http://host.test/"), "a=1; b=2; c=3; ");
  now = NOON + 5;
  const std::string messages = capture_messages([&jar] {
    EXPECT_EQ(get_header(jar, "http://host.test/"), "a=1; c=3; ");
    EXPECT_EQ(get_header(jar, "http://host.test/"), "a=1; c=3; ");
  });
  EXPECT_EQ(messages, "delete a outdated cookie: .host.test 1000000005 b 2\n");
  EXPECT_EQ(record.last, ".host.test||b|2|1000000005");
  EXPECT_EQ(record.nb_removed, 1u);
  EXPECT_EQ(list_texts(jar).size(), 3u);
}

TEST(cookie_jar, keeps_to_its_bounds_and_to_preset_cookies) {
  test_jar jar;
  removal_record record;
  jar.removal_hook = record_removal;
  jar.removal_context = &record;
  (void)cookie_jar_add(jar, "h.test", "/", COOKIE_NEVER_EXPIRES, "preset", "1");
  for (size_t i = 0; i <= COOKIE_STORE_MAX_OF_KEY; ++i) {
    (void)cookie_jar_parse_set_cookie(jar, "h.test", "/", "n" + std::to_string(i) + "=v");
  }
  EXPECT_EQ(record.last, "h.test||n0|v|0");
  std::vector<std::string> texts = list_texts(jar);
  EXPECT_EQ(texts.size(), COOKIE_STORE_MAX_OF_KEY + 1);
  EXPECT_EQ(texts[0], "h.test|preset|1|4294967295");
  EXPECT_EQ(texts[1], "h.test|n1|v|0");

  (void)cookie_jar_add(jar, "h.test", "/", COOKIE_NEVER_EXPIRES, "n1", "kept");
  for (size_t i = COOKIE_STORE_MAX_OF_KEY - 2; i <= COOKIE_STORE_MAX_IN_ALL; ++i) {
    (void)cookie_jar_parse_set_cookie(jar, std::to_string(i) + ".test", "/", "n=v");
  }
  texts = list_texts(jar);
  EXPECT_EQ(texts.size(), COOKIE_STORE_MAX_IN_ALL + 2);
  EXPECT_EQ(texts[1], "h.test|n1|kept|4294967295");
  EXPECT_EQ(texts[2], "h.test|n4|v|0");
  EXPECT_EQ(record.nb_removed, 3u);
}

TEST(cookie_jar_header, ends_before_the_cookie_that_would_pass_64_kib) {
  test_jar jar;
  const std::string value(8'185, 'v');
  for (int i = 0; i < 8; ++i) {  // each is an eighth of the bound, with its four other bytes
    (void)cookie_jar_add(jar, "h.test", "/", 0, std::to_string(i),
                         value + "wxy" + (i < 7 ? "" : "z"));
  }
  (void)cookie_jar_add(jar, "h.test", "/", 0, "short", "1");
  EXPECT_EQ(get_header(jar, "http://h.test/").size(), 7u * 8'192);
  (void)cookie_jar_add(jar, "h.test", "/", 0, "7", value + "wxy");
  EXPECT_EQ(get_header(jar, "http://h.test/").size(), COOKIE_JAR_MAX_HEADER_BYTES);
}

TEST(cookie_jar, with_strict_safety_takes_cookies_of_the_host_and_its_parents_only) {
  const std::tuple<const char*, const char*, const char*> cases[] = {
      {"www.host.test", "a=1; domain=www.host.test; path=/", "www.host.test|a|1|0"},
      {"www.host.test", "a=1; domain=.HOST.test; path=/", ".HOST.test|a|1|0"},
      {"www.host.test", "a=1", "www.host.test/d|a|1|0"},
      {"localhost", "a=1; domain=localhost", "localhost/d|a|1|0"},
      {"host.test", "a=1; path=.evil.test", "host.test/d|a|1|0"},
      {"host.test", "a=1; path=", "host.test/d|a|1|0"},
      {"127.0.0.1", "a=1; domain=127.0.0.1; path=/", "127.0.0.1|a|1|0"},
      {"127.0.0.1", "a=1; domain=0.0.1; path=/", nullptr},
      {"www.host.test", "a=1; domain=test", nullptr},
      {"www.host.test", "a=1; domain=.test", nullptr},
      {"www.host.test", "a=1; domain=ost.test", nullptr},
      {"www.host.test", "a=1; domain=other.test", nullptr},
      {"www.host.test", "a=1; domain=x.www.host.test", nullptr},
      {"www.host.test", "a=1; domain=", nullptr},
      {"www.host.test", "a=1; domain=.", nullptr},
  };
  for (const auto& [host, text, expected] : cases) {
    SCOPED_TRACE(text);
    test_jar jar(true);
    url_address target;
    target.host = host;
    target.path = "/d";
    const set_cookie_hook hook = cookie_jar_response_hook;
    hook(text, target, &jar);
    if (expected == nullptr) {
      EXPECT_THAT(list_texts(jar), IsEmpty());
    } else {
      EXPECT_THAT(list_texts(jar), ElementsAre(expected));
    }
  }
}

TEST(cookie_jar, with_strict_safety_sends_cookies_to_what_their_key_fits) {
  test_jar jar(true);
  (void)cookie_jar_add(jar, ".host.test", "/", 0, "a", "1");
  (void)cookie_jar_add(jar, "Host.test", "/shop", 0, "b", "2");
  (void)cookie_jar_add(jar, "http://www.host.test:8080", "/", 0, "c", "3");
  (void)cookie_jar_add(jar, "", "/", 0, "nowhere", "4");
  const std::tuple<const char*, const char*> cases[] = {
      {"http://host.test/", "a=1; "},
      {"http://HOST.test/shop/x", "a=1; b=2; "},
      {"http://www.host.test:8080/", "a=1; c=3; "},
      {"https://www.host.test:8080/", "a=1; "},
      {"http://other.test/?u=host.test/shop", ""},
      {"http://myhost.test/", ""},
      {"http://host.test.evil.test/", ""},
      {"gopher://host.test/", ""},
  };
  for (const auto& [url, header] : cases) {
    std::string value;
    const header_value_hook hook = cookie_jar_header_hook;
    EXPECT_EQ(hook(url, value, &jar), *header == '\0' ? 0 : 1) << url;
    EXPECT_EQ(value, header) << url;
  }
}

TEST(cookie_jar_image, brings_back_what_was_saved_and_refuses_other_bytes) {
  test_jar jar;
  (void)cookie_jar_add(jar, "host.test", "/shop", COOKIE_NEVER_EXPIRES, "a", "1");
  (void)cookie_jar_parse_set_cookie(jar, "host.test", "/", "b=2; max-age=7");
  std::string image;
  save_cookie_jar(jar, image);

  test_jar loaded;
  (void)cookie_jar_add(loaded, "other.test", "/", 0, "old", "0");
  for (size_t length = 0; length < image.size(); ++length) {
    std::string_view stream = std::string_view(image).substr(0, length);
    EXPECT_FALSE(load_cookie_jar(stream, loaded));
    EXPECT_EQ(stream.size(), length);
  }
  EXPECT_THAT(list_texts(loaded), ElementsAre("other.test|old|0|0"));

  const std::string with_more = image + "more";
  std::string_view stream = with_more;
  ASSERT_TRUE(load_cookie_jar(stream, loaded));
  EXPECT_EQ(stream, "more");
  EXPECT_EQ(list_texts(loaded), list_texts(jar));
  EXPECT_TRUE(list_cookie_jar(loaded)[0].is_preset);
  EXPECT_FALSE(list_cookie_jar(loaded)[1].is_preset);
  EXPECT_EQ(get_header(loaded, "http://host.test/shop"), "a=1; b=2; ");

  std::string unsafe = image;
  unsafe[unsafe.find("shop")] = '\n';
  stream = unsafe;
  EXPECT_FALSE(load_cookie_jar(stream, loaded));
}

TEST(cookie_jar, removes_each_cookie_once_while_threads_share_it) {
  constexpr int NB_THREADS = 4;
  constexpr int NB_ROUNDS = 300;
  test_jar jar;
  std::atomic<uint32_t> nb_removed{0};
  jar.removal_context = &nb_removed;
  jar.removal_hook = [](std::string_view, std::string_view, uint32_t, std::string_view,
                        std::string_view, void* context) {
    static_cast<std::atomic<uint32_t>*>(context)->fetch_add(1);
  };
  (void)cookie_jar_add(jar, "host.test", "/", 0, "always", "1");
  std::atomic<uint32_t> nb_without{0};
  const std::string messages = capture_messages([&jar, &nb_without] {
    std::vector<std::jthread> threads;
    threads.reserve(NB_THREADS);
    for (int thread = 0; thread < NB_THREADS; ++thread) {
      threads.emplace_back([&jar, &nb_without, thread] {
        for (int i = 0; i < NB_ROUNDS; ++i) {
          // Outdated from the start, and each thread's headers meet those of the others.
          const std::string name = "t" + std::to_string(thread) + "n" + std::to_string(i);
          (void)cookie_jar_parse_set_cookie(jar, "host.test", "/", name + "=1; max-age=0");
          std::string value;
          (void)cookie_jar_header(jar, "http://host.test/", value);
          if (value != "always=1; ") nb_without.fetch_add(1);
        }
      });
    }
  });
  EXPECT_EQ(nb_without, 0u);
  EXPECT_EQ(nb_removed, static_cast<uint32_t>(NB_THREADS * NB_ROUNDS));
  EXPECT_EQ(std::count(messages.begin(), messages.end(), '\n'), NB_THREADS * NB_ROUNDS);
  EXPECT_THAT(list_texts(jar), ElementsAre("host.test|always|1|0"));
}

}  // namespace
}  // namespace wk
