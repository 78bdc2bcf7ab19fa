#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <tuple>

#include "tests/support/child_process.h"
#include "tests/support/temp_directory.h"

namespace wk {
namespace {

TEST(check_profile, tells_clean_suspicious_and_unreadable_profiles_apart) {
  const temp_directory place;
  make_directory(place, "store");
  write_test_file(
      place.path + "/c.xml",
      "<crawlers><crawler name='clean' admin-port='-1'><store name='store'/></crawler>\n"
      "<crawler name='odd' admin-port='-1'><stor/></crawler>\n"
      "<crawler name='open' admin-port='-1'><restricted-urls><url name='('/></restricted-urls>\n"
      "</crawler><crawler name='fatal' admin-port='-1'><frontier nb_queues='0'/></crawler>"
      "</crawlers>");
  write_test_file(place.path + "/broken.xml", "<crawlers>\n<");
  const std::tuple<const char*, const char*, int, const char*, const char*> cases[] = {
      // file, name, exit status, output, a part of the errors
      {"c.xml", "clean", 0, "", ""},
      {"c.xml", "odd", 1,
       "c.xml:2: element \"stor\" of \"crawler\" is not known; did you mean \"store\"?\n", ""},
      {"c.xml", "open", 1,
       "c.xml:3: element \"restricted-urls\" restricts nothing: none of its entries is valid\n"
       "c.xml:3: attribute \"name\" of \"url\": \"(\" is no regular expression and is left out: "
       "missing )\n",
       ""},
      {"c.xml", "fatal", 1, "", "ERROR: frontier's nb_queues should be > 0.\n"},
      {"broken.xml", "x", 2, "", "broken.xml:2: "},
      {"none.xml", "x", 2, "", "Document not parsed successfully.\n"},
      {"", "x", 2, "", "usage: check_profile FILE [-crawler-name NAME]\n"},
  };
  for (const auto& [file, name, exit_status, output, errors] : cases) {
    SCOPED_TRACE(std::string(file) + " " + name);
    const program_result result =
        run_program_to_end({.arguments = {WK_CHECK_PROFILE_PATH, file, "-crawler-name", name},
                            .directory = place.path});
    EXPECT_EQ(result.exit_status, exit_status) << result.errors;
    EXPECT_EQ(result.output, output);
    EXPECT_NE(result.errors.find(errors), std::string::npos) << result.errors;
    EXPECT_EQ(result.errors.empty(), std::string_view(errors).empty());
  }
}

}  // namespace
}  // namespace wk
