// Texts and streams of numbers; what a process says at its end, the processes it opens, and the
// gate that its threads stop at.
#include "wkstd/text.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "wkstd/base64.h"
#include "wkstd/clock.h"
#include "wkstd/error.h"
#include "wkstd/memory.h"
#include "wkstd/process.h"
#include "wkstd/state_stream.h"
#include "wkstd/stop_gate.h"

namespace wk {
namespace {

using namespace std::string_literals;

TEST(parse_integer, reads_as_far_as_the_number_goes) {
  const std::tuple<const char*, int32_t> cases[] = {{" \t\n+7x", 7},
                                                    {"-12 3", -12},
                                                    {"", 0},
                                                    {"abc", 0},
                                                    {"-", 0},
                                                    {"2147483648", INT32_MAX},
                                                    {"-99999999999", INT32_MIN},
                                                    {"99999999999999999999999", INT32_MAX}};
  for (const auto& [text, number] : cases) EXPECT_EQ(parse_integer(text), number) << text;
}

TEST(text, is_bytes_of_any_length) {
  EXPECT_EQ(find_ignoring_case("aSCRIPTscript", "script"), 1u);
  EXPECT_EQ(find_ignoring_case("aSCRIPTscript", "script", 2), 7u);
  EXPECT_EQ(find_ignoring_case("aSCRIPT", "scripts"), std::string::npos);
  EXPECT_EQ(find_ignoring_case("a", "a", 5), std::string::npos);
  EXPECT_EQ(find_ignoring_case("K\xc3\x84", "\xc3\xa4"), std::string::npos) << "ASCII letters only";
  const std::string text(100'000, 'x');
  EXPECT_EQ(format_text("<%s>", text.c_str()), "<" + text + ">");
  EXPECT_EQ(trim_blanks(" \r\n\ta b\t "), "a b");
  EXPECT_EQ(trim_blanks(" \n "), "");
  std::string out;
  for (const char* bytes : {"", "f", "fo", "foo", "\xff\xfe\xfd"}) append_base64(out, bytes);
  EXPECT_EQ(out, "Zg==Zm8=Zm9v//79");
}

TEST(state_stream, writes_the_lowest_byte_first_and_refuses_every_shorter_stream) {
  std::string stream;
  append_u32(stream, 0x04030201);
  append_string(stream, "a\0b"s);
  append_text_item(stream, "text");
  append_u64(stream, 0x0807060504030201);
  EXPECT_EQ(stream, "\1\2\3\4\3\0\0\0a\0b\4\0\0\0\4\0\0\0text\1\2\3\4\5\6\7\10"s);
  for (size_t length = 0; length <= stream.size(); ++length) {
    SCOPED_TRACE(length);
    std::string_view bytes = std::string_view(stream).substr(0, length);
    uint32_t number = 0;
    uint64_t last = 0;
    std::string text;
    std::string item;
    EXPECT_EQ(take_u32(bytes, number) && take_string(bytes, text) && take_text_item(bytes, item) &&
                  take_u64(bytes, last),
              length == stream.size());
    if (length < stream.size()) continue;
    EXPECT_EQ(number, 0x04030201u);
    EXPECT_EQ(text + item, "a\0btext"s);
    EXPECT_EQ(last, 0x0807060504030201u);
  }
}

TEST(state_stream, refuses_lengths_that_the_stream_does_not_have) {
  const std::string cases[] = {
      "\xff\xff\xff\xff"s + "abc",                        // a string
      "\2\0\0\0\3\0\0\0abc"s,                             // text beyond its buffer
      "\0\xe1\xf5\5\1\0\0\0\0\0\0\xff\1\0\0\0\0\0\0\0"s,  // a long item
  };
  for (const std::string& stream : cases) {
    std::string_view bytes = stream;
    std::string text = "kept";
    EXPECT_FALSE(take_text_item(bytes, text));
    EXPECT_EQ(text, "kept");
    EXPECT_EQ(bytes.size(), stream.size()) << "a refused item is left in the stream";
  }
}

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
