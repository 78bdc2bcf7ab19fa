#include "wkstd/process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <vector>

#include "tests/support/temp_directory.h"
#include "wkstd/clock.h"

namespace wk {
namespace {

process_terms build_minute() { return {.deadline_us = get_steady_time_us() + 60'000'000}; }

process_ptr open_shell(const std::string& script) {
  return open_process(std::vector<std::string>{"sh", "-c", script});
}

// All that the script writes until it ends.
std::string run_shell(const std::string& script) {
  const process_ptr child = open_shell(script);
  std::string out;
  EXPECT_EQ(receive_process(*child, 100'000, out, build_minute()), PROCESS_ENDED);
  return out;
}

TEST(open_process, hands_on_no_handle_no_signal_setting_and_no_process_group) {
  const int leaky = ::fcntl(STDERR_FILENO, F_DUPFD, 50);  // is not closed on exec
  sigset_t blocked;
  ::sigemptyset(&blocked);
  ::sigaddset(&blocked, SIGTERM);
  ::pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
  const std::string handle = "/proc/self/fd/" + std::to_string(leaky);
  EXPECT_EQ(run_shell("[ -e " + handle + " ] && echo inherited"), "");
  EXPECT_EQ(run_shell("kill -PIPE $$; echo ignored"), "");
  EXPECT_EQ(run_shell("kill -TERM $$; echo blocked"), "");
  EXPECT_EQ(run_shell("read -r pid name state parent group rest </proc/$$/stat; "
                      "[ $pid = $group ] && echo own"),
            "own\n");
  ::pthread_sigmask(SIG_UNBLOCK, &blocked, nullptr);
  ::close(leaky);
}

TEST(open_process, starts_programs_and_no_shell) {
  const temp_directory directory;
  const std::string script = directory.path + "/script";
  write_test_file(script, "echo a shell runs this\n");
  ::chmod(script.c_str(), 0700);
  EXPECT_EQ(open_process(std::vector{script}), nullptr);
  EXPECT_EQ(open_process(std::vector<std::string>{"no-such-program-at-all"}), nullptr);
  EXPECT_EQ(run_shell("printf %s \"$0\" '$HOME;*'"), "sh$HOME;*");
}

TEST(open_process, takes_no_standard_stream_for_a_pipe) {
  const int kept[] = {::dup(STDIN_FILENO), ::dup(STDOUT_FILENO)};
  ::close(STDIN_FILENO);
  ::close(STDOUT_FILENO);
  const process_ptr child = open_shell("printf heard; cat");
  const int output = ::fcntl(STDOUT_FILENO, F_GETFD);
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO}) {
    ::dup2(kept[stream], stream);
    ::close(kept[stream]);
  }
  EXPECT_EQ(output, -1);
  std::string out;
  EXPECT_EQ(receive_process(*child, 5, out, build_minute()), PROCESS_OK);
}

TEST(end_process, tells_whether_the_program_ended_of_itself) {
  const process_ptr obedient = open_shell("cat >/dev/null");
  const process_ptr deaf = open_shell("exec sleep 1000");
  EXPECT_TRUE(end_process(*obedient, 60'000));
  EXPECT_FALSE(end_process(*deaf, 10));
  std::string out;
  EXPECT_EQ(receive_process(*deaf, 1, out, build_minute()), PROCESS_ENDED);
  EXPECT_EQ(send_process(*deaf, "x", build_minute()), PROCESS_ENDED);
}

}  // namespace
}  // namespace wk
