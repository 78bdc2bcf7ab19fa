#include "wkskt/skt_address_memory.h"

#include <gtest/gtest.h>

#include <string>

namespace wk {
namespace {

TEST(skt_address_memory, keeps_a_host_for_a_minute_or_until_it_is_forgotten) {
  const struct in_addr kept = {0x0100007f};
  struct in_addr found {};
  EXPECT_FALSE(recall_skt_address("one.test", 5, found));
  keep_skt_address("one.test", 5, kept);
  EXPECT_TRUE(recall_skt_address("one.test", 4 + SKT_ADDRESS_LIFE_US, found));
  EXPECT_EQ(found.s_addr, kept.s_addr);
  EXPECT_FALSE(recall_skt_address("one.test.", 5, found)) << "of another name";
  EXPECT_FALSE(recall_skt_address("one.test", 5 + SKT_ADDRESS_LIFE_US, found));
  keep_skt_address("one.test", 6 + SKT_ADDRESS_LIFE_US, kept);
  EXPECT_TRUE(recall_skt_address("one.test", 6 + SKT_ADDRESS_LIFE_US, found));
  forget_skt_address("one.test");
  EXPECT_FALSE(recall_skt_address("one.test", 6 + SKT_ADDRESS_LIFE_US, found));
}

TEST(skt_address_memory, is_bounded) {
  const struct in_addr address = {1};
  const auto name = [](size_t i) { return "host" + std::to_string(i); };
  for (size_t i = 0; i < 3 * SKT_MAX_ADDRESSES; ++i) keep_skt_address(name(i).c_str(), 0, address);
  size_t nb_kept = 0;
  struct in_addr found {};
  for (size_t i = 0; i < 3 * SKT_MAX_ADDRESSES; ++i) {
    nb_kept += recall_skt_address(name(i).c_str(), 0, found) ? 1 : 0;
  }
  EXPECT_GT(nb_kept, 0u);
  EXPECT_LE(nb_kept, SKT_MAX_ADDRESSES);
}

}  // namespace
}  // namespace wk
