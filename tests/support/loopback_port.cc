#include "tests/support/loopback_port.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "tests/support/temp_directory.h"

namespace wk {
namespace {

struct sockaddr_in get_loopback_address(uint32_t port) {
  struct sockaddr_in address {};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

bool answers(uint32_t port) {
  const int handle = ::socket(AF_INET, SOCK_STREAM, 0);
  const struct sockaddr_in address = get_loopback_address(port);
  const bool connected =
      ::connect(handle, reinterpret_cast<const struct sockaddr*>(&address), sizeof address) == 0;
  ::close(handle);
  return connected;
}

}  // namespace

uint32_t hold_free_port() {
  const int handle = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const int on = 1;
  struct sockaddr_in address = get_loopback_address(0);
  socklen_t length = sizeof address;
  if (::setsockopt(handle, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0 ||
      ::bind(handle, reinterpret_cast<struct sockaddr*>(&address), length) != 0 ||
      ::getsockname(handle, reinterpret_cast<struct sockaddr*>(&address), &length) != 0) {
    std::perror("hold_free_port");
    std::abort();
  }
  return ntohs(address.sin_port);
}

void wait_until_program_answers(const running_program& program, uint32_t port) {
  while (!answers(port)) {
    if (::waitpid(program.pid, nullptr, WNOHANG) != 0) {
      std::fputs(read_test_file(program.errors_path).c_str(), stderr);
      std::abort();
    }
    ::poll(nullptr, 0, 10);
  }
}

}  // namespace wk
