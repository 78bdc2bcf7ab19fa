#include "tests/support/fault_preload.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "tests/support/fault_preload_plan.h"

// Every call goes to the kernel directly: a sanitizer calls these functions before the dynamic
// loader is ready to look the C library's up.

using namespace wk::faults;

namespace {

constexpr const char* CALL_NAMES[NB_CALLS] = {
    "open",   "create",  "read",   "write", "fsync",   "close",   "ftruncate",   "rename",
    "unlink", "mkdir",   "rmdir",  "stat",  "opendir", "readdir", "socket",      "bind",
    "listen", "connect", "accept", "send",  "recv",    "poll",    "getaddrinfo", "malloc"};

struct named_error {
  const char* name;
  int number;
};
constexpr named_error ERRORS[] = {{"ENOSPC", ENOSPC},
                                  {"EIO", EIO},
                                  {"EMFILE", EMFILE},
                                  {"ENOMEM", ENOMEM},
                                  {"ENOBUFS", ENOBUFS},
                                  {"EADDRINUSE", EADDRINUSE},
                                  {"EADDRNOTAVAIL", EADDRNOTAVAIL},
                                  {"ECONNRESET", ECONNRESET},
                                  {"ECONNREFUSED", ECONNREFUSED},
                                  {"ETIMEDOUT", ETIMEDOUT},
                                  {"ECONNABORTED", ECONNABORTED},
                                  {"EAI_AGAIN", EAGAIN}};

constexpr size_t MAX_PATH_BYTES = 4'096;

struct shown_clock {
  int64_t speed = 1;  // negative: it runs backwards
  timespec start{};
};

void start_shown_clock(shown_clock& shown, clockid_t clock, const char* speed) {
  shown.speed = *speed == '\0' ? 1 : std::strtol(speed, nullptr, 10);
  syscall(SYS_clock_gettime, clock, &shown.start);
}

void speed_up(const shown_clock& shown, timespec& time) {
  if (shown.speed == 1) return;
  constexpr int64_t NS = 1'000'000'000;
  const int64_t passed =
      (time.tv_sec - shown.start.tv_sec) * NS + time.tv_nsec - shown.start.tv_nsec;
  const int64_t ns = shown.start.tv_sec * NS + shown.start.tv_nsec + passed * shown.speed;
  time.tv_sec = ns / NS;
  time.tv_nsec = ns % NS;
}

struct fault_plan {
  char path[MAX_PATH_BYTES] = "";
  char marker[MAX_PATH_BYTES] = "";
  char count_path[MAX_PATH_BYTES] = "";
  bool counted[NB_CALLS] = {};
  unsigned long first = 0;
  unsigned long last = 0;  // 0: for ever
  int error = 0;           // 0: the process ends
  bool tears = false;
  bool no_sync = false;
  shown_clock wall;
  shown_clock steady;

  std::atomic<bool> is_on{false};
  std::atomic<bool> has_begun{false};  // the marker was seen
  std::atomic<bool> is_in_main{false};
  std::atomic<unsigned long> nb_calls{0};
  std::atomic<unsigned long> nb_done{0};
};
fault_plan plan;

const char* get_variable(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? "" : value;
}

void copy_text(char* to, const char* from) {
  std::strncpy(to, from, MAX_PATH_BYTES - 1);
  to[MAX_PATH_BYTES - 1] = '\0';
}

bool is_named(const char* list, const char* name) {
  const size_t length = std::strlen(name);
  for (const char* at = list; (at = std::strstr(at, name)) != nullptr; at += length) {
    if ((at == list || at[-1] == ',') && (at[length] == '\0' || at[length] == ',')) return true;
  }
  return false;
}

bool is_counted_path(const char* path) {
  if (!plan.is_on.load(std::memory_order_acquire)) return false;
  if (path == nullptr) return plan.is_in_main.load(std::memory_order_relaxed);
  if (plan.path[0] == '\0') return false;
  if (!plan.has_begun.load(std::memory_order_relaxed)) {
    if (plan.marker[0] != '\0' && syscall(SYS_faccessat, AT_FDCWD, plan.marker, F_OK) != 0) {
      return false;
    }
    plan.has_begun = true;
  }
  return std::strstr(path, plan.path) != nullptr;
}

[[noreturn]] void end_process() {
  for (;;) syscall(SYS_kill, static_cast<long>(getpid()), static_cast<long>(SIGKILL));
}

}  // namespace

