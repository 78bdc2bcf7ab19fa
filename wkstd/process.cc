#include "wkstd/process.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <mutex>
#include <utility>
#include <vector>

#include "wkstd/clock.h"
#include "wkstd/thread.h"

namespace wk {
namespace {

constexpr uint64_t LOOK_AT_STOP_US = 250'000;
// How long a killed program is waited for. One of another user's rights can't be killed, and its
// watcher goes on alone.
constexpr auto KILL_TIME = std::chrono::seconds(1);
constexpr size_t READ_BYTES = 64 << 10;

struct handle {
  int number = -1;
  handle() = default;
  explicit handle(int opened) : number(opened) {}
  ~handle() { clear(); }
  handle(handle&& other) noexcept : number(std::exchange(other.number, -1)) {}
  handle& operator=(handle&& other) noexcept {
    std::swap(number, other.number);
    return *this;
  }
  void clear() {
    if (number >= 0) ::close(std::exchange(number, -1));
  }
};

struct pipe_ends {
  handle read;
  handle write;
};

// What the watching thread shares with the record; whichever goes last frees it.
struct life {
  pid_t pid = -1;
  std::mutex lock;
  std::condition_variable changed;  // signalled at the end
  bool ended = false;               // pid is the system's again
};

}  // namespace

struct process {
  handle input;                 // what is written here the program reads
  handle output;                // what the program writes is read here
  std::shared_ptr<life> lived;  // null: adopted
};

namespace {

bool open_pipe(pipe_ends& ends) {
  int numbers[2];
  if (::pipe2(numbers, O_CLOEXEC) != 0) return false;
  ends.read = handle(numbers[0]);
  ends.write = handle(numbers[1]);
  return true;
}

// Only this process's end: the program finds its own as any program expects it.
bool make_non_blocking(const handle& end) {
  return ::fcntl(end.number, F_SETFL, ::fcntl(end.number, F_GETFL) | O_NONBLOCK) == 0;
}

bool spawn(std::span<const std::string> arguments, int input, int output, pid_t& pid) {
  std::vector<char*> pointers;
  for (const std::string& argument : arguments) {
    pointers.push_back(const_cast<char*>(argument.c_str()));  // posix_spawn changes no argument
  }
  pointers.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
  ::posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  ::posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
  posix_spawnattr_t attributes;
  ::posix_spawnattr_init(&attributes);
  ::posix_spawnattr_setflags(
      &attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  ::posix_spawnattr_setpgroup(&attributes, 0);
  sigset_t signals;
  ::sigemptyset(&signals);
  ::posix_spawnattr_setsigmask(&attributes, &signals);
  ::sigaddset(&signals, SIGPIPE);
  ::sigaddset(&signals, SIGXFSZ);
  ::posix_spawnattr_setsigdefault(&attributes, &signals);
  const int fault =
      ::posix_spawnp(&pid, pointers[0], &actions, &attributes, pointers.data(), environ);
  ::posix_spawnattr_destroy(&attributes);
  ::posix_spawn_file_actions_destroy(&actions);
  return fault == 0;
}

void kill_group(pid_t pid) {
  ::kill(-pid, SIGKILL);
  ::kill(pid, SIGKILL);  // it may have moved to another group
}

void kill_and_reap(const life& lived) {
  kill_group(lived.pid);
  while (::waitpid(lived.pid, nullptr, 0) < 0 && errno == EINTR) {
  }
}

// Its number is not given to another process before it was waited for, so the group that is killed
// here is its own.
void watch_life(const std::shared_ptr<life>& lived) {
  siginfo_t facts;
  while (::waitid(P_PID, static_cast<id_t>(lived->pid), &facts, WEXITED | WNOWAIT) != 0 &&
         errno == EINTR) {
  }
  const std::lock_guard<std::mutex> hold(lived->lock);
  kill_and_reap(*lived);
  lived->ended = true;
  lived->changed.notify_all();
}

// PROCESS_OK when the handle is ready, or broken so that the next call on it tells.
process_answer wait_ready(int number, short event, const process_terms& terms) {
  if (number < 0) return PROCESS_ENDED;
  for (;;) {
    if (terms.stop != nullptr && terms.stop->load(std::memory_order_relaxed) != 0) {
      return PROCESS_STOPPED;
    }
    const uint64_t now_us = get_steady_time_us();
    if (now_us >= terms.deadline_us) return PROCESS_TIMED_OUT;
    const uint64_t slice_us = std::min(terms.deadline_us - now_us, LOOK_AT_STOP_US);
    struct pollfd wait = {number, event, 0};
    if (::poll(&wait, 1, static_cast<int>((slice_us + 999) / 1000)) > 0) return PROCESS_OK;
  }
}

}  // namespace

process_ptr open_process(std::span<const std::string> arguments) {
  if (arguments.empty()) return nullptr;
  ::signal(SIGPIPE, SIG_IGN);
  pipe_ends to;
  pipe_ends from;
  if (!open_pipe(to) || !open_pipe(from)) return nullptr;
  if (!make_non_blocking(to.write) || !make_non_blocking(from.read)) return nullptr;
  const auto lived = std::make_shared<life>();
  if (!spawn(arguments, to.read.number, from.write.number, lived->pid)) return nullptr;
  if (!start_detached_thread([lived] { watch_life(lived); })) {
    kill_and_reap(*lived);  // nobody else would
    return nullptr;
  }
  return process_ptr(
      new process{.input = std::move(to.write), .output = std::move(from.read), .lived = lived});
}

process_ptr adopt_process(int input, int output) {
  return process_ptr(
      new process{.input = handle(input), .output = handle(output), .lived = nullptr});
}

void destroy_process::operator()(process* child) const {
  end_process(*child, 0);
  delete child;
}

process_answer send_process(process& child, std::string_view bytes, const process_terms& terms) {
  while (!bytes.empty()) {
    const process_answer ready = wait_ready(child.input.number, POLLOUT, terms);
    if (ready != PROCESS_OK) return ready;
    const ssize_t nb_sent = ::write(child.input.number, bytes.data(), bytes.size());
    if (nb_sent >= 0) {
      bytes.remove_prefix(static_cast<size_t>(nb_sent));
    } else if (errno != EINTR && errno != EAGAIN) {
      return PROCESS_ENDED;
    }
  }
  return PROCESS_OK;
}

process_answer receive_process(process& child, size_t count, std::string& out,
                               const process_terms& terms) {
  std::array<char, READ_BYTES> block;  // filled by read before it is looked at
  while (count > 0) {
    const process_answer ready = wait_ready(child.output.number, POLLIN, terms);
    if (ready != PROCESS_OK) return ready;
    const ssize_t nb_read =
        ::read(child.output.number, block.data(), std::min(count, block.size()));
    if (nb_read > 0) {
      out.append(block.data(), static_cast<size_t>(nb_read));
      count -= static_cast<size_t>(nb_read);
    } else if (nb_read == 0 || (errno != EINTR && errno != EAGAIN)) {
      return PROCESS_ENDED;
    }
  }
  return PROCESS_OK;
}

bool has_output_process(const process& child) {
  struct pollfd look = {child.output.number, POLLIN, 0};
  return ::poll(&look, 1, 0) > 0 && (look.revents & POLLIN) != 0;
}

void close_pipes_process(process& child) {
  child.input.clear();
  child.output.clear();
}

bool end_process(process& child, uint64_t grace_ms) {
  close_pipes_process(child);
  if (child.lived == nullptr) return true;
  life& lived = *child.lived;
  std::unique_lock<std::mutex> hold(lived.lock);
  const auto has_ended = [&lived] { return lived.ended; };
  if (lived.changed.wait_for(hold, std::chrono::milliseconds(grace_ms), has_ended)) return true;
  kill_group(lived.pid);
  lived.changed.wait_for(hold, KILL_TIME, has_ended);
  return false;
}

}  // namespace wk
