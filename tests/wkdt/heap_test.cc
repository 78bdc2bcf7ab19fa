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
  heap_entry least;
  for (uint32_t i = 0; i < 4'000; ++i) {
    if (i < 2'000) insert_heap(h, {*keys.insert(random() % 300), i});
    if (i < 2'000 && random() % 3 != 0) continue;
    ASSERT_EQ(remove_min_heap(h, least), !keys.empty());
    if (keys.empty()) break;
    EXPECT_EQ(least.key, *keys.begin());
    keys.erase(keys.begin());
  }
  EXPECT_TRUE(keys.empty());
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
