#include "crawler/config/config_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tuple>

#include "crawler/config/config_elements.h"
#include "crawler/url/url_parts.h"
#include "tests/crawler/config/profile_file.h"
#include "wkstd/text.h"

namespace wk {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr std::string_view FULL_PROFILE = R"xml(<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE WendrakeCrawler SYSTEM "wkcrawler.dtd">
<crawlers xmlns="http://wendrake.invalid/crawler/1.0">
  <crawler name="full" nb-spiders="3" convert-content="no" admin-port="-1" admin-address="0.0.0.0"
           forever-mode="2" admin-thread-sleep-time="250" stop-when-empty="yes" type="rss">
    <seed-urls>
      <url name="http://a.example/" site_max_num="7" max-guest-pages="1"/>
      <url name="https://b.example:8443/x"/>
    </seed-urls>
    <restricted-urls><url name="http://a.example/in"/></restricted-urls>
    <excluded-urls><url name="http://a.example/out"/></excluded-urls>
    <restricted-extensions><extension name="html"/></restricted-extensions>
    <excluded-extensions><extension name="gif"/><extension name="png"/></excluded-extensions>
    <restricted-regexes><regex expr="a+"/></restricted-regexes>
    <excluded-regexes><regex expr="b[0-9]{2}"/></excluded-regexes>
    <credentials><credential site="http://a.example" user="u" pass="p&amp;q"/></credentials>
    <url-substitutions>
      <substitution src-pattern="^x(.)" dst-pattern="y\1"/>
    </url-substitutions>
    <cookies>
      <cookie domain="a.example" path="/in" name="n" data="d"/>
      <cookie domain="b.example" name="m" data="e"/>
    </cookies>
    <disable-all-cookies mode="1"/>
    <disable-cookies><url name="c.example"/></disable-cookies>
    <log name="/tmp/l.log" append="on" filter="status error"/>
    <frontier sleep_mode="1" mode="3" sleep_interval="9" nb_queues="5" queue_buffer_size="50"/>
    <due disk_cache_size="1234"/>
    <portal-list url="http://portal.example/"/>
    <http-proxy server="proxy.example:3128"/>
    <nbthreads nb="4"/>
    <parse-javascript-flash enable="1"/>
    <hyperlink-extraction disable="1"/>
    <news-pipeline-mode enable="1" port="7000" raw="1" hostname="news.example"/>
    <store name="/tmp/store" temp_data_path="/tmp/work" status_file_path="/tmp/status"
           link_file_path="/tmp/links" mbytes="10" files="11"/>
    <quota mbytes="20" files="21"/>
    <timeout wait="3000"/>
    <retries num="2" wait="400"/>
    <search-mode depth-first="false"/>
    <robot honor="0"/>
    <user-agent name="Tester/1.0"/>
    <checkpoint dir="/tmp/checkpoint" interval="3600"/>
    <canonical-urls enable="1"/>
    <safety strict="true"/>
    <unknown name="x"/>
  </crawler>
</crawlers>
)xml";

config_values build_full_values() {
  config_values full;
  full.nb_spiders = 4;  // nbthreads comes later and wins
  full.convert_content = false;
  full.admin_port = -1;
  full.admin_address = "0.0.0.0";
  full.forever_mode = 2;
  full.admin_thread_sleep_time_ms = 250;
  full.stop_when_empty = full.is_rss = true;
  full.seed_urls = {"http://a.example/", "https://b.example:8443/x"};
  full.max_guest_pages = {0, NO_GUEST_PAGE_LIMIT};
  full.site_page_limits = {{hash_url_host("a.example"), 7}};
  full.restricted_urls = {"http://a.example/in"};
  full.excluded_urls = {"http://a.example/out"};
  full.restricted_extensions = {"html"};
  full.excluded_extensions = {"gif", "png"};
  full.restricted_regexes = {"a+"};
  full.excluded_regexes = {"b[0-9]{2}"};
  full.credentials = {{"http://a.example", "u", "p&q"}};
  full.substitutions = {{"^x(.)", "y\\1"}};
  full.cookies = {{"a.example", "/in", "n", "d"}, {"b.example", "/", "m", "e"}};
  full.all_cookies_mode = 1;
  full.disabled_cookie_sites = {"c.example"};
  full.log_name = "/tmp/l.log";
  full.log_append = true;
  full.log_filter = 5;
  full.frontier_sleep_mode = 1;
  full.frontier_mode = 3;
  full.sleep_interval_seconds = 9;
  full.nb_queues = 5;
  full.queue_buffer_size = 50;
  full.disk_cache_size = 1234;
  full.portal_list_url = "http://portal.example/";
  full.http_proxy = "proxy.example:3128";
  full.parse_javascript_flash = full.hyperlink_extraction_off = 1;
  full.news_pipeline_enabled = full.news_pipeline_raw = 1;
  full.news_pipeline_port = 7000;
  full.news_pipeline_host = "news.example";
  full.store_name = "/tmp/store";
  full.temp_data_path = "/tmp/work";
  full.status_file_path = "/tmp/status";
  full.link_file_path = "/tmp/links";
  full.store_mbytes = 10;
  full.store_files = 11;
  full.quota_mbytes = 20;
  full.quota_files = 21;
  full.timeout_wait_ms = 3000;
  full.retries = 2;
  full.retries_wait_ms = 400;
  full.depth_first = full.honor_robots = false;
  full.user_agent = "Tester/1.0";
  full.checkpoint_directory = "/tmp/checkpoint";
  full.checkpoint_interval_seconds = 3600;
  full.canonical_urls = full.strict_safety = true;
  return full;
}

