#include "crawler/output/said_hosts.h"

#include <gtest/gtest.h>

namespace wk {
namespace {

TEST(said_hosts, are_entered_once_and_bounded) {
  said_hosts said;
  EXPECT_FALSE(enter_said_host(said, std::string(301, 'h')));
  for (size_t i = 0; i < MAX_SAID_HOSTS; ++i) {
    EXPECT_TRUE(enter_said_host(said, std::to_string(i)));
    EXPECT_FALSE(enter_said_host(said, std::to_string(i)));
  }
  EXPECT_FALSE(enter_said_host(said, "one more"));
}

}  // namespace
}  // namespace wk
