// What a process says at its end, the processes it opens, and the gate that its threads stop at.
#include "wkstd/process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <thread>
#include <utility>
#include <vector>

#include "wkstd/clock.h"
#include "wkstd/error.h"
#include "wkstd/memory.h"
#include "wkstd/stop_gate.h"

namespace wk {
namespace {

TEST(report_error, prints_by_code_and_goes_on) {
  testing::internal::CaptureStderr();
  for (const uint32_t code : {uint32_t{ERROR_WARNING}, uint32_t{ERROR_MESSAGE}, uint32_t{3}}) {
    EXPECT_EQ(report_error(code, "text\n"), 1);
  }
  const int* handle = nullptr;
  EXPECT_TRUE(WK_FAILED(handle != nullptr));
  EXPECT_FALSE(WK_FAILED(handle == nullptr));
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "WARNING: text\n\nMESSAGE: text\n\np_catch(): unrecognized exception code (3)\n"
            "WARNING: Condition failed: handle != nullptr\n");
}

TEST(report_error_death, ends_the_process_with_status_1) {
  EXPECT_EXIT(report_error(ERROR_FATAL, "no way"), testing::ExitedWithCode(1), "^ERROR: no way\n$");
  EXPECT_EXIT(report_error(ERROR_MEMORY_LIMIT, "x"), testing::ExitedWithCode(1),
              "^MEMORY LIMIT\n$");
}

TEST(allocate_memory_death, aborts_with_the_size_that_was_asked_for) {
  EXPECT_DEATH(
      {
        set_allocator_hook([](size_t) -> void* { return nullptr; });
        (void)allocate_memory(4711);
      },
      "Caught mem exception, code 2:\nUnable to allocate 4711 bytes\n");
}

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

constexpr uint64_t A_DAY_MS = 24ULL * 3600 * 1000;

TEST(sleep_stop_gate, ends_when_the_time_runs_out_or_stop_is_set) {
  stop_gate gate;
  set_pause_stop_gate(gate, 1);
  EXPECT_FALSE(sleep_stop_gate(gate, 100));
  {
    std::vector<std::jthread> sleepers;
    for (const uint64_t milliseconds : {A_DAY_MS, uint64_t{UINT64_MAX}, A_DAY_MS}) {
      sleepers.emplace_back(
          [&gate, milliseconds] { EXPECT_TRUE(sleep_stop_gate(gate, milliseconds)); });
    }
    set_stop_stop_gate(gate);
  }
  EXPECT_TRUE(sleep_stop_gate(gate, A_DAY_MS)) << "a stop that came before ends the sleep at once";
}

}  // namespace
}  // namespace wk