TEST(config_reader, reads_every_element_and_attribute) {
  const auto expect_used = [](std::span<const config_attribute> attributes) {
    for (const config_attribute& attribute : attributes) {
      EXPECT_THAT(FULL_PROFILE, HasSubstr(" " + std::string(attribute.name) + "=\""));
    }
  };
  expect_used(get_config_profile_attributes());
  for (const config_element& element : get_config_elements()) {
    EXPECT_THAT(FULL_PROFILE, HasSubstr("<" + std::string(element.name)));
    expect_used(element.attributes);
    expect_used(element.entry_attributes);
  }
  const crawler_config_ptr config = read_with_both(FULL_PROFILE);
  ASSERT_NE(config, nullptr);
  expect_same_config(*config, build_full_values());
}

TEST(config_reader, leaves_defaults_where_nothing_is_said_and_resets_to_them) {
  const crawler_config_ptr empty = read_inside("");
  ASSERT_NE(empty, nullptr);
  expect_same_config(*empty, config_values{});
  CrawlerConfig full;
  static_cast<config_values&>(full) = build_full_values();
  reset_crawler_config(full);
  expect_same_config(full, config_values{});
}

TEST(config_reader, reads_attribute_values_alike_with_both_libraries) {
  const std::tuple<const char*, std::string, std::string> cases[] = {
      {"named references", "a&lt;b&gt;c&amp;d&quot;e&apos;f", "a<b>c&d\"e'f"},
      {"numeric references", "&#65;&#x42;&#233;&#x20AC;&#x1F600;", "AB\xC3\xA9€\xF0\x9F\x98\x80"},
      {"a reference is decoded once", "&amp;lt;&#38;amp;", "&lt;&amp;"},
      {"line breaks and tabs are blanks", "a\nb\tc\r\nd\re", "a b c d e"},
      {"referenced breaks stay", "a&#10;b&#9;c&#13;d", "a\nb\tc\rd"},
      {"blanks are not collapsed", "  a   b  ", "  a   b  "},
      {"bytes above ASCII", "http://ä.example/日本", "http://ä.example/日本"},
      {"other quotes and brackets", "a'b>c]]>", "a'b>c]]>"},
      {"empty", "", ""},
  };
  for (const auto& [name, written, read] : cases) {
    SCOPED_TRACE(name);
    const crawler_config_ptr config =
        read_inside("<seed-urls><url name=\"" + written + "\"/></seed-urls>");
    ASSERT_NE(config, nullptr);
    EXPECT_THAT(config->seed_urls, ElementsAre(read));
  }
}

