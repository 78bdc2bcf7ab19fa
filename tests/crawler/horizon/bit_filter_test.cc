#include "crawler/horizon/bit_filter.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "crawler/horizon/fingerprint_set.h"

namespace wk {
namespace {

TEST(hash_url_bits, gives_the_values_of_the_whole_url) {
  const std::tuple<const char*, uint32_t, uint32_t, uint32_t> cases[] = {
      {"", 0x0, 0x0, 0x0},
      {"a", 0x3080, 0x308, 0x61c20},
      {"//a/b", 0xca72ad00, 0x28100b10, 0x1fdaa840},
      {"\xfb\xff\x81z\x80\xff", 0xb8e67f80, 0x270007f8, 0x38a10fe0},
      {"/1/2/3/", 0x4bcfa380, 0x62424978, 0x55641e0},
      {"\xff\xff\xff\xff\xff\xff\xff\xff", 0x5a63b80, 0x70650ff8, 0x24822be0},
      {"http://a/path/of/many/bytes?q=1", 0x51164c80, 0x2e4d4988, 0xf9aaea20},
  };
  for (const auto& [url, h1, h2, h3] : cases) {
    const url_bits bits = hash_url_bits(url);
    EXPECT_EQ(std::tuple(bits.h1, bits.h2, bits.h3), std::tuple(h1, h2, h3)) << url;
  }
}

TEST(bit_filter, keeps_sixteen_bits_a_word) {
  bit_filter filter;
  init_bit_filter(filter, 1'000'003);
  ASSERT_EQ(get_words_bit_filter(filter).size(), 62'501u);
  EXPECT_FALSE(may_hold_bit_filter(filter, "a"));
  add_bit_filter(filter, "a");
  EXPECT_TRUE(may_hold_bit_filter(filter, "a"));
  for (const char* other : {"b", ""}) EXPECT_FALSE(may_hold_bit_filter(filter, other));
  for (const uint32_t bit : {0x3080, 0x308, 0x61c20}) {
    EXPECT_EQ(get_words_bit_filter(filter)[bit / 16], 1U << (bit % 16)) << bit;
  }
}

TEST(fingerprint_set, remembers_what_was_asked_for_last_within_its_bound) {
  fingerprint_set set;
  set.max_slots = 2'048;
  const auto print = [](uint32_t n) { return build_url_fingerprint({1, 2}, std::to_string(n)); };
  for (uint32_t n = 0; n < 20'000; ++n) {
    EXPECT_FALSE(find_fingerprint_set(set, print(n)));
    add_fingerprint_set(set, print(n));
    ASSERT_TRUE(find_fingerprint_set(set, print(0)));  // asked for again and again
  }
  EXPECT_FALSE(find_fingerprint_set(set, print(1)));
  EXPECT_LE(set.young.slots.size() + set.old.slots.size(), 4'096u);
}

}  // namespace
}  // namespace wk
