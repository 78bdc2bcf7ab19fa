// Ports for real servers that can't let the system choose one.
#pragma once

#include <cstdint>

#include "tests/support/child_process.h"

namespace wk {

// A port of 127.0.0.1 on which nobody listens. It is held, without listening, until the test
// program ends: the system gives it to nobody else, connections to it are refused, and a server
// that is told to take it, and reuses addresses (SO_REUSEADDR), gets it.
[[nodiscard]] uint32_t hold_free_port();
// Returns when port takes connections. A program that ends before ends the test program with the
// program's own message.
void wait_until_program_answers(const running_program& program, uint32_t port);

}  // namespace wk