TEST(config_reader, passes_over_what_is_no_element_of_a_profile) {
  const char* const cases[] = {
      "<!-- c --><seed-urls>text<!-- <url name='n'/> --><url name='s'/>\n</seed-urls>",
      "<seed-urls><![CDATA[<url name='c'/>]]><?pi name='p'?><any name='s'>x</any></seed-urls>",
      "<seed-urls><url/><url Name='x' x:name='y' xmlns:x='urn:x'/><url name='s'/></seed-urls>",
      "<x:seed-urls xmlns:x='urn:x'><url name='p'/></x:seed-urls>"
      "<seed-urls><url name='s'><url name='inner'/></url></seed-urls>",
      "<Seed-urls><url name='p'/></Seed-urls><seed-urls><url name = 's' ></url></seed-urls>",
      "<seed-urls><url name='earlier' max-guest-pages='5'/><url name='two'/></seed-urls>"
      "<seed-urls><url name='s'/></seed-urls>",
  };
  for (const char* inside : cases) {
    SCOPED_TRACE(inside);
    const crawler_config_ptr config = read_inside(inside);
    ASSERT_NE(config, nullptr);
    EXPECT_THAT(config->seed_urls, ElementsAre("s"));
    EXPECT_THAT(config->max_guest_pages, ElementsAre(NO_GUEST_PAGE_LIMIT));
  }
}

TEST(config_reader, turns_every_encoding_into_utf8) {
  const std::string tail =
      "<r><crawler><user-agent name=\"\xE9\"/><!-- \xE9 --></crawler></r>";  // in Latin-1
  const std::string utf8 = "<r><crawler><user-agent name=\"\xC3\xA9\"/></crawler></r>";
  std::string utf16 = "\xFF\xFE";
  for (const char c : std::string("<r><crawler><user-agent name='&#233;'/></crawler></r>")) {
    utf16.append({c, '\0'});
  }
  const std::string cases[] = {
      "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>" + tail,
      "<?xml version='1.0' encoding='iso-8859-1'?>\n" + tail,
      "<?xml version='1.0' encoding='UTF-8'?>" + utf8,
      "\xEF\xBB\xBF" + utf8,
      utf8,
      utf16,
  };
  for (const std::string& bytes : cases) {
    SCOPED_TRACE(bytes);
    const crawler_config_ptr config = read_with_both(bytes);
    ASSERT_NE(config, nullptr);
    EXPECT_EQ(config->user_agent, "\xC3\xA9");
  }
}

TEST(config_reader, skips_list_entries_that_lack_what_they_need) {
  const crawler_config_ptr config = read_inside(
      "<credentials><c site='s' user='u'/><c site='s' user='u' pass=''/></credentials>"
      "<url-substitutions><s src-pattern='a'/><s dst-pattern='b'/></url-substitutions>"
      "<cookies><c domain='d' name='n'/><c name='n' data='x'/><c domain='d' data='x'/></cookies>"
      "<excluded-regexes><regex name='r'/></excluded-regexes>");
  ASSERT_NE(config, nullptr);
  ASSERT_EQ(config->credentials.size(), 1u);
  EXPECT_TRUE(config->credentials[0] == (config_credential{"s", "u", ""}));
  EXPECT_TRUE(config->substitutions.empty());
  EXPECT_TRUE(config->cookies.empty());
  EXPECT_TRUE(config->excluded_regexes.empty());
}

TEST(config_reader, keeps_page_limits_by_seed_and_by_site) {
  const auto key = [](const char* host) { return hash_url_host(host); };
  const crawler_config_ptr plain = read_inside(
      "<seed-urls><url name='http://a/' max-guest-pages='1' site_max_num='4'/>"
      "<url name='http://a/b' max-guest-pages='0' site_max_num='5'/>"
      "<url max-guest-pages='9' site_max_num='9'/>"
      "<url name='http://b:80/' max-guest-pages='-3' site_max_num='6'/>"
      "<url name='http://c/' max-guest-pages='x' site_max_num='0'/>"
      "<url name='http://d/' max-guest-pages='12' site_max_num='-1'/>"
      "<url name='mailto:e' site_max_num='8'/></seed-urls>");
  ASSERT_NE(plain, nullptr);
  constexpr int32_t NONE = NO_GUEST_PAGE_LIMIT;
  EXPECT_THAT(plain->max_guest_pages, ElementsAre(0, NONE, NONE, NONE, 11, NONE));
  EXPECT_EQ(plain->site_page_limits,
            (std::map<uint32_t, int32_t>{{key("a"), 5}, {key("b:80"), 6}}));

  const crawler_config_ptr canonical = read_inside(
      "<seed-urls><url name='http://b:80/' site_max_num='6'/></seed-urls>"
      "<canonical-urls enable='1'/>");
  ASSERT_NE(canonical, nullptr);
  EXPECT_THAT(canonical->seed_urls, ElementsAre("http://b:80/"));
  EXPECT_EQ(canonical->site_page_limits, (std::map<uint32_t, int32_t>{{key("b"), 6}}));
}