namespace wk::faults {

fate judge(fault_call call, const char* path) {
  const int before = errno;
  const bool counts = plan.counted[call] && is_counted_path(path);
  errno = before;
  if (!counts) return FATE_PASS;
  const unsigned long number = ++plan.nb_calls;
  if (number < plan.first || (plan.last != 0 && number > plan.last)) return FATE_PASS;
  ++plan.nb_done;
  if (plan.error == 0) return FATE_END;
  errno = plan.error;
  return FATE_FAIL;
}

bool fails(fault_call call, const char* path) {
  const fate what = judge(call, path);
  if (what == FATE_END) end_process();
  return what == FATE_FAIL;
}

void begin_main() { plan.is_in_main = true; }

}  // namespace wk::faults

namespace {

fate judge_handle(fault_call call, int handle) {
  if (!plan.is_on.load(std::memory_order_acquire)) return FATE_PASS;
  const int before = errno;
  char link[64] = "/proc/self/fd/";
  char digits[16];
  size_t nb_digits = 0;
  for (unsigned rest = handle < 0 ? 0 : static_cast<unsigned>(handle); nb_digits == 0 || rest > 0;
       rest /= 10) {
    digits[nb_digits++] = static_cast<char>('0' + rest % 10);
  }
  char* end = link + std::strlen(link);
  while (nb_digits > 0) *end++ = digits[--nb_digits];
  *end = '\0';
  char path[MAX_PATH_BYTES];
  const long length = syscall(SYS_readlinkat, AT_FDCWD, link, path, sizeof path - 1);
  errno = before;
  if (length < 0) return FATE_PASS;
  path[length] = '\0';
  return judge(call, path);
}

bool fails_by_handle(fault_call call, int handle) {
  const fate what = judge_handle(call, handle);
  if (what == FATE_END) end_process();
  return what == FATE_FAIL;
}

int open_path(int directory, const char* path, int flags, mode_t mode) {
  const bool reads = (flags & O_ACCMODE) == O_RDONLY && (flags & O_CREAT) == 0;
  if (fails(reads ? CALL_OPEN : CALL_CREATE, path)) return -1;
  return static_cast<int>(syscall(SYS_openat, directory, path, flags, mode));
}

// Says how many calls were counted, for those that are to choose one of them.
void write_count() {
  if (plan.count_path[0] == '\0') return;
  char digits[24];
  const int length = std::snprintf(digits, sizeof digits, "%lu\n", plan.nb_calls.load());
  const long handle = syscall(SYS_openat, AT_FDCWD, plan.count_path, O_WRONLY | O_CREAT, 0600);
  if (handle >= 0) syscall(SYS_write, handle, digits, static_cast<long>(length));
}

struct arm_at_load {
  arm_at_load() { arm_faults(); }
  ~arm_at_load() { write_count(); }
} arm_now;

}  // namespace

