#include "crawler/content/digest_table.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "crawler/content/digest_set.h"
#include "wkstd/state_stream.h"

namespace wk {
namespace {

// The n-th of a row of digests without zero bytes.
content_digest build_digest(uint32_t n) {
  content_digest digest;
  digest.fill(1);
  for (size_t i = 0; n > 0; ++i, n /= 255) digest[i] = static_cast<unsigned char>(n % 255 + 1);
  return digest;
}

TEST(digest_table, takes_a_digest_up_to_its_first_zero_byte) {
  const digest_table_ptr table = create_digest_table();
  const std::pair<content_digest, bool> cases[] = {
      {{}, false},
      {{0, 1, 2}, true},
      {{1, 2, 0, 3}, false},
      {{1, 2, 0, 4}, true},
      {{1, 2, 3}, false},
      {{1, 2, 3, 4, 5, 6, 7, 8, 0, 1}, false},
      {{1, 2, 3, 4, 5, 6, 7, 8, 0, 2}, true},
      {{1, 2, 3, 4, 5, 6, 7, 8, 1}, false},
  };
  for (const auto& [digest, known] : cases) {
    EXPECT_EQ(test_and_enter_digest_table(*table, digest), known);
  }
  EXPECT_EQ(count_digest_table(*table), 5u);
}

TEST(digest_set, holds_digests_below_forty_bytes_each) {
  digest_set set;
  for (uint32_t n = 1; n <= 200'000; ++n) {
    ASSERT_TRUE(add_digest_set(set, build_digest_key(build_digest(n))));
    ASSERT_FALSE(add_digest_set(set, build_digest_key(build_digest(n / 2 + 1))));
    ASSERT_TRUE(n < 1'000 || set.slots.capacity() * sizeof(digest_key) < size_t{40} * n);
  }
}

TEST(digest_table, comes_back_from_its_image_and_keeps_what_it_holds_when_it_is_damaged) {
  const digest_table_ptr table = create_digest_table(), loaded = create_digest_table();
  for (uint32_t n = 0; n < 1'000; ++n) test_and_enter_digest_table(*table, build_digest(n));
  test_and_enter_digest_table(*table, {});
  std::string image, huge;
  save_digest_table(*table, image);
  append_u64(huge, 0x1000'0000'0000'0001);
  test_and_enter_digest_table(*loaded, build_digest(2'000));
  for (const std::string& bytes : {image.substr(0, 7), image.substr(0, image.size() - 1),
                                   huge + std::string(64, 'x'), image + "next"}) {
    std::string_view stream = bytes;
    const bool is_whole = bytes.size() > image.size();
    EXPECT_EQ(load_digest_table(stream, *loaded), is_whole);
    EXPECT_EQ(stream, is_whole ? "next" : bytes);
    EXPECT_EQ(count_digest_table(*loaded), is_whole ? 1'001u : 1u);
  }
  for (uint32_t n = 0; n < 1'000; ++n) {
    ASSERT_TRUE(test_and_enter_digest_table(*loaded, build_digest(n)));
  }
  EXPECT_FALSE(test_and_enter_digest_table(*loaded, build_digest(2'000)));
}

}  // namespace
}  // namespace wk
