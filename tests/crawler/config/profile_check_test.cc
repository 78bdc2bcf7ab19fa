#include "crawler/config/profile_check.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "crawler/config/near_name.h"
#include "tests/crawler/config/profile_file.h"
#include "wkskt/skt.h"

namespace wk {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

// The doubts about a file, its path taken away from their begins. A port of -1 unless asked for.
std::vector<std::string> find_doubts(const profile_file& file, profile_question question = {}) {
  question.path = file.path;
  if (!question.admin_port.has_value()) question.admin_port = -1;
  std::vector<std::string> doubts = {"of an earlier question"};
  EXPECT_TRUE(check_profile(question, doubts));
  for (std::string& doubt : doubts) {
    EXPECT_TRUE(doubt.starts_with(file.path + ":")) << doubt;
    doubt.erase(0, file.path.size() + 1);
  }
  return doubts;
}

std::string fill(std::string text, const std::string& mark, const std::string& value) {
  for (size_t at = 0; (at = text.find(mark, at)) != std::string::npos; at += value.size()) {
    text.replace(at, mark.size(), value);
  }
  return text;
}

TEST(profile_check, doubts_names_and_values_line_by_line) {
  // What stands inside a profile, from line 2 on; the doubts, "@" for "attribute ", "#" for what
  // numbers are not and "%" for what patterns are not.
  const std::pair<const char*, std::vector<std::string>> cases[] = {
      {"<retries num=' 7 ' wait='+30'/><safety strict='off'/><robot honor='1'/>", {}},
      {"<log x:name='a' xmlns:x='u'/><x:odd xmlns:x='u'/><!-- <odd/> -->text", {}},
      {"<seed-urls><any name='u' max-guest-pages='-1'/></seed-urls>", {}},
      {"<stor/>", {R"(2: element "stor" of "crawler" is not known; did you mean "store"?)"}},
      {"<odd><url nam=''/></odd>", {R"(2: element "odd" of "crawler" is not known)"}},
      {"<quota><files/></quota>", {R"(2: element "files" of "quota" is not known)"}},
      {"<checkpoint\n\n file = 'f'\n interval='1'/>",
       {R"(4: @"file" of "checkpoint" is not known)"}},
      {"<quota file='1'\n mbytes='2'/><log\n\n/><quota\nfile='1'/>",
       {R"(2: @"file" of "quota" is not known; did you mean "files"?)",
        R"(6: @"file" of "quota" is not known; did you mean "files"?)"}},
      {"<seed-urls>\n<url\n nam='x'/></seed-urls>",
       {R"(4: @"nam" of "url" is not known; did you mean "name"?)",
        R"(3: element "url" of "seed-urls" is left out: it has no "name")"}},
      {"<seed-urls><url name='' site_max_num='many'/></seed-urls>",
       {R"(2: @"site_max_num" of "url": "many"#0)"}},
      {"<excluded-regexes><regex expr='[a-c]+'/><regex expr='*'/></excluded-regexes>",
       {R"(2: @"expr" of "regex": "*"%no argument for repetition operator)"}},
      {"<restricted-urls><url name='a)(b'/>\n<url name='c.d'/></restricted-urls>",
       {R"(2: @"name" of "url": "a)(b"%unexpected ))"}},
      {"<restricted-extensions>\n<x name='(&#10;'/></restricted-extensions><excluded-urls>"
       "<url name='a\\'/></excluded-urls>",
       {R"(2: element "restricted-extensions" restricts nothing: none of its entries is valid)",
        R"(3: @"name" of "x": "(?"%missing ))", "3: @\"name\" of \"url\": \"a\\\"%trailing \\"}},
      {"<timeout wait='5s'/>", {R"(2: @"wait" of "timeout": "5s"#5)"}},
      {"<timeout wait='9999999999'/>",
       {R"(2: @"wait" of "timeout": "9999999999"#)"
        "2147483647"}},
      {"<timeout wait='-+1'/>", {R"(2: @"wait" of "timeout": "-+1"#0)"}},
      {"<robot honor='a&#10;b'/>",
       {R"(2: @"honor" of "robot": "a?b" is neither true nor false and counts as false)"}},
      {"<store temp_data_path='{}/none' status_file_path='{}/s' link_file_path='{}'/>",
       {R"(2: @"temp_data_path" of "store": "{}/none" is no directory)"}},
      {"<log name='{}'/>", {R"(2: @"name" of "log": "{}" is a directory)"}},
      {"<log name='{}/no/log'/>", {R"(2: @"name" of "log": "{}/no/log" stands in no directory)"}},
      {"<frontier sleep_interval='-1'/><checkpoint interval='-60'/><retries num='-1'/>",
       {R"(2: @"sleep_interval" of "frontier": "-1" is below 0 and counts as 0)",
        R"(2: @"interval" of "checkpoint": "-60" is below 0 and counts as 0)"}},
      {"<excluded-urls><url name=''/></excluded-urls>\n<restricted-regexes><r expr=''/>"
       "</restricted-regexes><seed-urls><url name='a'/></seed-urls>\n<excluded-extensions>"
       "<e name=''/></excluded-extensions><url-substitutions><s src-pattern='' dst-pattern=''/>"
       "</url-substitutions>",
       {R"(2: @"name" of "url": "" is an empty pattern)",
        R"(3: @"expr" of "r": "" is an empty pattern)",
        R"(4: @"name" of "e": "" is an empty pattern)",
        R"(4: @"src-pattern" of "s": "" is an empty pattern)"}},
      {"<log name='{}/crawl.xml'/><store status_file_path='{}/./crawl.xml'/>",
       {R"(2: @"name" of "log": "{}/crawl.xml" is this profile; no crawl starts)",
        R"(2: @"status_file_path" of "store": "{}/./crawl.xml" is this profile; no crawl starts)"}},
      {"<log name='{}/log'/><store name='{}' status_file_path='{}/s' link_file_path='{}/l'/>",
       {R"(2: @"name" of "log": "{}/log" stands in a directory that is emptied at the start)",
        R"(2: @"status_file_path" of "store": "{}/s" stands in a directory that is emptied at the start)",
        R"(2: @"link_file_path" of "store": "{}/l" stands in a directory that is emptied at the start)"}},
      {"<log name='{}/log'/><store temp_data_path='{}/.'/>",
       {R"(2: @"name" of "log": "{}/log" stands in a directory that is emptied at the start)"}},
      {"<store name='/'/>",
       {R"(2: @"name" of "store": "/" is a directory that no crawl may empty)"}},
  };
  for (const auto& [inside, doubts] : cases) {
    SCOPED_TRACE(inside);
    const profile_file file("");
    const std::string& place = file.directory.path;
    const std::string text =
        std::string("<crawlers><crawler>\n") + inside + "</crawler></crawlers>";
    write_test_file(file.path, fill(text, "{}", place));
    std::vector<std::string> expected;
    for (const std::string& doubt : doubts) {
      const std::string filled = fill(fill(doubt, "{}", place), ": @", ": attribute ");
      const std::string told = fill(filled, "%", " is no regular expression and is left out: ");
      expected.push_back(fill(told, "#", " is no whole number of 32 bits and counts as "));
    }
    EXPECT_THAT(find_doubts(file), ElementsAreArray(expected));
  }
}

TEST(profile_check, tells_of_names_that_no_one_asks_by) {
  const std::pair<const char*, bool> cases[] = {
      {"", true},
      {"crawl.test  b-1.test:8000 [::1]", true},
      {"a.test,b.test", false},
      {"http://a.test", false},
  };
  for (const auto& [hosts, sound] : cases) {
    const profile_file file("<r><crawler\n admin-hosts='" + std::string(hosts) + "'/></r>");
    const std::string doubt = "2: attribute \"admin-hosts\" of \"crawler\": \"" +
                              std::string(hosts) + "\" is no list of names with blanks between";
    EXPECT_EQ(find_doubts(file), sound ? std::vector<std::string>() : std::vector{doubt});
  }
}

TEST(profile_check, tells_of_a_port_in_use) {
  const int listener = skt_listen("127.0.0.1", 0);
  const std::string port = std::to_string(skt_get_bound_port(listener));
  const profile_file file("<crawlers><crawler\n admin-port='" + port + "'/></crawlers>");
  std::vector<std::string> doubts;
  EXPECT_TRUE(check_profile({.path = file.path}, doubts));
  const std::string taken = " in use; there will be no administration";
  EXPECT_THAT(doubts, ElementsAre(file.path + ":2: port " + port + " is" + taken));
  skt_close(listener);
  EXPECT_TRUE(check_profile({.path = file.path}, doubts));
  EXPECT_THAT(doubts, IsEmpty());
  EXPECT_THAT(find_doubts(file, {.admin_port = 65536}),
              ElementsAre("1: port 65536 can't be listened at; there will be no administration"));
}

TEST(profile_check, looks_at_the_profile_that_is_read) {
  const profile_file file("<r><a first=''/>\n<a name='t' second=''/>\n<a name='t' third=''/></r>");
  const std::tuple<const char*, bool, const char*> cases[] = {
      {"", true, "1: attribute \"first\" of \"a\" is not known"},
      {"none", true, "1: attribute \"first\" of \"a\" is not known"},
      {"t", false, "2: attribute \"second\" of \"a\" is not known"},
      {"t", true, "3: attribute \"third\" of \"a\" is not known"},
  };
  for (const auto& [name, use_libxml, doubt] : cases) {
    EXPECT_THAT(find_doubts(file, {.name = name, .use_libxml = use_libxml}), ElementsAre(doubt));
  }
}

TEST(profile_check, leaves_broken_files_to_the_reader_and_ends_after_a_hundred_doubts) {
  for (const char* bytes :
       {"", "<r>", "<r/>", "<!DOCTYPE r [<!ENTITY % e 'x'>]><r><c odd=''/></r>"}) {
    const profile_file file(bytes);
    std::vector<std::string> doubts;
    testing::internal::CaptureStderr();
    EXPECT_FALSE(check_profile({.path = file.path}, doubts)) << bytes;
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  }
  std::string inside;
  for (int i = 0; i < 200; ++i) inside += "<odd/>";
  const std::vector<std::string> doubts = find_doubts(profile_file("<r><c>" + inside + "</c></r>"));
  EXPECT_EQ(doubts.size(), 101u);
  EXPECT_EQ(doubts.back(), " and more");
}

TEST(find_near_name, takes_the_fewest_changes_and_two_at_most) {
  const std::string_view names[] = {"wait", "num", "nb", "mbytes", "files"};
  const std::pair<const char*, const char*> cases[] = {
      {"wiat", "wait"}, {"Wait", "wait"}, {"file", "files"}, {"byte", "mbytes"}, {"nun", "num"},
      {"nb_", "nb"},    {"waiting", ""},  {"tiaw", ""},      {"x", ""},          {"", ""},
  };
  for (const auto& [name, near] : cases) EXPECT_EQ(find_near_name(name, names), near) << name;
}

}  // namespace
}  // namespace wk
