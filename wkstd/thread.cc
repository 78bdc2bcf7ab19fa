#include "wkstd/thread.h"

#include <cerrno>
#include <memory>
#include <utility>

namespace wk {
namespace {

using work_ptr = std::unique_ptr<std::function<void()>>;

void* run_work(void* work) {
  const work_ptr own(static_cast<std::function<void()>*>(work));
  (*own)();
  return nullptr;
}

bool create_thread(pthread_t& handle, std::function<void()> work) {
  auto own = std::make_unique<std::function<void()>>(std::move(work));
  const int refusal = ::pthread_create(&handle, nullptr, run_work, own.get());
  if (refusal == 0) (void)own.release();  // the thread's now
  errno = refusal;
  return refusal == 0;
}

}  // namespace

joined_thread::~joined_thread() { join_thread(*this); }

joined_thread::joined_thread(joined_thread&& other) noexcept
    : handle(other.handle), is_running(std::exchange(other.is_running, false)) {}

bool start_thread(joined_thread& thread, std::function<void()> work) {
  thread.is_running = create_thread(thread.handle, std::move(work));
  return thread.is_running;
}

void join_thread(joined_thread& thread) {
  if (std::exchange(thread.is_running, false)) ::pthread_join(thread.handle, nullptr);
}

bool start_detached_thread(std::function<void()> work) {
  pthread_t handle{};
  if (!create_thread(handle, std::move(work))) return false;
  ::pthread_detach(handle);
  return true;
}

}  // namespace wk
