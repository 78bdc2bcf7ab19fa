#include "wkstd/error.h"

#include <cstdlib>
#include <cstring>

#include "wkstd/terminal_line.h"
#include "wkstd/text.h"

namespace wk {

void print_message(std::string_view text) { write_above_terminal_line(text); }

std::string get_system_error_text(int error_number) {
  char text[128];
  return ::strerror_r(error_number, text, sizeof text);  // GNU's answers where the text stands
}

int report_error(uint32_t code, std::string_view text) {
  switch (code) {
    case ERROR_FATAL:
      report_fatal_error(text);
    case ERROR_WARNING:
      print_message(format_text("WARNING: %.*s\n", static_cast<int>(text.size()), text.data()));
      break;
    case ERROR_MEMORY_LIMIT:
      close_terminal_line();
      print_message("MEMORY LIMIT\n");
      std::exit(1);
    case ERROR_MESSAGE:
      print_message(format_text("MESSAGE: %.*s\n", static_cast<int>(text.size()), text.data()));
      break;
    default:
      print_message(format_text("p_catch(): unrecognized exception code (%u)\n", code));
      break;
  }
  return 1;
}

void report_fatal_error(std::string_view text) {
  close_terminal_line();
  print_message(format_text("ERROR: %.*s\n", static_cast<int>(text.size()), text.data()));
  std::exit(1);
}

int check_condition(bool condition, const char* condition_text, const char* /*file*/, int /*line*/,
                    const char* /*function*/) {
  if (condition) return 0;
  report_error(ERROR_WARNING, format_text("Condition failed: %s", condition_text));
  return 1;
}

}  // namespace wk
