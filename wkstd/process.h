// A program that runs beside this one and is spoken to over two pipes: its standard input and its
// standard output. Its standard error is this process's own.
//
// It is started without a shell, in a process group of its own (a terminal's Ctrl-C is for this
// process), with every signal at its default, and with no handle but those three. Whatever it does,
// its end is noticed by a thread that waits for it, so that it never stays behind as a zombie; what
// it has started dies with it, as far as it stays in the group.
//
// Owner: whoever holds the process_ptr; its end kills the program when it still runs.
// Threads: one at a time per record. Starting the first one makes this process ignore SIGPIPE, so
// that writing to a program that has ended is an answer of the call.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace wk {

enum process_answer : uint32_t {
  PROCESS_OK = 0,
  PROCESS_ENDED,      // it has ended, or closed its end of the pipe
  PROCESS_TIMED_OUT,  // the deadline has passed
  PROCESS_STOPPED,    // the stop flag was set
};

// How long one operation may wait.
struct process_terms {
  uint64_t deadline_us = 0;                     // steady time (wkstd/clock.h)
  const std::atomic<uint32_t>* stop = nullptr;  // when set, every wait ends within 250 ms
};

struct process;
struct destroy_process {
  void operator()(process* child) const;
};
using process_ptr = std::unique_ptr<process, destroy_process>;

// Starts the program arguments[0], looked up in PATH when it holds no slash. Null when it can't be
// started.
[[nodiscard]] process_ptr open_process(std::span<const std::string> arguments);
// One that somebody else runs: its two pipes are all that is known of it, and now the record's own.
// Writing to input and reading from output must not block.
[[nodiscard]] process_ptr adopt_process(int input, int output);

// Writes all of bytes to its standard input.
[[nodiscard]] process_answer send_process(process& child, std::string_view bytes,
                                          const process_terms& terms);
// Appends exactly count bytes of its standard output to out; fewer when the answer is not
// PROCESS_OK. Memory grows with what has come, not with count.
[[nodiscard]] process_answer receive_process(process& child, size_t count, std::string& out,
                                             const process_terms& terms);
// True when it has written bytes that nobody has received.
[[nodiscard]] bool has_output_process(const process& child);

// Closes both pipes, which most programs take for their end. What follows on the record answers
// PROCESS_ENDED.
void close_pipes_process(process& child);
// Closes both pipes and waits until the program has ended, at most that long; then it is killed.
// True when it ended of itself.
bool end_process(process& child, uint64_t grace_ms);

}  // namespace wk
