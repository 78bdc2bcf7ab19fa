#include "crawler/config/config_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "crawler/config/profile_check.h"
#include "crawler/url/url_parts.h"
#include "tests/crawler/config/profile_file.h"
#include "wkstd/text.h"

using namespace std::string_literals;

namespace wk {
namespace {

using testing::ContainsRegex;
using testing::ElementsAre;
using testing::HasSubstr;

// A profile with every element and attribute, each of another value than its default.
const std::string FULL_PROFILE = read_profile_text("full_profile.xml");

std::string build_repeated(const std::string& part, int times) {
  std::string text;
  for (int i = 0; i < times; ++i) text += part;
  return text;
}

// All fields of the record differ from their defaults then, and the table of elements knows all
// that they were read from.
TEST(config_reader, reads_every_element_and_attribute) {
  EXPECT_EQ(describe(read_with_both(FULL_PROFILE)), FULL_FIELDS);
  const profile_file file(FULL_PROFILE);
  std::vector<std::string> doubts;
  EXPECT_TRUE(check_profile({.path = file.path}, doubts));
  EXPECT_THAT(doubts, testing::Contains(HasSubstr("element \"unknown\" of \"crawler\"")));
  EXPECT_THAT(doubts, testing::Not(testing::Contains(ContainsRegex("attribute .* is not known"))));
  CrawlerConfig full;
  static_cast<config_values&>(full) = build_full_profile("/base");
  reset_crawler_config(full);
  expect_same_config(full, {});
}

TEST(config_reader, reads_alike_with_both_libraries) {
  // What stands inside a profile, the fields that it sets.
  const std::pair<const char*, const char*> cases[] = {
      {"", ""},
      // Attribute values: references are decoded once, line breaks are blanks.
      {"<log name='a&lt;b&gt;c&amp;d&quot;e&apos;f'/>", "log-name a<b>c&d\"e'f"},
      {"<log name='&#65;&#x42;&#233;&#x20AC;&#x1F600;'/>", "log-name AB\xC3\xA9€\xF0\x9F\x98\x80"},
      {"<log name='&amp;lt;&#38;amp;'/>", "log-name &lt;&amp;"},
      {"<log name='a\nb\tc\r\nd\re  f '/>", "log-name a b c d e  f "},
      {"<log name='a&#10;b&#9;c&#13;d'/>", "log-name a\\nb\\tc\rd"},
      {"<log name='ä日\"b>c]]>'/>", "log-name ä日\"b>c]]>"},
      // What is no element of a profile.
      {"<!-- <log name='n'/> --><log name='s'/>text<![CDATA[<log name='c'/>]]>", "log-name s"},
      {"<?log name='p'?><x:log name='x' xmlns:x='urn:x'/><Log name='L'/><log Name='N'/>", ""},
      {"<seed-urls><any name='s'>x<url name='inner'/></any><url/></seed-urls>",
       "seed-url s; seed-guest-limit 100000000"},
      {"<seed-urls><url name='a' max-guest-pages='5'/><url name='b'/></seed-urls>"
       "<seed-urls><url x:name='x' name = 'c' xmlns:x='urn:x'></url></seed-urls>",
       "seed-url c; seed-guest-limit 100000000"},
      // Entries that lack what they need.
      {"<credentials><c site='s' user='u'/><c site='s' user='u' pass=''/></credentials>",
       "credential s\tu\t"},
      {"<url-substitutions><s src-pattern='a'/><s dst-pattern='b'/></url-substitutions>", ""},
      {"<cookies><c domain='d' name='n'/><c name='n' data='x'/><c domain='d' data='x'/></cookies>",
       ""},
      {"<cookies><c domain='d' name='n' data='x'/></cookies>", "cookie d\t/\tn\tx"},
      {"<excluded-regexes><regex name='r'/></excluded-regexes>", ""},
      // Switches and numbers.
      {"<safety strict='true'/><retries num='true'/>", "strict-safety 1"},
      {"<safety strict='1'/><retries num='1'/>", "retries 1; strict-safety 1"},
      {"<safety strict='yes'/>", "strict-safety 1"},
      {"<safety strict='on'/>", "strict-safety 1"},
      {"<safety strict='True'/><retries num='-7x'/>", "retries -7"},
      {"<safety strict=' 1'/><retries num=' 1'/>", "retries 1"},
      {"<safety strict='on '/><retries num='x7'/>", ""},
      {"<safety strict=''/><retries num=''/>", ""},
      {"<safety strict='2'/><retries num='99999999999'/>", "retries 2147483647"},
      // The words of a filter, anywhere in the value.
      {"<log filter=''/>", "log-filter 0"},
      {"<log filter='status none'/>", "log-filter 0"},
      {"<log filter='default error'/>", ""},
      {"<log filter='warnings,errors'/>", "log-filter 6"},
      {"<log filter='Status'/>", "log-filter 0"},
      {"<log filter='status '/>", "log-filter 1"},
      {"<log filter='none default'/>", "log-filter 0"},
      // What is settled after the walk.
      {"<frontier nb_queues='5' queue_buffer_size='7' mode='2'/>", "frontier-mode 2"},
      {"<store name='/s' temp_data_path=''/>", "store-name /s; temp-data-path /s"},
  };
  for (const auto& [inside, fields] : cases)
    EXPECT_EQ(describe(read_inside(inside)), fields) << inside;
  EXPECT_EQ(describe(read_inside("<nbthreads nb='6'/>", "type='RSS' nb-spiders='2'")),
            "nb-spiders 6");
}

TEST(config_reader, turns_every_encoding_into_utf8) {
  const std::string inside = "<r><crawler><user-agent name='", end = "'/></crawler></r>";
  const std::string latin = inside + "\xE9" + end, utf8 = inside + "\xC3\xA9" + end;
  std::string utf16 = "\xFF\xFE";
  for (const char c : inside + "&#233;" + end) utf16.append({c, '\0'});
  for (const std::string& bytes :
       {"<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>" + latin,
        "<?xml version='1.0' encoding='iso-8859-1'?>\n" + latin,
        "<?xml version='1.0' encoding='UTF-8'?>" + utf8, "\xEF\xBB\xBF" + utf8, utf8, utf16}) {
    EXPECT_EQ(describe(read_with_both(bytes)), "user-agent \xC3\xA9") << bytes;
  }
  // A character of two halves: U+1F600.
  const auto build_utf16 = [&](bool low_first, const std::string& smile) {
    std::string bytes;
    for (const char c : "\xFF" + inside + "*" + end) {
      const std::string unit = c == '\xFF' ? "\xFE\xFF" : c == '*' ? smile : std::string{'\0', c};
      for (size_t i = 0; i < unit.size(); i += 2) {
        bytes.append({unit[low_first ? i + 1 : i], unit[low_first ? i : i + 1]});
      }
    }
    return bytes;
  };
  testing::internal::CaptureStderr();
  for (const bool low_first : {false, true}) {
    EXPECT_EQ(describe(read_with_both(build_utf16(low_first, "\xD8\x3D\xDE\x00"s))),
              "user-agent \xF0\x9F\x98\x80");
    for (const std::string& half : {"\xD8\x3D"s, "\xDE\x00"s, "\xD8\x3D\xD8\x3D"s}) {
      const profile_file broken(build_utf16(low_first, half));
      for (const config_reader& reader : READERS) EXPECT_EQ(reader.read(broken.path, ""), nullptr);
    }
  }
  EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("not in its encoding, UTF-16\n"));
  const profile_file other("<?xml version='1.0' encoding='koi8-r'?>\n<r><crawler/></r>");
  EXPECT_NE(read_config_with_libxml(other.path, ""), nullptr);
  testing::internal::CaptureStderr();
  EXPECT_EQ(read_config_without_libxml(other.path, ""), nullptr) << "it would misread this one";
  EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("unknown encoding koi8-r\n"));
}

