#include "crawler/content/digest_table.h"

#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <string>
#include <thread>
#include <utility>
#include <vector>

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

TEST(digest_set, holds_a_million_digests_below_forty_bytes_each) {
  digest_set set;
  for (uint32_t n = 1; n <= 1'000'000; ++n) {
    ASSERT_TRUE(add_digest_set(set, build_digest_key(build_digest(n))));
    ASSERT_FALSE(add_digest_set(set, build_digest_key(build_digest(n / 2 + 1))));
    ASSERT_TRUE(n < 1'000 || set.slots.capacity() * sizeof(digest_key) < size_t{40} * n);
  }
}

TEST(digest_table, comes_back_from_its_image_and_keeps_what_it_holds_when_it_is_damaged) {
  const digest_table_ptr table = create_digest_table();
  for (uint32_t n = 1; n <= 1'000; ++n) test_and_enter_digest_table(*table, build_digest(n));
  test_and_enter_digest_table(*table, {});
  std::string image;
  save_digest_table(*table, image);
  std::string huge;
  append_u64(huge, 0x1000'0000'0000'0001);
  const digest_table_ptr loaded = create_digest_table();
  test_and_enter_digest_table(*loaded, build_digest(2'000));
  for (const std::string& damaged :
       {std::string(), image.substr(0, 7), image.substr(0, image.size() - 1),
        huge + std::string(64, 'x')}) {
    std::string_view stream = damaged;
    EXPECT_FALSE(load_digest_table(stream, *loaded));
    EXPECT_EQ(stream, damaged);
    EXPECT_EQ(count_digest_table(*loaded), 1u);
  }
  image += "next";
  std::string_view stream = image;
  ASSERT_TRUE(load_digest_table(stream, *loaded));
  EXPECT_EQ(stream, "next");
  EXPECT_EQ(count_digest_table(*loaded), 1'001u);
  for (uint32_t n = 1; n <= 1'000; ++n) {
    ASSERT_TRUE(test_and_enter_digest_table(*loaded, build_digest(n)));
  }
  EXPECT_TRUE(test_and_enter_digest_table(*loaded, {}));
  EXPECT_FALSE(test_and_enter_digest_table(*loaded, build_digest(2'000)));
}

TEST(digest_table, tells_one_of_several_threads_that_a_digest_is_new) {
  constexpr uint32_t NB_DIGESTS = 20'000;
  constexpr int NB_THREADS = 4;
  const digest_table_ptr table = create_digest_table();
  std::atomic<uint32_t> nb_new{0};
  std::latch start(NB_THREADS);
  std::string image;
  {
    std::vector<std::jthread> threads;
    threads.reserve(NB_THREADS);
    for (int i = 0; i < NB_THREADS; ++i) {
      threads.emplace_back([&] {
        start.arrive_and_wait();
        for (uint32_t n = 1; n <= NB_DIGESTS; ++n) {
          if (!test_and_enter_digest_table(*table, build_digest(n))) ++nb_new;
        }
      });
    }
    save_digest_table(*table, image);  // a checkpoint does not wait for the spiders
  }
  EXPECT_EQ(nb_new, NB_DIGESTS);
  EXPECT_EQ(count_digest_table(*table), NB_DIGESTS);
  std::string_view stream = image;
  EXPECT_TRUE(load_digest_table(stream, *table));
}

}  // namespace
}  // namespace wk
