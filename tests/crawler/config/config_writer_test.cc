#include "crawler/config/config_writer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

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

TEST(config_writer, writes_little_for_a_fresh_record_and_everything_in_order) {
  EXPECT_EQ(write_values({}), read_profile_text("fresh_written.xml"));
  EXPECT_EQ(write_values(build_full_profile("/base")), read_profile_text("full_written.xml"));
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

}  // namespace
}  // namespace wk