TEST(config_reader, keeps_page_limits_by_seed_and_by_site) {
  const config_values plain = read_inside(
      "<seed-urls><url name='http://a/' max-guest-pages='1' site_max_num='4'/>"
      "<url name='http://a/b' max-guest-pages='0' site_max_num='5'/>"
      "<url max-guest-pages='9' site_max_num='9'/>"
      "<url name='http://b:80/' max-guest-pages='-3' site_max_num='6'/>"
      "<url name='http://c/' max-guest-pages='x' site_max_num='0'/>"
      "<url name='http://d/' max-guest-pages='12' site_max_num='-1'/>"
      "<url name='mailto:e' site_max_num='8'/></seed-urls>");
  constexpr int32_t NONE = NO_GUEST_PAGE_LIMIT;
  EXPECT_THAT(plain.max_guest_pages, ElementsAre(0, NONE, NONE, NONE, 11, NONE));
  const std::map<uint32_t, int32_t> limits = {{hash_url_host("a"), 5}, {hash_url_host("b:80"), 6}};
  EXPECT_EQ(plain.site_page_limits, limits);

  const config_values canonical = read_inside(
      "<seed-urls><url name='http://b:80/' site_max_num='6'/></seed-urls>"
      "<canonical-urls enable='1'/>");
  EXPECT_THAT(canonical.seed_urls, ElementsAre("http://b:80/"));
  EXPECT_EQ(canonical.site_page_limits, (std::map<uint32_t, int32_t>{{hash_url_host("b"), 6}}));
}

