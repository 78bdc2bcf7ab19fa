// Lets a fatal report of the configuration be the end of one input and not of all.
#include <csetjmp>
#include <cstdlib>

#include "tests/fuzz/fuzz_law.h"

namespace {
std::jmp_buf way_back;
bool has_way_back = false;
}  // namespace

// What is left behind on the way back is lost.
extern "C" const char* __asan_default_options() { return "detect_leaks=0"; }

extern "C" [[noreturn]] void __real_exit(int status);
extern "C" [[noreturn]] void __wrap_exit(int status) {
  if (has_way_back && status == 1) std::longjmp(way_back, 1);
  __real_exit(status);
}

namespace wk {

bool runs_to_its_end(void (*action)(void* context), void* context) {
  const bool ended_early = setjmp(way_back) != 0;
  if (!ended_early) {
    has_way_back = true;
    action(context);
  }
  has_way_back = false;
  return !ended_early;
}

}  // namespace wk
