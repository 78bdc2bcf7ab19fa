// The calls of the library that touch no path: those of the network, and allocations.
#include <netdb.h>
#include <poll.h>
#include <pthread.h>
#include <pwd.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "tests/support/fault_preload_plan.h"

using namespace wk::faults;

namespace {

using main_function = int (*)(int, char**, char**);
main_function program_main = nullptr;

int run_main(int argc, char** argv, char** environment) {
  begin_main();
  return program_main(argc, argv, environment);
}

// Some who ask for memory do not survive a refusal: the C library's name services (2.36) follow a
// null pointer or fail an assertion, and so does a sanitizer where a thread begins. They are
// spared. The sanitizer asks before its own thread-local storage is up, hence the model.
[[gnu::tls_model("initial-exec")]] thread_local bool is_spared = false;

struct sparing {
  sparing() { is_spared = true; }
  ~sparing() { is_spared = false; }
};

bool refuses_memory() { return !is_spared && fails(CALL_MALLOC); }

}  // namespace

extern "C" {

struct passwd* getpwuid(uid_t user) {
  static std::atomic<struct passwd* (*)(uid_t)> next;
  const sparing here;
  return find_next(next, "getpwuid")(user);
}

int pthread_getattr_np(pthread_t thread, pthread_attr_t* attributes) noexcept {
  static std::atomic<int (*)(pthread_t, pthread_attr_t*)> next;
  const sparing here;
  return find_next(next, "pthread_getattr_np")(thread, attributes);
}

int __libc_start_main(main_function main, int argc, char** argv, void (*init)(), void (*fini)(),
                      void (*loader_fini)(), void* stack_end) {
  using start = int (*)(main_function, int, char**, void (*)(), void (*)(), void (*)(), void*);
  static std::atomic<start> next;
  program_main = main;
  return find_next(next, "__libc_start_main")(run_main, argc, argv, init, fini, loader_fini,
                                              stack_end);
}

int socket(int domain, int type, int protocol) noexcept {
  if (fails(CALL_SOCKET)) return -1;
  return static_cast<int>(syscall(SYS_socket, domain, type, protocol));
}

int bind(int handle, const struct sockaddr* address, socklen_t length) noexcept {
  if (fails(CALL_BIND)) return -1;
  return static_cast<int>(syscall(SYS_bind, handle, address, length));
}

int listen(int handle, int backlog) noexcept {
  if (fails(CALL_LISTEN)) return -1;
  return static_cast<int>(syscall(SYS_listen, handle, backlog));
}

int connect(int handle, const struct sockaddr* address, socklen_t length) {
  if (fails(CALL_CONNECT)) return -1;
  return static_cast<int>(syscall(SYS_connect, handle, address, length));
}

int accept4(int handle, struct sockaddr* address, socklen_t* length, int flags) {
  if (fails(CALL_ACCEPT)) return -1;
  return static_cast<int>(syscall(SYS_accept4, handle, address, length, flags));
}

ssize_t send(int handle, const void* from, size_t count, int flags) {
  if (fails(CALL_SEND)) return -1;
  return syscall(SYS_sendto, handle, from, count, flags, nullptr, 0);
}

ssize_t recv(int handle, void* to, size_t count, int flags) {
  if (fails(CALL_RECV)) return -1;
  return syscall(SYS_recvfrom, handle, to, count, flags, nullptr, nullptr);
}

int poll(struct pollfd* waits, nfds_t nb_waits, int timeout_ms) {
  if (fails(CALL_POLL)) return -1;
  return static_cast<int>(syscall(SYS_poll, waits, nb_waits, timeout_ms));
}

int getaddrinfo(const char* host, const char* service, const struct addrinfo* wanted,
                struct addrinfo** found) {
  // Only names count: addresses in digits ask nobody.
  const bool is_name = wanted == nullptr || (wanted->ai_flags & AI_NUMERICHOST) == 0;
  if (is_name && fails(CALL_GETADDRINFO)) return EAI_AGAIN;
  using look_up = int (*)(const char*, const char*, const struct addrinfo*, struct addrinfo**);
  static std::atomic<look_up> next;
  const sparing here;
  return find_next(next, "getaddrinfo")(host, service, wanted, found);
}

void* malloc(size_t size) {
  if (refuses_memory()) return nullptr;
  static std::atomic<void* (*)(size_t)> next;
  return find_next(next, "malloc")(size);
}

void* calloc(size_t count, size_t size) {
  if (refuses_memory()) return nullptr;
  static std::atomic<void* (*)(size_t, size_t)> next;
  return find_next(next, "calloc")(count, size);
}

void* realloc(void* block, size_t size) {
  if (refuses_memory()) return nullptr;
  static std::atomic<void* (*)(void*, size_t)> next;
  return find_next(next, "realloc")(block, size);
}

void* aligned_alloc(size_t alignment, size_t size) {
  if (refuses_memory()) return nullptr;
  static std::atomic<void* (*)(size_t, size_t)> next;
  return find_next(next, "aligned_alloc")(alignment, size);
}

}  // extern "C"
