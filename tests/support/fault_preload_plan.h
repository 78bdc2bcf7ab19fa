// What the files of the preloaded library share: the calls that it stands before, and what is to
// happen to each of them.
#pragma once

#include <dlfcn.h>

#include <atomic>
#include <cstdint>

namespace wk::faults {

enum fault_call : uint32_t {
  CALL_OPEN,
  CALL_CREATE,
  CALL_READ,
  CALL_WRITE,
  CALL_FSYNC,
  CALL_CLOSE,
  CALL_FTRUNCATE,
  CALL_RENAME,
  CALL_UNLINK,
  CALL_MKDIR,
  CALL_RMDIR,
  CALL_STAT,
  CALL_OPENDIR,
  CALL_READDIR,
  NB_FILE_CALLS,
  // These touch no path and count when they are named.
  CALL_SOCKET = NB_FILE_CALLS,
  CALL_BIND,
  CALL_LISTEN,
  CALL_CONNECT,
  CALL_ACCEPT,
  CALL_SEND,
  CALL_RECV,
  CALL_POLL,
  CALL_GETADDRINFO,
  CALL_MALLOC,
  NB_CALLS,
};

enum fate : uint32_t { FATE_PASS, FATE_FAIL, FATE_END };

// What happens to a call on this path; null: on none. errno is set when it fails and left alone
// when it passes.
fate judge(fault_call call, const char* path);

// True when the call is to fail; a call that ends the process does not come back.
bool fails(fault_call call, const char* path = nullptr);

// No call without a path is counted before: what the dynamic loader and the libraries' start ask
// for is none of the program's.
void begin_main();

// The function of this name behind this library. Without a guarded static, for an allocation may
// come while another one looks its function up.
template <typename function>
function find_next(std::atomic<function>& found, const char* name) {
  function next = found.load(std::memory_order_acquire);
  if (next == nullptr) {
    next = reinterpret_cast<function>(dlsym(RTLD_NEXT, name));
    found.store(next, std::memory_order_release);
  }
  return next;
}

}  // namespace wk::faults
