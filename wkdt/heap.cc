#include "wkdt/heap.h"

#include <cstddef>
#include <utility>

namespace wk {
namespace {

void sift_up(heap& h, size_t at) {
  while (at > 0) {
    const size_t parent = (at - 1) / 2;
    if (!h.is_greater(h.entries[parent].key, h.entries[at].key)) return;
    std::swap(h.entries[parent], h.entries[at]);
    at = parent;
  }
}

void sift_down(heap& h, size_t at) {
  const size_t count = h.entries.size();
  for (;;) {
    size_t child = 2 * at + 1;
    if (child >= count) return;
    if (child + 1 < count && h.is_greater(h.entries[child].key, h.entries[child + 1].key)) ++child;
    if (!h.is_greater(h.entries[at].key, h.entries[child].key)) return;
    std::swap(h.entries[at], h.entries[child]);
    at = child;
  }
}

}  // namespace

void insert_heap(heap& h, heap_entry entry) {
  h.entries.push_back(entry);
  sift_up(h, h.entries.size() - 1);
}

bool remove_min_heap(heap& h, heap_entry& entry) {
  if (h.entries.empty()) return false;
  entry = h.entries.front();
  h.entries.front() = h.entries.back();
  h.entries.pop_back();
  sift_down(h, 0);
  return true;
}

void clear_heap(heap& h) { h.entries.clear(); }

}  // namespace wk
