// Ports for real servers that can't let the system choose one.
#pragma once

#include <cstdint>

#include "tests/support/child_process.h"

namespace wk {

// A port of 127.0.0.1 that is free now.
[[nodiscard]] uint32_t find_free_port();
// Returns when port takes connections. A program that ends before ends the test program with the
// program's own message.
void wait_until_program_answers(const running_program& program, uint32_t port);

}  // namespace wk