TEST(config_reader, chooses_a_profile_by_its_name) {
  const profile_file file(
      "<!-- head --><any>\n<!-- c -->text<odd nb-spiders='10'/>"
      "<crawler name='twin' nb-spiders='11'/><crawler name='twin' nb-spiders='12'/>"
      "<crawler name='single' nb-spiders='13'/></any>");
  const std::tuple<const char*, int32_t, int32_t> cases[] = {
      {"", 10, 10}, {"nobody", 10, 10}, {"twin", 12, 11}, {"single", 13, 13}, {"Single", 10, 10},
  };
  testing::internal::CaptureStderr();
  for (const auto& [name, with_libxml, without_libxml] : cases) {
    EXPECT_EQ(read_config_with_libxml(file.path, name)->nb_spiders, with_libxml) << name;
    EXPECT_EQ(read_config_without_libxml(file.path, name)->nb_spiders, without_libxml) << name;
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(config_reader, tells_why_there_is_no_profile_and_where_the_file_is_broken) {
  const char* const unparsed = "Document not parsed successfully.\n";
  const char* const not_loaded = "Couldn't load configuration file '%'\n";
  const char* const empty = "Empty document.\n";
  const char* const unnamed = "Failed to find any suitable crawler\n";
  const char* const named = "Failed to find crawler profile named 'n'\n";
  // The name asked for, the file (null: there is none), how each message begins, and how those of
  // the two readers end; % stands for the path.
  const std::tuple<const char*, const char*, const char*, const char*, const char*> cases[] = {
      {"", "<r>\n<crawler>\n</crawlers>\n</r>", "%:3: ", unparsed, not_loaded},
      {"", "no markup", "%:1: ", unparsed, not_loaded},
      {"", "<r/>\n<", "%:2: ", unparsed, not_loaded},
      {"", "", "%:1: ", empty, not_loaded},
      {"", "<?xml version='1.0'?>\n<!-- c -->\n", "%:", empty, not_loaded},
      {"", "<r>text<!-- c --></r>", unnamed, unnamed, unnamed},
      {"n", "<r/>", named, named, named},
      {"", nullptr, "", unparsed, not_loaded},
  };
  for (const auto& [name, bytes, start, libxml_end, other_end] : cases) {
    SCOPED_TRACE(testing::PrintToString(bytes));
    const profile_file file(bytes == nullptr ? "" : bytes);
    if (bytes == nullptr) std::filesystem::remove(file.path);
    for (const config_reader& reader : READERS) {
      SCOPED_TRACE(reader.name);
      std::string expected[] = {start, &reader == READERS ? libxml_end : other_end};
      for (std::string& text : expected) {
        if (text.find('%') != std::string::npos) text.replace(text.find('%'), 1, file.path);
      }
      testing::internal::CaptureStderr();
      EXPECT_EQ(reader.read(file.path, name), nullptr);
      const std::string message = testing::internal::GetCapturedStderr();
      EXPECT_THAT(message, testing::StartsWith(expected[0]));
      EXPECT_THAT(message, testing::EndsWith(expected[1]));
    }
  }
}

// What a reader says on standard error of a file that it is to refuse, without the file's path.
std::string get_refusal(const config_reader& reader, const profile_file& file) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(reader.read(file.path, ""), nullptr) << reader.name;
  const std::string said = testing::internal::GetCapturedStderr();
  EXPECT_TRUE(said.starts_with(file.path + ":")) << reader.name << ": " << said;
  return said.substr(std::min(said.size(), file.path.size()));
}

TEST(config_reader, refuses_the_same_files_with_both_libraries) {
  const std::string deep = build_repeated("<a>", 256), end = build_repeated("</a>", 256);
  EXPECT_EQ(describe(read_with_both("<r>" + deep + end + "</r>")), "");
  const std::string cases[] = {
      "<r><crawler><log name='\xE9'/></crawler></r>",  // Latin-1 that is not declared as such
      "<?xml version='1.0' encoding='us-ascii'?><r><c name='\xC3\xA9'/></r>",
      "<r>" + deep + "<a/>" + end + "</r>",
      "<r><crawler a='b&c'/></r>",
      "<r><crawler a='&b;'/></r>",
      "<r><crawler>&b;</crawler></r>",
      "<!DOCTYPE r SYSTEM 'x.dtd'><r><crawler a='&b;'/></r>",
      "<r><crawler a='&#0;'/></r>",
      "<r><crawler a='&#x110000;'/></r>",
      "<r><crawler a='<'/></r>",
      "<r><crawler a='1' a='2'/></r>",
      "<r><crawler a='1'b='2'/></r>",
      "<r><crawler a=1/></r>",
      "<r><crawler a/></r>",
      "<r><crawler 1='a'/></r>",
      "<r><crawler a='\x01'/></r>",
      "<r><crawler>]]></crawler></r>",
      "<r><crawler><!-- a -- b --></crawler></r>",
      "<r><crawler><?xml a?></crawler></r>",
      "<r><crawler></r></crawler>",
      "<r><crawler/></r>text",
      "<r><crawler/></r>\0text"s,
      "<r><crawler/></r><r/>",
      "text<r><crawler/></r>",
      " <?xml version='1.0'?><r><crawler/></r>",
      "<?xml encoding='utf-8'?><r><crawler/></r>",
      "<r><crawler/></r><!DOCTYPE r>",
      "<![CDATA[a]]><r><crawler/></r>",
  };
  for (const std::string& bytes : cases) {
    SCOPED_TRACE(bytes.substr(0, 80));
    for (const config_reader& reader : READERS) (void)get_refusal(reader, profile_file(bytes));
  }
}

TEST(config_reader, takes_internal_general_entities_and_no_other_declarations) {
  const std::string start = "<!DOCTYPE r [<!-- c --><?p i?>\n<!ENTITY h 'http://&#97;&amp;/'>\n",
                    seeds = "<!ENTITY s \"<u name='&h;1'/><u name='&h;2'/>\">\n";
  const std::string unused = start + seeds + "]><r><crawler nb-spiders='3'/></r>";
  EXPECT_EQ(describe(read_with_both(unused)), "nb-spiders 3");
  expect_same_config(read_with_both("<!DOCTYPE r SYSTEM '[x.dtd' [ ]><r><crawler/></r>"), {});
  const profile_file used(start + seeds +
                          "]>\n<r><crawler><seed-urls>&s;</seed-urls>\n"
                          "<user-agent name='&h;'/></crawler></r>");
  const crawler_config_ptr config = read_config_with_libxml(used.path, "");
  ASSERT_NE(config, nullptr);
  EXPECT_THAT(config->seed_urls, ElementsAre("http://a&/1", "http://a&/2"));
  EXPECT_EQ(config->user_agent, "http://a&/");
  EXPECT_THAT(get_refusal(READERS[1], used), testing::StartsWith(":5: the entity \"s\" is used"));

  const profile_file other("file that no profile reads");
  std::string laughs = "<!ENTITY a0 'http://a.example/'>";
  for (int i = 1; i < 30; ++i) {
    const std::string inner = format_text("&a%d;&a%d;&a%d;&a%d;", i - 1, i - 1, i - 1, i - 1);
    append_formatted_text(laughs, "<!ENTITY a%d '%s'>", i, inner.c_str());
  }
  const std::tuple<std::string, const char*, int> cases[] = {
      // what is declared in line 3, what is used in line 5, where the fault is
      {laughs, "<user-agent name='&a29;'/>", 0},
      {laughs, "&a29;", 0},
      {"<!ENTITY a '&a;'>", "<user-agent name='&a;'/>", 0},
      {"<!ENTITY a SYSTEM '" + other.path + "'>", "", 3},
      {"<!ENTITY a SYSTEM '" + other.path + "'>", "&a;", 3},
      {"<!ENTITY a PUBLIC 'p' '" + other.path + "'>", "&a;", 3},
      {"<!ENTITY a SYSTEM '" + other.path + "' NDATA n>", "", 3},
      {"<!ENTITY % p 'x'>", "", 3},
      {"<!ENTITY % p SYSTEM '" + other.path + "'>%p;", "", 3},
      {"%p;", "", 3},
      {"<!ENTITY a '%p;'>", "", 3},
      {"<!ATTLIST crawler nb-spiders CDATA '5'>", "", 3},
      {"<!ELEMENT crawler EMPTY>", "", 3},
      {"<!NOTATION n SYSTEM 'n'>", "", 3},
  };
  for (const auto& [declared, inside, line] : cases) {
    SCOPED_TRACE(declared.substr(0, 80) + inside);
    const profile_file file("<!DOCTYPE r SYSTEM '" + other.path + "' [\n\n" + declared +
                            "]>\n<r><crawler>\n" + inside + "</crawler></r>");
    for (const config_reader& reader : READERS) {
      const std::string said = get_refusal(reader, file);
      EXPECT_THAT(said, testing::StartsWith(line == 0 ? ":" : format_text(":%d: ", line)));
      EXPECT_THAT(said, testing::Not(HasSubstr("no profile reads")));
    }
  }
}

TEST(config_reader, reads_long_lists) {
  std::string inside = "<seed-urls>";
  for (int i = 0; i < 50'000; ++i)
    append_formatted_text(inside, "<u name='http://h%d/' site_max_num='1'/>\n", i);
  EXPECT_EQ(read_inside(inside + "</seed-urls>").site_page_limits.size(), 50'000u);
}

TEST(config_reader_death, ends_the_process_when_there_are_no_queues) {
  for (const char* attributes : {"nb_queues='0'", "nb_queues='many' mode='2'", "nb_queues='-1'"}) {
    // Every profile of the name is read in full by one of the readers: the first one counts too.
    const profile_file file("<r><crawler name='n'><frontier " + std::string(attributes) +
                            "/></crawler><crawler name='n'/></r>");
    for (const config_reader& reader : READERS) {
      SCOPED_TRACE(reader.name);
      EXPECT_EXIT((void)reader.read(file.path, "n"), testing::ExitedWithCode(1),
                  "^ERROR: frontier's nb_queues should be > 0\\.\n\n$");
    }
  }
}

}  // namespace
}  // namespace wk
