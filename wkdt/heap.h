// A binary heap of (64-bit key, 32-bit value) pairs, the smallest by the caller's comparison on
// top.
//
// A child moves above its parent only when the parent's key is greater; on the way down the right
// child is taken only when the left one's key is greater. Pairs with equal keys leave in the order
// that these two rules give. Insert and remove cost O(log n). Threads: one at a time.
#pragma once

#include <cstdint>
#include <vector>

namespace wk {

struct heap_entry {
  uint64_t key = 0;
  uint32_t value = 0;
};

using heap_comparison = bool (*)(uint64_t a, uint64_t b);  // is key a greater than key b?

struct heap {
  heap_comparison is_greater = nullptr;
  std::vector<heap_entry> entries = {};  // the children of i are at 2i + 1 and 2i + 2
};

void insert_heap(heap& h, heap_entry entry);
// False when the heap is empty; entry is left alone then.
[[nodiscard]] bool remove_min_heap(heap& h, heap_entry& entry);
void clear_heap(heap& h);

}  // namespace wk
