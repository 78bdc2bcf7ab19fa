#include "wkdt/heap.h"

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <vector>

namespace wk {
namespace {

bool is_greater(uint64_t a, uint64_t b) { return a > b; }

TEST(heap, gives_keys_in_order) {
  heap h{is_greater, {}};
  std::mt19937 random(3);
  std::multiset<uint64_t> keys;
  for (uint32_t i = 0; i < 2'000; ++i) {
    const uint64_t key = random() % 300;
    keys.insert(key);
    insert_heap(h, {key, i});
    if (random() % 3 != 0) continue;
    heap_entry least;
    ASSERT_TRUE(remove_min_heap(h, least));
    EXPECT_EQ(least.key, *keys.begin());
    keys.erase(keys.begin());
  }
  heap_entry least;
  for (const uint64_t key : keys) {
    ASSERT_TRUE(remove_min_heap(h, least));
    EXPECT_EQ(least.key, key);
  }
  EXPECT_FALSE(remove_min_heap(h, least));
}

TEST(heap, breaks_ties_by_its_shape) {
  heap h{is_greater, {}};
  for (uint32_t value = 0; value < 6; ++value) insert_heap(h, {7, value});
  std::vector<uint32_t> order;
  heap_entry least;
  while (remove_min_heap(h, least)) order.push_back(least.value);
  EXPECT_EQ(order, (std::vector<uint32_t>{0, 5, 4, 3, 2, 1})) << "an equal child never moves";
}

}  // namespace
}  // namespace wk
