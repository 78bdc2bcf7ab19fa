// The allocator below every container: the global operator new goes through it, so an exhausted
// memory is reported in one way wherever it happens.
//
// On failure "Unable to allocate %u bytes" goes to the memory handler, which prints
// "Caught mem exception, code %u:\n%s\n" to standard error and aborts; an allocation therefore
// never answers null. Threads: any. The hook is set before any thread starts, if at all.
#pragma once

#include <cstddef>
#include <cstdint>

namespace wk {

using allocator_hook = void* (*)(size_t size);

// Takes the place of malloc; null brings malloc back. What it returns is freed with free.
void set_allocator_hook(allocator_hook hook);

[[nodiscard]] void* allocate_memory(size_t size);
[[nodiscard]] void* allocate_zeroed_memory(size_t size);
// Makes the block larger or smaller, where it is or elsewhere; null is a block of no bytes.
[[nodiscard]] void* reallocate_memory(void* block, size_t size);

// Prints code and text and aborts the process, without allocating.
[[noreturn]] void handle_memory_failure(uint32_t code, const char* text);

}  // namespace wk
