#include "tests/support/nginx_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace wk {
namespace {

struct sockaddr_in get_loopback_address(uint32_t port) {
  struct sockaddr_in address {};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

// nginx can't let the system choose its port, so one that is free now is found for it.
uint32_t find_free_port() {
  const int handle = ::socket(AF_INET, SOCK_STREAM, 0);
  struct sockaddr_in address = get_loopback_address(0);
  socklen_t length = sizeof address;
  if (::bind(handle, reinterpret_cast<struct sockaddr*>(&address), length) != 0 ||
      ::getsockname(handle, reinterpret_cast<struct sockaddr*>(&address), &length) != 0) {
    std::perror("find_free_port");
    std::abort();
  }
  ::close(handle);
  return ntohs(address.sin_port);
}

bool answers(uint32_t port) {
  const int handle = ::socket(AF_INET, SOCK_STREAM, 0);
  const struct sockaddr_in address = get_loopback_address(port);
  const bool connected =
      ::connect(handle, reinterpret_cast<const struct sockaddr*>(&address), sizeof address) == 0;
  ::close(handle);
  return connected;
}

std::string build_configuration(const nginx_server& server, const std::string& root) {
  const std::string& base = server.directory.path;
  std::string text = "daemon off;\nmaster_process off;\npid " + base + "/nginx.pid;\nerror_log " +
                     base + "/error.log;\nevents { worker_connections 1024; }\nhttp {\n";
  if (::geteuid() == 0) text = "user root;\n" + text;
  text += "include /etc/nginx/mime.types;\ndefault_type application/octet-stream;\n";
  text += "log_format target '$request_uri';\naccess_log " + base + "/access.log target;\n";
  for (const char* name : {"client_body", "proxy", "fastcgi", "uwsgi", "scgi"}) {
    text += std::string(name) + "_temp_path " + base + "/" + name + ";\n";
  }
  text += "server { listen 127.0.0.1:" + std::to_string(server.port) + "; root " + root +
          "; index index.html; }\n}\n";
  return text;
}

}  // namespace

nginx_server::nginx_server(const std::string& root) : port(find_free_port()) {
  url = "http://127.0.0.1:" + std::to_string(port);
  const std::string configuration = directory.path + "/nginx.conf";
  write_test_file(configuration, build_configuration(*this, root));
  program_setup setup;
  setup.arguments = {"/usr/sbin/nginx", "-p", directory.path, "-c", configuration};
  program = start_program(setup, directory.path);
  while (!answers(port)) {
    if (::waitpid(program.pid, nullptr, WNOHANG) != 0) {
      std::fputs(read_test_file(program.errors_path).c_str(), stderr);
      std::abort();
    }
    ::poll(nullptr, 0, 10);
  }
}

std::string read_nginx_access_log(const nginx_server& server) {
  return read_test_file(server.directory.path + "/access.log");
}

}  // namespace wk
