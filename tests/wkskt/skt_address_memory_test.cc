#include "wkskt/skt_address_memory.h"

#include <gtest/gtest.h>

#include <string>

namespace wk {
namespace {

TEST(skt_address_memory, keeps_a_host_for_a_minute_or_until_it_is_forgotten) {
  const struct in_addr kept = {0x0100007f};
  struct in_addr found {};
  EXPECT_EQ(recall_skt_address("one.test", 5, found), SKT_ADDRESS_UNKNOWN);
  keep_skt_address("one.test", 5, kept);
  EXPECT_EQ(recall_skt_address("one.test", 4 + SKT_ADDRESS_LIFE_US, found), SKT_ADDRESS_KNOWN);
  EXPECT_EQ(found.s_addr, kept.s_addr);
  EXPECT_EQ(recall_skt_address("one.test.", 5, found), SKT_ADDRESS_UNKNOWN) << "of another name";
  EXPECT_EQ(recall_skt_address("one.test", 5 + SKT_ADDRESS_LIFE_US, found), SKT_ADDRESS_UNKNOWN);
  keep_skt_address("one.test", 6 + SKT_ADDRESS_LIFE_US, kept);
  EXPECT_EQ(recall_skt_address("one.test", 6 + SKT_ADDRESS_LIFE_US, found), SKT_ADDRESS_KNOWN);
  forget_skt_address("one.test");
  EXPECT_EQ(recall_skt_address("one.test", 6 + SKT_ADDRESS_LIFE_US, found), SKT_ADDRESS_UNKNOWN);
}

TEST(skt_address_memory, asks_for_a_missing_name_after_a_minute_and_ever_more_seldom) {
  struct in_addr found {};
  uint64_t now_us = 7;
  for (uint64_t minutes : {1, 2, 4, 8, 16, 32, 60, 60}) {
    EXPECT_EQ(recall_skt_address("gone.test", now_us, found), SKT_ADDRESS_UNKNOWN) << minutes;
    keep_missing_skt_address("gone.test", now_us);
    keep_missing_skt_address("gone.test", now_us + 1);  // another one who asked meanwhile
    now_us += minutes * SKT_MISSING_LIFE_US;
    EXPECT_EQ(recall_skt_address("gone.test", now_us - 1, found), SKT_ADDRESS_MISSING) << minutes;
    EXPECT_EQ(get_missing_time_skt_address("gone.test", now_us - 1), 1u);
  }
  keep_skt_address("gone.test", now_us, {1});  // it is back, and a failure is a first one again
  forget_skt_address("gone.test");
  keep_missing_skt_address("gone.test", now_us);
  EXPECT_EQ(get_missing_time_skt_address("gone.test", now_us), SKT_MISSING_LIFE_US);
}

TEST(skt_address_memory, is_bounded) {
  const struct in_addr address = {1};
  const auto name = [](size_t i) { return "host" + std::to_string(i); };
  for (size_t i = 0; i < 3 * SKT_MAX_ADDRESSES; ++i) keep_skt_address(name(i).c_str(), 0, address);
  size_t nb_kept = 0;
  struct in_addr found {};
  for (size_t i = 0; i < 3 * SKT_MAX_ADDRESSES; ++i) {
    nb_kept += recall_skt_address(name(i).c_str(), 0, found) == SKT_ADDRESS_KNOWN ? 1 : 0;
  }
  EXPECT_GT(nb_kept, 0u);
  EXPECT_LE(nb_kept, SKT_MAX_ADDRESSES);
}

}  // namespace
}  // namespace wk
