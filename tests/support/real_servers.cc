// Real servers on ports that are held for them.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "tests/support/loopback_port.h"
#include "tests/support/nginx_server.h"
#include "tests/support/temp_directory.h"
#include "tests/support/tinyproxy_server.h"

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

namespace {

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

nginx_server::nginx_server(const std::string& root) : port(hold_free_port()) {
  url = "http://127.0.0.1:" + std::to_string(port);
  const std::string configuration = directory.path + "/nginx.conf";
  write_test_file(configuration, build_configuration(*this, root));
  program_setup setup;
  setup.arguments = {"/usr/sbin/nginx", "-p", directory.path, "-c", configuration};
  program = start_program(setup, directory.path);
  wait_until_program_answers(program, port);
}

std::string read_nginx_access_log(const nginx_server& server) {
  return read_test_file(server.directory.path + "/access.log");
}

tinyproxy_server::tinyproxy_server() : port(hold_free_port()) {
  authority = "127.0.0.1:" + std::to_string(port);
  const std::string configuration = directory.path + "/tinyproxy.conf";
  std::string text = "Port " + std::to_string(port) + "\nListen 127.0.0.1\nAllow 127.0.0.1\n" +
                     "Timeout 60\nMaxClients 100\nLogLevel Connect\nLogFile \"" + directory.path +
                     "/log\"\n";
  if (::geteuid() == 0) text += "User root\nGroup root\n";
  write_test_file(configuration, text);
  program_setup setup;
  setup.arguments = {"/usr/bin/tinyproxy", "-d", "-c", configuration};
  program = start_program(setup, directory.path);
  wait_until_program_answers(program, port);
}

std::string read_tinyproxy_log(const tinyproxy_server& server) {
  return read_test_file(server.directory.path + "/log");
}

}  // namespace wk
