// Running a program: its arguments, its surroundings, and what it left.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace wk {

struct program_setup {
  std::vector<std::string> arguments;  // the program's path first
  std::string directory = {};          // working directory; empty: the test's own
  std::vector<std::pair<std::string, std::string>> environment = {};  // added to the test's own
  uint64_t max_open_files = 0;  // handles that it may have open at once; 0: no limit
  uint64_t max_file_bytes = 0;  // no file may grow beyond it; 0: no limit
};

struct program_result {
  int exit_status = -1;  // 128 + signal when a signal ended it
  std::string output;
  std::string errors;
  double cpu_seconds = 0;  // in user and system mode
};

// Waits for the program's end. One that runs longer than ten minutes is killed.
[[nodiscard]] program_result run_program_to_end(const program_setup& setup);

// A program in the background. Its output goes to files in a directory of the caller's.
struct running_program {
  pid_t pid = -1;
  std::string output_path;
  std::string errors_path;

  running_program() = default;
  ~running_program();  // kills it when it still runs
  running_program(running_program&& other) noexcept;
  running_program& operator=(running_program&& other) noexcept;
};

[[nodiscard]] running_program start_program(const program_setup& setup,
                                            const std::string& output_directory);
void signal_program(const running_program& program, int signal);
[[nodiscard]] program_result wait_program(running_program& program);

}  // namespace wk
