#include <link.h>

#include <cstring>

#include "tests/support/fault_preload.h"

namespace wk {
namespace {

// The sanitizer's runtime that this process runs with; empty: none.
int find_runtime(struct dl_phdr_info* library, size_t /*size*/, void* found) {
  const char* name = std::strrchr(library->dlpi_name, '/');
  if (name == nullptr ||
      (std::strncmp(name, "/libasan", 8) != 0 && std::strncmp(name, "/libtsan", 8) != 0)) {
    return 0;
  }
  *static_cast<std::string*>(found) = library->dlpi_name;
  return 1;
}

}  // namespace

environment_variables build_fault_environment(environment_variables variables) {
  std::string libraries;
  dl_iterate_phdr(find_runtime, &libraries);
  if (!libraries.empty()) libraries += ":";
  variables.emplace_back("LD_PRELOAD", libraries + WK_FAULT_PRELOAD_PATH);
  return variables;
}

}  // namespace wk
