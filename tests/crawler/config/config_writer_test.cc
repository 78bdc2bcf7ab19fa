// How a record is written: as a profile, and as the text that an image holds.
#include "crawler/config/config_writer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "crawler/config/config_text.h"
#include "tests/crawler/config/profile_file.h"

namespace wk {
namespace {

using testing::HasSubstr;
using testing::Not;

std::string write_values(const config_values& values) {
  CrawlerConfig config;
  static_cast<config_values&>(config) = values;
  std::string out = "left over";
  write_config(config, out);
  return out;
}

constexpr const char* HEAD = R"(<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE WendrakeCrawler SYSTEM "wkcrawler.dtd">
<crawlers xmlns="http://wendrake.invalid/crawler/1.0">
)";

constexpr const char* FRESH =
    R"(	<crawler admin-port="8000" nb-spiders="1" stop-when-empty="false" admin-thread-sleep-time="10000">
		<retries num="0"/>
		<search-mode depth-first="true"/>
		<robot honor="true"/>
		<user-agent name="__WENDRAKE_WEB_CRAWLER__"/>
	</crawler>
</crawlers>
)";

constexpr const char* FULL =
    R"xml(	<crawler admin-port="-1" nb-spiders="3" stop-when-empty="true" admin-thread-sleep-time="250">
		<seed-urls>
			<url name="http://a.test/"/>
			<url name="http://b.test/start?x=1&y=2"/>
		</seed-urls>
		<restricted-urls>
			<url name="http://a\.test/"/>
		</restricted-urls>
		<excluded-urls>
			<url name="http://a\.test/private"/>
		</excluded-urls>
		<restricted-extensions>
			<extension name="html"/>
			<extension name="php"/>
		</restricted-extensions>
		<excluded-extensions>
			<extension name="zip"/>
		</excluded-extensions>
		<restricted-regexes>
			<regex expr="http://b\.test/.*"/>
		</restricted-regexes>
		<excluded-regexes>
			<regex expr=".*\?session=.*"/>
		</excluded-regexes>
		<http-proxy server="127.0.0.1:3128"/>
		<log name="/base/log" append="true" filter="warning error "/>
		<store name="/base/store"		temp_data_path="/base/temp"		status_file_path="/base/status"		link_file_path="/base/links" mbytes="11" files="12"/>
		<frontier sleep_mode="1" mode="2222" nb_queues="5" sleep_interval="0"/>
		<timeout wait="1500"/>
		<quota mbytes="13" files="14"/>
		<retries wait="30" num="2"/>
		<search-mode depth-first="false"/>
		<robot honor="false"/>
		<user-agent name="Some/1.0 (agent)"/>
		<url-substitutions>
			<substitution src-pattern="www\.(.*)" dst-pattern="\1"/>
			<substitution src-pattern="a-b" dst-pattern=""/>
		</url-substitutions>
		<credentials>
			<credential site="http://a.test/" user="user" pass="***"/>
			<credential site="b.test" user="" pass="***"/>
		</credentials>
		<cookies>
			<cookie domain="a.test" path="/" name="name" data="data, more"/>
			<cookie domain="" path="" name="" data=""/>
		</cookies>
			<checkpoint interval="3600" file="/base/checkpoint"/>
	</crawler>
</crawlers>
)xml";

TEST(config_writer, writes_little_for_a_fresh_record_and_everything_in_order) {
  EXPECT_EQ(write_values({}), std::string(HEAD) + FRESH);
  EXPECT_EQ(write_values(build_full_profile("/base")), std::string(HEAD) + FULL);
}

TEST(config_writer, leaves_parts_out_by_their_own_rules) {
  config_values values = build_full_profile("/base");
  values.strict_safety = false;
  EXPECT_THAT(write_values(values), HasSubstr("user=\"user\" pass=\"pass&word\"/>"));
  values.credentials.clear();
  values.log_filter = 0;
  values.temp_data_path = values.user_agent = "";
  values.store_mbytes = values.retries = values.retries_wait_ms = values.quota_mbytes = -1;
  values.checkpoint_interval_seconds = 0;
  const std::string written = write_values(values);
  EXPECT_THAT(written, HasSubstr("\t\t<cookies>\n\t\t</cookies>\n\t</crawler>\n"));
  EXPECT_THAT(written, HasSubstr("<log name=\"/base/log\" append=\"true\"/>\n"));
  EXPECT_THAT(written, HasSubstr("<store name=\"/base/store\"\t\tstatus_file_path="));
  EXPECT_THAT(written, HasSubstr("link_file_path=\"/base/links\" files=\"12\"/>\n"));
  EXPECT_THAT(written, HasSubstr("\t\t<quota files=\"14\"/>\n\t\t<search-mode"));
  EXPECT_THAT(written, Not(HasSubstr("user-agent")));
}

TEST(config_text, holds_every_field_and_gives_absent_ones_their_defaults) {
  const config_values full = build_full_profile("{}");
  EXPECT_EQ(describe(full), FULL_FIELDS) << "what is missing has its default";
  config_values read;
  ASSERT_TRUE(read_config_text(write_fields(full), read));
  expect_same_config(read, full);
  config_values expected;
  expected.nb_spiders = 9;
  ASSERT_TRUE(read_config_text("nb-spiders 9\n", read));
  expect_same_config(read, expected);
}

TEST(config_text, keeps_every_byte_of_a_text) {
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all.push_back(static_cast<char>(byte));
  for (const std::string& text : {std::string(), all, std::string("\\"), std::string("\\\\n\\\t"),
                                  std::string(" leading and trailing "), std::string("\n\n")}) {
    config_values config, read;
    config.user_agent = text;
    config.seed_urls = {text, "", text};
    config.cookies = {{text, text, "", text}};
    ASSERT_TRUE(read_config_text(write_fields(config), read));
    expect_same_config(read, config);
  }
}

TEST(config_text, refuses_what_it_does_not_write) {
  for (const char* text :
       {"nb-spiders 9", "nb-spiders\n", "\n", "nb-spider 9\n", " 9\n", "nb-spiders \n",
        "nb-spiders 9x\n", "nb-spiders 2147483648\n", "stop-when-empty 2\n", "stop-when-empty \n",
        "user-agent a\\rb\n", "user-agent a\\\n", "seed-url a\tb\n", "credential a\tb\n",
        "cookie a\tb\tc\td\te\n", "substitution a\n", "site-page-limit -1\t1\n",
        "site-page-limit 1\tx\n", "nb-spiders 9\nx y\n"}) {
    config_values config = build_full_profile("/base");
    EXPECT_FALSE(read_config_text(text, config)) << text;
    EXPECT_TRUE(config == build_full_profile("/base")) << text;
  }
}

}  // namespace
}  // namespace wk
