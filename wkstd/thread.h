// Threads whose start may be refused. std::thread throws where the system has no thread left, which
// nobody here catches, and a crawl can do with fewer.
#pragma once

#include <pthread.h>

#include <functional>

namespace wk {

// A thread, or none. Its end joins it; whoever owns it makes sure before that the work ends.
struct joined_thread {
  pthread_t handle{};
  bool is_running = false;

  joined_thread() = default;
  ~joined_thread();
  joined_thread(joined_thread&& other) noexcept;
  joined_thread(const joined_thread&) = delete;
  joined_thread& operator=(const joined_thread&) = delete;
  joined_thread& operator=(joined_thread&&) = delete;
};

// Runs work in thread, which has none so far. False when the system refuses; errno says why.
[[nodiscard]] bool start_thread(joined_thread& thread, std::function<void()> work);
void join_thread(joined_thread& thread);

// Runs work in a thread that nobody waits for.
[[nodiscard]] bool start_detached_thread(std::function<void()> work);

}  // namespace wk
