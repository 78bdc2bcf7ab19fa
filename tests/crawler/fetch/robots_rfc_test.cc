// How the reading of robots files compares with RFC 9309, one vector a line: the section, what the
// RFC answers, and where another answer is given here, why that is meant so.
#include <gtest/gtest.h>

#include <string>

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

constexpr const char* ALL = "user-agent: *\n";
constexpr const char* TWO_HEADS = "user-agent: a1\nuser-agent: b1\n";
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

struct rfc_vector {
  const char* section;
  const char* head;
  const char* rules;
  const char* path;
  int by_rfc;
  const char* difference;
  const char* agent = "examplebot";
};
constexpr rfc_vector VECTORS[] = {
    {"2.2.1 case", "", "user-agent: EXAMPLEbot\ndisallow: /a", "/a", 0, SAME},
    {"2.2.1 named before *", ALL, "disallow: /a\nuser-agent: examplebot\ndisallow: /b", "/a", 1,
     SAME},
    {"2.2.1 * else", "", "user-agent: x\ndisallow: /b\nuser-agent: *\ndisallow: /a", "/a", 0, SAME},
    {"2.2.1 no group", "", "user-agent: x\ndisallow: /", "/a", 1, SAME},
    {"2.2.1 no groups at all", "", "disallow: /", "/a", 1, SAME},
    {"2.2.1 merged, first", TWO_GROUPS, "", "/bar", 0, SAME},
    {"2.2.1 merged, second", TWO_GROUPS, "", "/baz", 0, ONE_GROUP},
    {"2.2.1 merged *", ALL, "disallow: /a\nuser-agent: *\ndisallow: /b", "/a", 0, ONE_GROUP},
    {"2.2.1 two heads, first", TWO_HEADS, "disallow: /c", "/c", 0, ONE_HEAD, "a1"},
    {"2.2.1 two heads, second", TWO_HEADS, "disallow: /c", "/c", 0, SAME, "b1"},
    {"2.2.1 longer name", "", "user-agent: examplebot-images\ndisallow: /", "/a", 1, AS_LINE},
    {"2.2 blank before the colon", "", "user-agent : *\ndisallow : /a", "/a", 0, STRICT_LINE},
    {"2.2.2 no rule matches", ALL, "disallow: /a", "/b", 1, SAME},
    {"2.2.2 empty rule", ALL, "disallow:", "/a", 1, SAME},
    {"2.2.2 empty beside a rule", ALL, "disallow: /a\ndisallow:", "/a", 0, NO_SLASH},
    {"2.2.2 longest match allows", ALL, "disallow: /a\nallow: /a/b", "/a/b", 1, NO_ALLOW},
    {"2.2.2 equal match allows", ALL, "disallow: /a\nallow: /a", "/a", 1, NO_ALLOW},
    {"2.2.2 path in its case", ALL, "disallow: /A", "/A", 0, LOWER_CASE},
    {"2.2.2 path of other case", ALL, "disallow: /A", "/a", 1, LOWER_CASE},
    {"2.2.2 robots.txt", ALL, "disallow: /", "/robots.txt", 1, NO_EXCEPTION},
    {"2.2.2 query", ALL, "disallow: /foo/bar?baz=quz", "/foo/bar?baz=quz", 0, SAME},
    {"2.2.2 encoded query", ALL, "disallow: /foo/bar?baz=https://foo.bar",
     "/foo/bar?baz=https%3A%2F%2Ffoo.bar", 0, AS_BYTES},
    {"2.2.2 UTF-8 rule", ALL, "disallow: /foo/bar/\xe3\x83\x84", "/foo/bar/%E3%83%84", 0, AS_BYTES},
    {"2.2.2 encoded UTF-8", ALL, "disallow: /foo/bar/%E3%83%84", "/foo/bar/%E3%83%84", 0,
     LOWER_CASE},
    {"2.2.2 needless encoding", ALL, "disallow: /foo/bar/%62%61%7A", "/foo/bar/baz", 0, AS_BYTES},
    {"2.2.3 comment in a line", ALL, "disallow: /a # note", "/a", 0, SAME},
    {"2.2.3 comment line", ALL, "# note\ndisallow: /a", "/a", 0, SAME},
    {"2.2.3 end mark", ALL, "disallow: /this/path/exactly$", "/this/path/exactly", 0, NO_WILDCARD},
    {"2.2.3 behind the end mark", ALL, "disallow: /this/path/exactly$", "/this/path/exactly/not", 1,
     SAME},
    {"2.2.3 wildcard", ALL, "disallow: /this/*/exactly", "/this/path/exactly", 0, NO_WILDCARD},
    {"2.2.3 encoded star", ALL, "disallow: /path/file-with-a-%2A.html", "/path/file-with-a-*.html",
     0, AS_BYTES},
    {"2.2.3 encoded end mark", ALL, "disallow: /path/foo-%24", "/path/foo-$", 0, AS_BYTES},
    {"2.2.4 sitemap", ALL, "sitemap: http://h/s.xml\ndisallow: /a", "/a", 0, SAME},
    {"5.1 *", SIMPLE_EXAMPLE, "", "/a.gif", 0, NO_SLASH, "otherbot"},
    {"5.1 *", SIMPLE_EXAMPLE, "", "/example/a", 0, NO_SLASH, "otherbot"},
    {"5.1 *", SIMPLE_EXAMPLE, "", "/publications/", 1, SAME, "otherbot"},
    {"5.1 foobot", SIMPLE_EXAMPLE, "", "/a", 0, SAME, "foobot"},
    {"5.1 foobot", SIMPLE_EXAMPLE, "", "/example/page.html", 1, NO_ALLOW, "foobot"},
    {"5.1 foobot", SIMPLE_EXAMPLE, "", "/example/allowed.gif", 1, NO_ALLOW, "foobot"},
    {"5.1 barbot", SIMPLE_EXAMPLE, "", "/example/page.html", 0, ONE_HEAD, "barbot"},
    {"5.1 barbot", SIMPLE_EXAMPLE, "", "/a", 1, SAME, "barbot"},
    {"5.1 bazbot", SIMPLE_EXAMPLE, "", "/example/page.html", 0, SAME, "bazbot"},
    {"5.1 bazbot", SIMPLE_EXAMPLE, "", "/a", 1, SAME, "bazbot"},
    {"5.1 quxbot", SIMPLE_EXAMPLE, "", "/example/page.html", 1, SAME, "quxbot"},
    {"5.2", LONGEST_MATCH, "", "/example/page/disallowed.gif", 0, SAME, "foobot"},
    {"5.2", LONGEST_MATCH, "", "/example/page/", 1, SAME, "foobot"},
};

TEST(robots_rules_beside_rfc_9309, differ_where_it_is_meant_and_nowhere_else) {
  for (const rfc_vector& vector : VECTORS) {
    SCOPED_TRACE(std::string(vector.section) + " " + vector.path);
    std::string text = std::string(vector.head) + vector.rules;
    const robots_rules_ptr rules = robots_parse(text, "h", vector.agent);
    const std::string url = std::string("http://h") + vector.path;
    EXPECT_EQ(rules == nullptr ? 1 : robots_match(*rules, url),
              vector.difference == SAME ? vector.by_rfc : 1 - vector.by_rfc);
  }
}

}  // namespace
}  // namespace wk
