// A resolver that never answers, for a program that knows nothing of it: it stands before the C
// library's getaddrinfo with LD_PRELOAD. Addresses in digits are still understood. The file named
// by WK_RESOLVER_MARK appears when a name was asked for.
#include <dlfcn.h>
#include <fcntl.h>
#include <netdb.h>
#include <unistd.h>

#include <cstdlib>

extern "C" int getaddrinfo(const char* host, const char* service, const addrinfo* wanted,
                           addrinfo** found) noexcept {
  using resolver = int (*)(const char*, const char*, const addrinfo*, addrinfo**);
  if (wanted != nullptr && (wanted->ai_flags & AI_NUMERICHOST) != 0) {
    return reinterpret_cast<resolver>(dlsym(RTLD_NEXT, "getaddrinfo"))(host, service, wanted,
                                                                       found);
  }
  const char* mark = std::getenv("WK_RESOLVER_MARK");
  if (mark != nullptr) close(open(mark, O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
  for (;;) pause();
}
