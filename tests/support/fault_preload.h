// Faults of disk, network and memory on order, for a program that knows nothing of them.
//
// The library stands before the C library's calls and counts those that touch a path holding some
// text, or are of a kind. What happens to the counted calls from one number to another, the
// environment says; a program gets it with LD_PRELOAD (build_fault_environment), a test that links
// it calls arm_faults after it has set the variables:
//
//   WK_FAULT_PATH    text that the path of a counted call holds; without it no file call is counted
//   WK_FAULT_CALLS   which calls count, by name and comma; all of files when absent. "open" is an
//                    opening for reading, "create" every other; stat stands for all of its kind,
//                    malloc for every allocation. Calls of the network and allocations have no
//                    path, and count when they are named, from the begin of main on
//   WK_FAULT_MARKER  nothing is counted before a file of this name exists
//   WK_FAULT_FIRST   number of the first call that fails, from 1
//   WK_FAULT_LAST    number of the last; the same when absent, 0: for ever
//   WK_FAULT_COUNT   file that the number of counted calls goes to when the process exits
//   WK_FAULT_ACTION  "ENOSPC", "EIO", "ECONNRESET", ...: the call does nothing and fails; a close
//                    closes all the same
//                    "kill": the process ends before the call, by SIGKILL
//                    "tear": the same, but a half of what is to be written is written before
//   WK_FAULT_NO_SYNC not empty: fsync answers at once. Only the power can tell the difference, not
//                    the end of a process
//   WK_CLOCK_SPEED   the wall clock runs that many times as fast; a negative number: backwards
//   WK_STEADY_SPEED  the same of the program's steady clock (wkstd/clock.h); sleeps stay as they
//   are
#pragma once

#include <string>
#include <utility>
#include <vector>

extern "C" {
void arm_faults();     // reads the variables anew and counts from 1
void disarm_faults();  // every call passes
// How many calls were counted, and to how many of them something was done.
unsigned long count_calls_faults();
unsigned long count_done_faults();
}

namespace wk {

using environment_variables = std::vector<std::pair<std::string, std::string>>;

// The variables that load the library into a program built like the test itself; a sanitizer's
// runtime stays the first library there.
[[nodiscard]] environment_variables build_fault_environment(environment_variables variables);

}  // namespace wk
