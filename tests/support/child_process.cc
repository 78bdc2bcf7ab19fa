#include "tests/support/child_process.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "tests/support/temp_directory.h"

namespace wk {
namespace {

constexpr unsigned LONGEST_RUN_SECONDS = 600;

void redirect(const std::string& path, int handle) {
  const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  if (file < 0 || ::dup2(file, handle) < 0) ::_exit(126);
  ::close(file);
}

void set_limit(int resource, uint64_t value) {
  if (value == 0) return;
  const struct rlimit limit = {value, value};
  ::setrlimit(static_cast<__rlimit_resource>(resource), &limit);
}

double get_seconds(const struct timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

[[noreturn]] void become_program(const program_setup& setup, const running_program& program) {
  redirect(program.output_path, STDOUT_FILENO);
  redirect(program.errors_path, STDERR_FILENO);
  for (const auto& [name, value] : setup.environment) ::setenv(name.c_str(), value.c_str(), 1);
  if (!setup.directory.empty() && ::chdir(setup.directory.c_str()) != 0) ::_exit(126);
  set_limit(RLIMIT_FSIZE, setup.max_file_bytes);
  set_limit(RLIMIT_NOFILE, setup.max_open_files);
  std::vector<char*> arguments;
  for (const std::string& argument : setup.arguments) {
    arguments.push_back(const_cast<char*>(argument.c_str()));
  }
  arguments.push_back(nullptr);
  ::alarm(LONGEST_RUN_SECONDS);  // survives exec; its signal ends the program
  ::execv(arguments[0], arguments.data());
  ::_exit(127);
}

}  // namespace

running_program start_program(const program_setup& setup, const std::string& output_directory) {
  static int nb_started = 0;
  running_program program;
  const std::string prefix = output_directory + "/run" + std::to_string(++nb_started);
  program.output_path = prefix + ".out";
  program.errors_path = prefix + ".err";
  program.pid = ::fork();
  if (program.pid == 0) become_program(setup, program);
  if (program.pid < 0) {
    std::perror("fork");
    std::abort();
  }
  return program;
}

running_program::running_program(running_program&& other) noexcept
    : pid(std::exchange(other.pid, -1)),
      output_path(std::move(other.output_path)),
      errors_path(std::move(other.errors_path)) {}

running_program& running_program::operator=(running_program&& other) noexcept {
  std::swap(pid, other.pid);
  std::swap(output_path, other.output_path);
  std::swap(errors_path, other.errors_path);
  return *this;
}

running_program::~running_program() {
  if (pid <= 0) return;
  ::kill(pid, SIGKILL);
  ::waitpid(pid, nullptr, 0);
}

void signal_program(const running_program& program, int signal) { ::kill(program.pid, signal); }

program_result wait_program(running_program& program) {
  program_result result;
  int status = 0;
  struct rusage usage {};
  while (::wait4(program.pid, &status, 0, &usage) < 0 && errno == EINTR) {
  }
  program.pid = -1;
  result.cpu_seconds = get_seconds(usage.ru_utime) + get_seconds(usage.ru_stime);
  result.exit_status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  result.output = read_test_file(program.output_path);
  result.errors = read_test_file(program.errors_path);
  return result;
}

program_result run_program_to_end(const program_setup& setup) {
  const temp_directory directory;
  running_program program = start_program(setup, directory.path);
  return wait_program(program);
}

}  // namespace wk
