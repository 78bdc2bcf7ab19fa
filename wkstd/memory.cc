#include "wkstd/memory.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "wkstd/error.h"

namespace wk {
namespace {

allocator_hook hook_in_force = nullptr;

[[noreturn]] void report_allocation_failure(size_t size) {
  char text[64];
  std::snprintf(text, sizeof text, "Unable to allocate %u bytes", static_cast<uint32_t>(size));
  handle_memory_failure(ERROR_MEMORY_LIMIT, text);
}

}  // namespace

void set_allocator_hook(allocator_hook hook) { hook_in_force = hook; }

void* allocate_memory(size_t size) {
  const size_t wanted = size == 0 ? 1 : size;
  void* block = hook_in_force != nullptr ? hook_in_force(wanted) : std::malloc(wanted);
  if (block == nullptr) report_allocation_failure(size);
  return block;
}

void* allocate_zeroed_memory(size_t size) {
  if (hook_in_force == nullptr) {
    // calloc hands out untouched pages, so a large sparse array costs only what is used of it.
    void* block = std::calloc(1, size == 0 ? 1 : size);
    if (block == nullptr) report_allocation_failure(size);
    return block;
  }
  void* block = allocate_memory(size);
  std::memset(block, 0, size);
  return block;
}

void* reallocate_memory(void* block, size_t size) {
  void* moved = std::realloc(block, size == 0 ? 1 : size);
  if (moved == nullptr) report_allocation_failure(size);
  return moved;
}

void handle_memory_failure(uint32_t code, const char* text) {
  char line[160];
  const int length =
      std::snprintf(line, sizeof line, "Caught mem exception, code %u:\n%s\n", code, text);
  if (length > 0) print_message({line, static_cast<size_t>(length)});
  std::abort();
}

namespace {

// For records that keep to cache lines of their own.
void* allocate_aligned_memory(size_t size, size_t alignment) {
  const size_t rounded = (size + alignment - 1) / alignment * alignment;
  void* block = std::aligned_alloc(alignment, rounded == 0 ? alignment : rounded);
  if (block == nullptr) report_allocation_failure(size);
  return block;
}

}  // namespace
}  // namespace wk

void* operator new(size_t size) { return wk::allocate_memory(size); }
void* operator new[](size_t size) { return wk::allocate_memory(size); }
void* operator new(size_t size, std::align_val_t alignment) {
  return wk::allocate_aligned_memory(size, static_cast<size_t>(alignment));
}
void* operator new[](size_t size, std::align_val_t alignment) {
  return wk::allocate_aligned_memory(size, static_cast<size_t>(alignment));
}
// Whoever asks without exceptions has another way when there is none.
void* operator new(size_t size, const std::nothrow_t& /*unused*/) noexcept {
  return std::malloc(size == 0 ? 1 : size);
}
void* operator new[](size_t size, const std::nothrow_t& /*unused*/) noexcept {
  return std::malloc(size == 0 ? 1 : size);
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, size_t /*size*/) noexcept { std::free(block); }
void operator delete[](void* block, size_t /*size*/) noexcept { std::free(block); }
void operator delete(void* block, std::align_val_t /*unused*/) noexcept { std::free(block); }
void operator delete[](void* block, std::align_val_t /*unused*/) noexcept { std::free(block); }
void operator delete(void* block, size_t /*size*/, std::align_val_t /*unused*/) noexcept {
  std::free(block);
}
void operator delete[](void* block, size_t /*size*/, std::align_val_t /*unused*/) noexcept {
  std::free(block);
}
void operator delete(void* block, const std::nothrow_t& /*unused*/) noexcept { std::free(block); }
void operator delete[](void* block, const std::nothrow_t& /*unused*/) noexcept { std::free(block); }
