// What a checking program found, one line each on standard output.
//
//   <file>: <what>, line <number>       a fault of a line
//   <file>: <what>                      a fault of the whole file
//   note: <file>: <what>                no fault
//
// A file's name is shown with every byte outside of printable ASCII, and the backslash, as \xNN, so
// a name can't make two lines of one. What a file holds is never shown.
#pragma once

#include <cstdint>
#include <string_view>

namespace wk {

struct fault_report {
  uint64_t nb_faults = 0;
};

void print_fault(fault_report& report, std::string_view file, std::string_view what);
void print_line_fault(fault_report& report, std::string_view file, std::string_view what,
                      uint64_t line_number);
void print_note(std::string_view file, std::string_view what);
// False when standard output refused something at some time.
[[nodiscard]] bool finish_report();

}  // namespace wk
