#include "crawler/horizon/bit_filter.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "crawler/horizon/fingerprint_set.h"

namespace wk {
namespace {

// The three values by their definition, over every byte.
url_bits hash_every_byte(std::string_view url) {
  uint32_t h1 = 0, h2 = 0, h3 = 0;
  for (const char byte : url) {
    const uint32_t c = static_cast<unsigned char>(byte);
    const uint32_t old_h2 = h2, old_h3 = h3;
    h1 = (h1 + c + old_h2) << 7;
    h3 = ((old_h3 ^ h1) + c) << 5;
    h2 = (c + old_h3 * old_h2) * 8;
  }
  return {h1, h2, h3};
}

TEST(hash_url_bits, gives_the_values_of_the_whole_url) {
  uint32_t random = 1;
  for (uint32_t round = 0; round < 5'000; ++round) {
    std::string url;
    for (uint32_t i = 0; i < round % 40; ++i) {
      random = random * 1'103'515'245 + 12'345;
      url.push_back(static_cast<char>(random >> 24));
    }
    const url_bits fast = hash_url_bits(url);
    const url_bits slow = hash_every_byte(url);
    ASSERT_TRUE(fast.h1 == slow.h1 && fast.h2 == slow.h2 && fast.h3 == slow.h3) << round;
  }
  EXPECT_EQ(hash_url_bits("a").h1, 97U << 7);
  EXPECT_EQ(hash_url_bits("a").h2, 97U * 8);
  EXPECT_EQ(hash_url_bits("a").h3, ((97U << 7) + 97U) << 5);
}

TEST(bit_filter, keeps_sixteen_bits_a_word) {
  bit_filter filter;
  init_bit_filter(filter, 1'000'003);
  ASSERT_EQ(get_words_bit_filter(filter).size(), 62'501u);
  EXPECT_FALSE(may_hold_bit_filter(filter, "a"));
  add_bit_filter(filter, "a");
  EXPECT_TRUE(may_hold_bit_filter(filter, "a"));
  EXPECT_FALSE(may_hold_bit_filter(filter, "b"));
  EXPECT_FALSE(may_hold_bit_filter(filter, ""));
  const std::vector<uint32_t> bits = {12'416, 776, 400'416};  // of "a", see the values above
  for (const uint32_t bit : bits) {
    EXPECT_EQ(get_words_bit_filter(filter)[bit / 16], 1U << (bit % 16)) << bit;
  }
  clear_bit_filter(filter);
  EXPECT_FALSE(may_hold_bit_filter(filter, "a"));
}

TEST(fingerprint_set, remembers_what_was_asked_for_last_within_its_bound) {
  fingerprint_set set;
  set.max_slots = 2'048;
  const fingerprint_key key{1, 2};
  const auto print = [&key](uint32_t n) { return build_url_fingerprint(key, std::to_string(n)); };
  add_fingerprint_set(set, print(0));
  for (uint32_t n = 1; n < 20'000; ++n) {
    EXPECT_FALSE(find_fingerprint_set(set, print(n)));
    add_fingerprint_set(set, print(n));
    ASSERT_TRUE(find_fingerprint_set(set, print(n)));
    ASSERT_TRUE(find_fingerprint_set(set, print(0)));  // asked for again and again
  }
  EXPECT_FALSE(find_fingerprint_set(set, print(1)));
  EXPECT_LE(set.young.slots.size() + set.old.slots.size(), 4'096u);
}

TEST(url_fingerprint, tells_texts_and_keys_apart) {
  const fingerprint_key key{1, 2};
  const std::string text(40, '\0');
  std::vector<url_fingerprint> prints;
  for (size_t length = 0; length <= text.size(); ++length) {
    prints.push_back(build_url_fingerprint(key, std::string_view(text).substr(0, length)));
  }
  prints.push_back(build_url_fingerprint({1, 3}, text));
  for (size_t i = 0; i < prints.size(); ++i) {
    for (size_t j = 0; j < i; ++j) EXPECT_FALSE(prints[i] == prints[j]) << i << ' ' << j;
  }
}

}  // namespace
}  // namespace wk
