// How the reading of robots files compares with RFC 9309, one vector a line: what the RFC answers,
// what is answered here, and where they differ, why that is meant so.
#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "crawler/fetch/robots_rules.h"

namespace wk {
namespace {

constexpr const char* SAME = nullptr;
constexpr const char* NO_ALLOW = "Allow lines mean nothing";
constexpr const char* NO_WILDCARD = "rules are plain beginnings: no wildcards, no end mark";
constexpr const char* NO_SLASH = "a Disallow without a / drops its group";
constexpr const char* ONE_HEAD = "a group has one head: the first of two in a row is empty";
constexpr const char* ONE_GROUP = "one group is read, groups are not merged";
constexpr const char* LOWER_CASE = "the file is read in lower case, the URL as it is";
constexpr const char* AS_BYTES = "paths are compared as they are written, without decoding";
constexpr const char* AS_LINE = "the name may stand anywhere in the line";
constexpr const char* STRICT_LINE = "no blank before a word or a colon";
constexpr const char* NO_EXCEPTION = "robots.txt itself is a URL like any other";

struct rfc_vector {
  const char* section;
  const char* file;
  const char* agent;
  const char* path;
  int by_rfc;
  int here;
  const char* difference;  // null: none
};

constexpr const char* SIMPLE_EXAMPLE =
    "User-Agent: *\nDisallow: *.gif$\nDisallow: /example/\nAllow: /publications/\n\n"
    "User-Agent: foobot\nDisallow:/\nAllow:/example/page.html\nAllow:/example/allowed.gif\n\n"
    "User-Agent: barbot\nUser-Agent: bazbot\nDisallow: /example/page.html\n\n"
    "User-Agent: quxbot\n";
constexpr const char* LONGEST_MATCH =
    "User-Agent: foobot\nAllow: /example/page/\nDisallow: /example/page/disallowed.gif\n";
constexpr const char* TWO_GROUPS =
    "user-agent: ExampleBot\ndisallow: /foo\ndisallow: /bar\n\n"
    "user-agent: ExampleBot\ndisallow: /baz\n";

constexpr rfc_vector VECTORS[] = {
    // 2.2.1: which group
    {"2.2.1 case", "user-agent: EXAMPLEbot\ndisallow: /a", "examplebot", "/a", 0, 0, SAME},
    {"2.2.1 named before *", "user-agent: *\ndisallow: /a\nuser-agent: examplebot\ndisallow: /b",
     "examplebot", "/a", 1, 1, SAME},
    {"2.2.1 * else", "user-agent: x\ndisallow: /b\nuser-agent: *\ndisallow: /a", "examplebot", "/a",
     0, 0, SAME},
    {"2.2.1 no group", "user-agent: x\ndisallow: /", "examplebot", "/a", 1, 1, SAME},
    {"2.2.1 no groups at all", "disallow: /", "examplebot", "/a", 1, 1, SAME},
    {"2.2.1 merged, first", TWO_GROUPS, "examplebot", "/bar", 0, 0, SAME},
    {"2.2.1 merged, second", TWO_GROUPS, "examplebot", "/baz", 0, 1, ONE_GROUP},
    {"2.2.1 merged *", "user-agent: *\ndisallow: /a\nuser-agent: *\ndisallow: /b", "examplebot",
     "/a", 0, 1, ONE_GROUP},
    {"2.2.1 two heads, first", "user-agent: a1\nuser-agent: b1\ndisallow: /c", "a1", "/c", 0, 1,
     ONE_HEAD},
    {"2.2.1 two heads, second", "user-agent: a1\nuser-agent: b1\ndisallow: /c", "b1", "/c", 0, 0,
     SAME},
    {"2.2.1 longer name", "user-agent: examplebot-images\ndisallow: /", "examplebot", "/a", 1, 0,
     AS_LINE},
    {"2.2 blank before the colon", "user-agent : *\ndisallow : /a", "examplebot", "/a", 0, 1,
     STRICT_LINE},

    // 2.2.2: which rule
    {"2.2.2 no rule matches", "user-agent: *\ndisallow: /a", "examplebot", "/b", 1, 1, SAME},
    {"2.2.2 empty rule", "user-agent: *\ndisallow:", "examplebot", "/a", 1, 1, SAME},
    {"2.2.2 empty beside a rule", "user-agent: *\ndisallow: /a\ndisallow:", "examplebot", "/a", 0,
     1, NO_SLASH},
    {"2.2.2 longest match allows", "user-agent: *\ndisallow: /a\nallow: /a/b", "examplebot", "/a/b",
     1, 0, NO_ALLOW},
    {"2.2.2 equal match allows", "user-agent: *\ndisallow: /a\nallow: /a", "examplebot", "/a", 1, 0,
     NO_ALLOW},
    {"2.2.2 path in its case", "user-agent: *\ndisallow: /A", "examplebot", "/A", 0, 1, LOWER_CASE},
    {"2.2.2 path of other case", "user-agent: *\ndisallow: /A", "examplebot", "/a", 1, 0,
     LOWER_CASE},
    {"2.2.2 robots.txt", "user-agent: *\ndisallow: /", "examplebot", "/robots.txt", 1, 0,
     NO_EXCEPTION},
    {"2.2.2 query", "user-agent: *\ndisallow: /foo/bar?baz=quz", "examplebot", "/foo/bar?baz=quz",
     0, 0, SAME},
    {"2.2.2 encoded query", "user-agent: *\ndisallow: /foo/bar?baz=https://foo.bar", "examplebot",
     "/foo/bar?baz=https%3A%2F%2Ffoo.bar", 0, 1, AS_BYTES},
    {"2.2.2 UTF-8 rule", "user-agent: *\ndisallow: /foo/bar/\xe3\x83\x84", "examplebot",
     "/foo/bar/%E3%83%84", 0, 1, AS_BYTES},
    {"2.2.2 encoded UTF-8", "user-agent: *\ndisallow: /foo/bar/%E3%83%84", "examplebot",
     "/foo/bar/%E3%83%84", 0, 1, LOWER_CASE},
    {"2.2.2 needless encoding", "user-agent: *\ndisallow: /foo/bar/%62%61%7A", "examplebot",
     "/foo/bar/baz", 0, 1, AS_BYTES},

    // 2.2.3: characters with a meaning
    {"2.2.3 comment in a line", "user-agent: *\ndisallow: /a # note", "examplebot", "/a", 0, 0,
     SAME},
    {"2.2.3 comment line", "user-agent: *\n# note\ndisallow: /a", "examplebot", "/a", 0, 0, SAME},
    {"2.2.3 end mark", "user-agent: *\ndisallow: /this/path/exactly$", "examplebot",
     "/this/path/exactly", 0, 1, NO_WILDCARD},
    {"2.2.3 behind the end mark", "user-agent: *\ndisallow: /this/path/exactly$", "examplebot",
     "/this/path/exactly/not", 1, 1, SAME},
    {"2.2.3 wildcard", "user-agent: *\ndisallow: /this/*/exactly", "examplebot",
     "/this/path/exactly", 0, 1, NO_WILDCARD},
    {"2.2.3 encoded star", "user-agent: *\ndisallow: /path/file-with-a-%2A.html", "examplebot",
     "/path/file-with-a-*.html", 0, 1, AS_BYTES},
    {"2.2.3 encoded end mark", "user-agent: *\ndisallow: /path/foo-%24", "examplebot",
     "/path/foo-$", 0, 1, AS_BYTES},

    // 2.2.4: other records do not end a group
    {"2.2.4 sitemap", "user-agent: *\nsitemap: http://h/s.xml\ndisallow: /a", "examplebot", "/a", 0,
     0, SAME},

    // 5.1: the simple example
    {"5.1 *", SIMPLE_EXAMPLE, "otherbot", "/a.gif", 0, 1, NO_SLASH},
    {"5.1 *", SIMPLE_EXAMPLE, "otherbot", "/example/a", 0, 1, NO_SLASH},
    {"5.1 *", SIMPLE_EXAMPLE, "otherbot", "/publications/", 1, 1, SAME},
    {"5.1 foobot", SIMPLE_EXAMPLE, "foobot", "/a", 0, 0, SAME},
    {"5.1 foobot", SIMPLE_EXAMPLE, "foobot", "/example/page.html", 1, 0, NO_ALLOW},
    {"5.1 foobot", SIMPLE_EXAMPLE, "foobot", "/example/allowed.gif", 1, 0, NO_ALLOW},
    {"5.1 barbot", SIMPLE_EXAMPLE, "barbot", "/example/page.html", 0, 1, ONE_HEAD},
    {"5.1 barbot", SIMPLE_EXAMPLE, "barbot", "/a", 1, 1, SAME},
    {"5.1 bazbot", SIMPLE_EXAMPLE, "bazbot", "/example/page.html", 0, 0, SAME},
    {"5.1 bazbot", SIMPLE_EXAMPLE, "bazbot", "/a", 1, 1, SAME},
    {"5.1 quxbot", SIMPLE_EXAMPLE, "quxbot", "/example/page.html", 1, 1, SAME},

    // 5.2: the longest match
    {"5.2", LONGEST_MATCH, "foobot", "/example/page/disallowed.gif", 0, 0, SAME},
    {"5.2", LONGEST_MATCH, "foobot", "/example/page/", 1, 1, SAME},
};

int ask(const rfc_vector& vector) {
  std::string text = vector.file;
  const robots_rules_ptr rules = robots_parse(text, "example.com", vector.agent);
  return rules == nullptr ? 1
                          : robots_match(*rules, "http://example.com" + std::string(vector.path));
}

TEST(robots_rules_beside_rfc_9309, differ_where_it_is_meant_and_nowhere_else) {
  for (const rfc_vector& vector : VECTORS) {
    EXPECT_EQ(ask(vector), vector.here) << vector.section << " " << vector.path;
    EXPECT_EQ(vector.here == vector.by_rfc, vector.difference == SAME)
        << vector.section << " " << vector.path;
  }
}

}  // namespace
}  // namespace wk
