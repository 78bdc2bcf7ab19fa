#include <gtest/gtest.h>

#include <string>

#include "tests/crawler/core/built_crawler.h"

namespace wk {
namespace {

TEST(build_crawler, says_what_of_a_profile_it_leaves_out) {
  crawler_place place;
  place.profile.seed_urls = {"http://a.test/\x01"};
  place.profile.max_guest_pages.resize(1);
  place.profile.excluded_regexes = {"(", "good"};
  place.profile.substitutions = {{"(", ""}};
  testing::internal::CaptureStderr();
  const crawler_ptr crawler = build(place);
  const std::string said = testing::internal::GetCapturedStderr();
  EXPECT_NE(said.find("The URL substitution of '(' by '' is left out: "), std::string::npos)
      << said;
  EXPECT_NE(said.find("The seed URL 'http://a.test/\x01' can't be crawled; it is left out.\n"),
            std::string::npos);
  flush_log(*crawler->log);
  EXPECT_NE(read_test_file(place.base + "/log").find("Couldn't create 1 excluded regex filters\n"),
            std::string::npos);
}

}  // namespace
}  // namespace wk
