// The process-wide error channel: one place that a report with a code and a text goes to.
//
// Everything is written to standard error. Code 0 ends the process with status 1, so a caller of it
// needs no way back; the other codes return. Reports may come from any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace wk {

enum error_code : uint32_t {
  ERROR_FATAL = 0,         // "ERROR: %s\n", then exit status 1
  ERROR_WARNING = 1,       // "WARNING: %s\n"
  ERROR_MEMORY_LIMIT = 2,  // "MEMORY LIMIT\n" without the text, then exit status 1
  ERROR_MESSAGE = 4,       // "MESSAGE: %s\n"
};

// Hands code and text to the channel; 1 when it returns. A code that is none of the above prints
// "p_catch(): unrecognized exception code (%u)\n".
int report_error(uint32_t code, std::string_view text);

// Ends the process with "ERROR: %s\n" and status 1. For faults of the configuration.
[[noreturn]] void report_fatal_error(std::string_view text);

// 0 when condition holds. Otherwise reports "Condition failed: %s" as a warning and answers 1; the
// caller then returns its own failure value. The place is for a debugger; it is not printed.
int check_condition(bool condition, const char* condition_text, const char* file, int line,
                    const char* function);

// What the system says about an errno value, as strerror does, for any thread.
[[nodiscard]] std::string get_system_error_text(int error_number);

// Writes text to standard error as it stands, in one write: alarms and notes that are no reports.
void print_message(std::string_view text);

}  // namespace wk

// True when the condition failed (and was reported), so it reads: if (WK_FAILED(x != nullptr)) ...
#define WK_FAILED(condition) \
  (::wk::check_condition((condition), #condition, __FILE__, __LINE__, __func__) != 0)
