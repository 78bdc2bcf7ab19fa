#include "wkstd/terminal_line.h"

#include <unistd.h>

#include <cerrno>
#include <mutex>

namespace wk {
namespace {

// Control sequences of ECMA-48.
constexpr std::string_view ERASE_LINE = "\r\x1b[K";  // from the first column
constexpr std::string_view ERASE_TO_END = "\x1b[K";

std::mutex lock;  // guards all below, and the order of writes
bool is_open = false;
bool is_shown = false;  // the cursor stands behind it

// Caller holds the lock.
void write_all(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(STDERR_FILENO, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return;  // nobody listens; there is no other place to say so
    text.remove_prefix(static_cast<size_t>(written));
  }
}

// Caller holds the lock.
void erase_line() {
  if (is_shown) write_all(ERASE_LINE);
  is_shown = false;
}

}  // namespace

void open_terminal_line() {
  const std::lock_guard<std::mutex> hold(lock);
  is_open = true;
}

void show_terminal_line(std::string_view text) {
  const std::lock_guard<std::mutex> hold(lock);
  if (!is_open) return;
  // Drawn over what stands, so that nothing flickers.
  write_all("\r");
  write_all(text);
  write_all(ERASE_TO_END);
  is_shown = true;
}

void close_terminal_line() {
  const std::lock_guard<std::mutex> hold(lock);
  erase_line();
  is_open = false;
}

void write_above_terminal_line(std::string_view text) {
  const std::lock_guard<std::mutex> hold(lock);
  erase_line();
  write_all(text);
  // The next drawing would wipe an unfinished line out.
  if (is_open && !text.ends_with('\n')) write_all("\n");
}

}  // namespace wk
