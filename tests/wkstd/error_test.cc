#include "wkstd/error.h"

#include <gtest/gtest.h>

#include "wkstd/memory.h"

namespace wk {
namespace {

TEST(report_error, prints_by_code_and_goes_on) {
  testing::internal::CaptureStderr();
  for (const uint32_t code : {uint32_t{ERROR_WARNING}, uint32_t{ERROR_MESSAGE}, uint32_t{3}}) {
    EXPECT_EQ(report_error(code, "text\n"), 1);
  }
  const int* handle = nullptr;
  EXPECT_TRUE(WK_FAILED(handle != nullptr));
  EXPECT_FALSE(WK_FAILED(handle == nullptr));
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "WARNING: text\n\nMESSAGE: text\n\np_catch(): unrecognized exception code (3)\n"
            "WARNING: Condition failed: handle != nullptr\n");
}

TEST(report_error_death, ends_the_process_with_status_1) {
  EXPECT_EXIT(report_error(ERROR_FATAL, "no way"), testing::ExitedWithCode(1), "^ERROR: no way\n$");
  EXPECT_EXIT(report_error(ERROR_MEMORY_LIMIT, "x"), testing::ExitedWithCode(1),
              "^MEMORY LIMIT\n$");
}

TEST(allocate_memory_death, aborts_with_the_size_that_was_asked_for) {
  EXPECT_DEATH(
      {
        set_allocator_hook([](size_t) -> void* { return nullptr; });
        (void)allocate_memory(4711);
      },
      "Caught mem exception, code 2:\nUnable to allocate 4711 bytes\n");
}

}  // namespace
}  // namespace wk
