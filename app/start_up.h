// From the command line to the end of the process: what is started in which order, and shut down.
#pragma once

#include <string>
#include <vector>

namespace wk {

// Runs the program; its exit status.
[[nodiscard]] int run_program(const std::vector<std::string>& arguments);

}  // namespace wk
