#include "tests/fuzz/fuzz_law.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  wk::test_one_input({reinterpret_cast<const char*>(data), size});
  return 0;
}

namespace wk {

void require_law(bool holds, const char* law) {
  if (holds) return;
  std::fprintf(stderr, "BROKEN LAW: %s\n", law);
  std::abort();
}

std::string_view take_part(std::string_view& bytes) {
  const size_t end = std::min(bytes.find('\xFF'), bytes.size());
  const std::string_view part = bytes.substr(0, end);
  bytes.remove_prefix(std::min(end + 1, bytes.size()));
  return part;
}

unsigned char take_byte(std::string_view& bytes) {
  if (bytes.empty()) return 0;
  const auto byte = static_cast<unsigned char>(bytes.front());
  bytes.remove_prefix(1);
  return byte;
}

}  // namespace wk