TEST(config_reader, reads_booleans_and_numbers) {
  const std::tuple<const char*, bool, int32_t> cases[] = {
      {"true", true, 0},  {"1", true, 1},   {"yes", true, 0},  {"on", true, 0},
      {"True", false, 0}, {" 1", false, 1}, {"2", false, 2},   {"", false, 0},
      {"-7x", false, -7}, {"x7", false, 0}, {"on ", false, 0}, {"99999999999", false, 2147483647},
  };
  for (const auto& [text, flag, number] : cases) {
    SCOPED_TRACE(text);
    const crawler_config_ptr config =
        read_inside(format_text("<robot honor='%s'/><timeout wait='%s'/>", text, text));
    ASSERT_NE(config, nullptr);
    EXPECT_EQ(config->honor_robots, flag);
    EXPECT_EQ(config->timeout_wait_ms, number);
  }
}

TEST(config_reader, looks_for_filter_words_anywhere_in_the_value) {
  const std::tuple<const char*, int32_t> cases[] = {
      {"", 7},  // no attribute at all
      {"filter=''", 0},
      {"filter='status none'", 0},
      {"filter='default error'", 7},
      {"filter='warnings,errors'", 6},
      {"filter='Status'", 0},
      {"filter='status '", 1},
      {"filter='none default'", 0},
  };
  for (const auto& [attribute, filter] : cases) {
    SCOPED_TRACE(attribute);
    const crawler_config_ptr config = read_inside("<log name='l' " + std::string(attribute) + "/>");
    ASSERT_NE(config, nullptr);
    EXPECT_EQ(config->log_filter, filter);
  }
}

TEST(config_reader, settles_dependent_fields_after_the_walk) {
  const crawler_config_ptr config = read_inside(
      "<nbthreads nb='6'/><frontier nb_queues='5' queue_buffer_size='7' mode='2'/>"
      "<store name='/s' temp_data_path=''/>",
      "type='RSS' nb-spiders='2'");
  ASSERT_NE(config, nullptr);
  EXPECT_EQ(config->nb_queues, 100);
  EXPECT_EQ(config->queue_buffer_size, 1000);
  EXPECT_EQ(config->temp_data_path, "/s");
  EXPECT_EQ(config->nb_spiders, 6);
  EXPECT_FALSE(config->is_rss);
}

TEST(config_reader, chooses_a_profile_by_its_name) {
  const profile_file file(
      "<!-- head --><any>\n<!-- c -->text<odd nb-spiders='10'/>"
      "<crawler name='twin' nb-spiders='11'/><crawler name='twin' nb-spiders='12'/>"
      "<crawler name='single' nb-spiders='13'/></any>");
  const std::tuple<const char*, int32_t, int32_t> cases[] = {
      {"", 10, 10}, {"nobody", 10, 10}, {"twin", 12, 11}, {"single", 13, 13}, {"Single", 10, 10},
  };
  for (const auto& [name, with_libxml, without_libxml] : cases) {
    SCOPED_TRACE(name);
    testing::internal::CaptureStderr();
    const crawler_config_ptr first = read_config_with_libxml(file.path, name);
    const crawler_config_ptr second = read_config_without_libxml(file.path, name);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    ASSERT_TRUE(first != nullptr && second != nullptr);
    EXPECT_EQ(first->nb_spiders, with_libxml);
    EXPECT_EQ(second->nb_spiders, without_libxml);
  }
}

// % stands for the path of the file in start and end.
void expect_refusal(const config_reader& reader, const std::string& path, const char* name,
                    std::string start, std::string end) {
  SCOPED_TRACE(reader.name);
  for (std::string* text : {&start, &end}) {
    const size_t at = text->find('%');
    if (at != std::string::npos) text->replace(at, 1, path);
  }
  testing::internal::CaptureStderr();
  EXPECT_EQ(reader.read(path, name), nullptr);
  const std::string message = testing::internal::GetCapturedStderr();
  EXPECT_THAT(message, testing::StartsWith(start));
  EXPECT_THAT(message, testing::EndsWith(end));
}

