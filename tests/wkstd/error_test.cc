#include "wkstd/error.h"

#include <gtest/gtest.h>

#include "wkstd/memory.h"

namespace wk {
namespace {

TEST(report_error, prints_by_code_and_goes_on) {
  const std::tuple<uint32_t, const char*> cases[] = {
      {ERROR_WARNING, "WARNING: text\n\n"},
      {ERROR_MESSAGE, "MESSAGE: text\n\n"},
      {3, "p_catch(): unrecognized exception code (3)\n"},
  };
  for (const auto& [code, printed] : cases) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(report_error(code, "text\n"), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), printed);
  }
}

TEST(report_error_death, ends_the_process_with_status_1) {
  EXPECT_EXIT(report_error(ERROR_FATAL, "no way"), testing::ExitedWithCode(1), "^ERROR: no way\n$");
  EXPECT_EXIT(report_error(ERROR_MEMORY_LIMIT, "x"), testing::ExitedWithCode(1),
              "^MEMORY LIMIT\n$");
}

TEST(check_condition, reports_its_text_when_it_fails) {
  const int* handle = nullptr;
  testing::internal::CaptureStderr();
  EXPECT_TRUE(WK_FAILED(handle != nullptr));
  EXPECT_FALSE(WK_FAILED(handle == nullptr));
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "WARNING: Condition failed: handle != nullptr\n");
}

void* refuse(size_t /*size*/) { return nullptr; }

TEST(allocate_memory_death, aborts_with_the_size_that_was_asked_for) {
  EXPECT_DEATH(
      {
        set_allocator_hook(refuse);
        (void)allocate_memory(4711);
      },
      "Caught mem exception, code 2:\nUnable to allocate 4711 bytes\n");
}

}  // namespace
}  // namespace wk
