#include "wkstd/process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <string>
#include <utility>
#include <vector>

#include "wkstd/clock.h"

namespace wk {
namespace {

TEST(open_process, hands_on_no_handle_no_signal_setting_and_no_process_group) {
  const int leaky = ::fcntl(STDERR_FILENO, F_DUPFD, 50);  // is not closed on exec
  sigset_t blocked;
  ::sigemptyset(&blocked);
  ::sigaddset(&blocked, SIGTERM);
  ::pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
  const std::pair<std::string, std::string> cases[] = {
      {"[ -e /proc/self/fd/" + std::to_string(leaky) + " ] && echo inherited", ""},
      {"kill -PIPE $$; echo ignored", ""},
      {"kill -TERM $$; echo blocked", ""},
      {"read -r pid name state parent group rest </proc/$$/stat; [ $pid = $group ] && echo own",
       "own\n"},
      {"printf %s '$HOME;*'", "$HOME;*"},
  };
  for (const auto& [script, expected] : cases) {
    const process_ptr child = open_process(std::vector<std::string>{"sh", "-c", script});
    std::string out;
    const process_terms a_minute = {.deadline_us = get_steady_time_us() + 60'000'000};
    EXPECT_EQ(receive_process(*child, 100'000, out, a_minute), PROCESS_ENDED) << script;
    EXPECT_EQ(out, expected) << script;
  }
  ::pthread_sigmask(SIG_UNBLOCK, &blocked, nullptr);
  ::close(leaky);
}

}  // namespace
}  // namespace wk