TEST(config_reader, tells_why_there_is_no_profile_and_where_the_file_is_broken) {
  const char* const unparsed = "Document not parsed successfully.\n";
  const char* const not_loaded = "Couldn't load configuration file '%'\n";
  const char* const empty = "Empty document.\n";
  const char* const unnamed = "Failed to find any suitable crawler\n";
  const char* const named = "Failed to find crawler profile named 'n'\n";
  // The name asked for, the file, and how the message of each reader begins and ends.
  const std::tuple<const char*, const char*, const char*, const char*, const char*, const char*>
      cases[] = {
          {"", "<r>\n<crawler>\n</crawlers>\n</r>", "%:3: ", unparsed, "%:3: ", not_loaded},
          {"", "no markup", "%:1: ", unparsed, "%:1: ", not_loaded},
          {"", "<r/>\n<", "%:2: ", unparsed, "%:2: ", not_loaded},
          {"", "", "%:1: ", empty, "%:1: ", not_loaded},
          {"", "<?xml version='1.0'?>\n<!-- c -->\n", "%:", empty, "%:", not_loaded},
          {"", "<r>text<!-- c --></r>", unnamed, unnamed, unnamed, unnamed},
          {"n", "<r/>", named, named, named, named},
      };
  for (const auto& [name, bytes, start, end, other_start, other_end] : cases) {
    SCOPED_TRACE(bytes);
    const profile_file file(bytes);
    expect_refusal(READERS[0], file.path, name, start, end);
    expect_refusal(READERS[1], file.path, name, other_start, other_end);
  }
}

TEST(config_reader, tells_of_a_file_that_is_not_there) {
  const profile_file file("");
  const std::string path = file.directory.path + "/absent.xml";
  testing::internal::CaptureStderr();
  EXPECT_EQ(read_config_with_libxml(path, ""), nullptr);
  EXPECT_THAT(testing::internal::GetCapturedStderr(),
              testing::EndsWith("\nDocument not parsed successfully.\n"));
  testing::internal::CaptureStderr();
  EXPECT_EQ(read_config_without_libxml(path, ""), nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Couldn't load configuration file '" + path + "'\n");
}

TEST(config_reader, takes_no_declarations_from_the_file) {
  std::string laughs = "<!ENTITY a0 'http://a.example/'>";
  for (int i = 1; i < 30; ++i) {
    const std::string inner = format_text("&a%d;&a%d;&a%d;&a%d;", i - 1, i - 1, i - 1, i - 1);
    append_formatted_text(laughs, "<!ENTITY a%d '%s'>", i, inner.c_str());
  }
  const std::string cases[] = {
      laughs,
      "<!ENTITY a29 SYSTEM 'file:///etc/passwd'>",
      "<!ENTITY a29 'plain'>",
      "<!ATTLIST crawler nb-spiders CDATA '5'><!ENTITY a29 'x'>",
  };
  for (const std::string& declarations : cases) {
    SCOPED_TRACE(declarations);
    const profile_file file("<!DOCTYPE r SYSTEM \"[x.dtd\" [" + declarations +
                            "]>\n<r><crawler><user-agent name='&a29;'/></crawler></r>");
    for (const config_reader& reader : READERS) {
      SCOPED_TRACE(reader.name);
      testing::internal::CaptureStderr();
      EXPECT_EQ(reader.read(file.path, ""), nullptr);
      EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::StartsWith(file.path + ":"));
    }
  }
  EXPECT_NE(read_with_both("<!DOCTYPE r SYSTEM '[x.dtd' [ ]><r><crawler/></r>"), nullptr);
}

TEST(config_reader, refuses_an_encoding_that_it_would_misread) {
  const profile_file file("<?xml version='1.0' encoding='koi8-r'?>\n<r><crawler/></r>");
  testing::internal::CaptureStderr();
  EXPECT_EQ(read_config_without_libxml(file.path, ""), nullptr);
  EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("unknown encoding koi8-r\n"));
  EXPECT_NE(read_config_with_libxml(file.path, ""), nullptr);
}

TEST(config_reader, reads_long_lists) {
  constexpr int NB_ENTRIES = 50'000;
  std::string inside = "<seed-urls>";
  for (int i = 0; i < NB_ENTRIES; ++i) {
    inside += "<url name='http://h" + std::to_string(i) + ".example/' site_max_num='1'/>\n";
  }
  const crawler_config_ptr config = read_inside(inside + "</seed-urls>");
  ASSERT_NE(config, nullptr);
  ASSERT_EQ(config->seed_urls.size(), size_t{NB_ENTRIES});
  EXPECT_EQ(config->seed_urls.back(), "http://h49999.example/");
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