extern "C" {

void arm_faults() {
  plan.is_on = false;
  copy_text(plan.path, get_variable("WK_FAULT_PATH"));
  copy_text(plan.marker, get_variable("WK_FAULT_MARKER"));
  copy_text(plan.count_path, get_variable("WK_FAULT_COUNT"));
  const char* calls = get_variable("WK_FAULT_CALLS");
  for (uint32_t i = 0; i < NB_CALLS; ++i) {
    plan.counted[i] = is_named(calls, CALL_NAMES[i]) || (*calls == '\0' && i < NB_FILE_CALLS);
  }
  plan.first = std::strtoul(get_variable("WK_FAULT_FIRST"), nullptr, 10);
  const char* last = get_variable("WK_FAULT_LAST");
  plan.last = *last == '\0' ? plan.first : std::strtoul(last, nullptr, 10);
  const char* action = get_variable("WK_FAULT_ACTION");
  plan.error = 0;
  for (const named_error& error : ERRORS) {
    if (std::strcmp(action, error.name) == 0) plan.error = error.number;
  }
  plan.tears = std::strcmp(action, "tear") == 0;
  plan.no_sync = *get_variable("WK_FAULT_NO_SYNC") != '\0';
  start_shown_clock(plan.wall, CLOCK_REALTIME, get_variable("WK_CLOCK_SPEED"));
  start_shown_clock(plan.steady, CLOCK_BOOTTIME, get_variable("WK_STEADY_SPEED"));
  plan.has_begun = false;
  plan.nb_calls = 0;
  plan.nb_done = 0;
  plan.is_on = plan.first > 0;
}

void disarm_faults() { plan.is_on = false; }
unsigned long count_calls_faults() { return plan.nb_calls; }
unsigned long count_done_faults() { return plan.nb_done; }

int open(const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;
  va_end(rest);
  return open_path(AT_FDCWD, path, flags, mode);
}

int openat(int directory, const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;
  va_end(rest);
  return open_path(directory, path, flags, mode);
}

ssize_t read(int handle, void* to, size_t count) {
  if (fails_by_handle(CALL_READ, handle)) return -1;
  return syscall(SYS_read, handle, to, count);
}

ssize_t pread(int handle, void* to, size_t count, off_t offset) {
  if (fails_by_handle(CALL_READ, handle)) return -1;
  return syscall(SYS_pread64, handle, to, count, offset);
}

ssize_t write(int handle, const void* from, size_t count) {
  const fate what = judge_handle(CALL_WRITE, handle);
  if (what == FATE_FAIL) return -1;
  if (what == FATE_END) {
    if (plan.tears) syscall(SYS_write, handle, from, count / 2);
    end_process();
  }
  return syscall(SYS_write, handle, from, count);
}

ssize_t writev(int handle, const struct iovec* parts, int nb_parts) {
  const fate what = judge_handle(CALL_WRITE, handle);
  if (what == FATE_FAIL) return -1;
  if (what == FATE_END) {
    if (plan.tears) syscall(SYS_writev, handle, parts, static_cast<long>((nb_parts + 1) / 2));
    end_process();
  }
  return syscall(SYS_writev, handle, parts, static_cast<long>(nb_parts));
}

int fsync(int handle) {
  if (fails_by_handle(CALL_FSYNC, handle)) return -1;
  return plan.no_sync ? 0 : static_cast<int>(syscall(SYS_fsync, handle));
}

int close(int handle) {
  const bool failing = fails_by_handle(CALL_CLOSE, handle);
  const int closed = static_cast<int>(syscall(SYS_close, handle));
  if (!failing) return closed;
  errno = plan.error;
  return -1;
}

int ftruncate(int handle, off_t size) noexcept {
  if (fails_by_handle(CALL_FTRUNCATE, handle)) return -1;
  return static_cast<int>(syscall(SYS_ftruncate, handle, size));
}

int renameat2(int from_directory, const char* from, int to_directory, const char* to,
              unsigned flags) noexcept {
  if (fails(CALL_RENAME, from)) return -1;
  return static_cast<int>(syscall(SYS_renameat2, from_directory, from, to_directory, to, flags));
}

int rename(const char* from, const char* to) noexcept {
  return renameat2(AT_FDCWD, from, AT_FDCWD, to, 0);
}

int unlink(const char* path) noexcept {
  if (fails(CALL_UNLINK, path)) return -1;
  return static_cast<int>(syscall(SYS_unlinkat, AT_FDCWD, path, 0));
}

int mkdir(const char* path, mode_t mode) noexcept {
  if (fails(CALL_MKDIR, path)) return -1;
  return static_cast<int>(syscall(SYS_mkdirat, AT_FDCWD, path, mode));
}

int rmdir(const char* path) noexcept {
  if (fails(CALL_RMDIR, path)) return -1;
  return static_cast<int>(syscall(SYS_unlinkat, AT_FDCWD, path, AT_REMOVEDIR));
}

int stat(const char* path, struct stat* facts) noexcept {
  if (fails(CALL_STAT, path)) return -1;
  return static_cast<int>(syscall(SYS_newfstatat, AT_FDCWD, path, facts, 0));
}

int lstat(const char* path, struct stat* facts) noexcept {
  if (fails(CALL_STAT, path)) return -1;
  return static_cast<int>(syscall(SYS_newfstatat, AT_FDCWD, path, facts, AT_SYMLINK_NOFOLLOW));
}

int fstat(int handle, struct stat* facts) noexcept {
  if (fails_by_handle(CALL_STAT, handle)) return -1;
  return static_cast<int>(syscall(SYS_newfstatat, handle, "", facts, AT_EMPTY_PATH));
}

int fstatat(int directory, const char* path, struct stat* facts, int flags) noexcept {
  if (fails_by_handle(CALL_STAT, directory)) return -1;
  return static_cast<int>(syscall(SYS_newfstatat, directory, path, facts, flags));
}

DIR* opendir(const char* path) {
  if (fails(CALL_OPENDIR, path)) return nullptr;
  static std::atomic<DIR* (*)(const char*)> next;
  return find_next(next, "opendir")(path);
}

struct dirent* readdir(DIR* directory) {
  if (fails_by_handle(CALL_READDIR, dirfd(directory))) return nullptr;
  static std::atomic<struct dirent* (*)(DIR*)> next;
  return find_next(next, "readdir")(directory);
}

int clock_gettime(clockid_t clock, struct timespec* time) noexcept {
  const long answer = syscall(SYS_clock_gettime, clock, time);
  if (answer == 0 && clock == CLOCK_REALTIME) speed_up(plan.wall, *time);
  if (answer == 0 && clock == CLOCK_BOOTTIME) speed_up(plan.steady, *time);
  return static_cast<int>(answer);
}

}  // extern "C"
