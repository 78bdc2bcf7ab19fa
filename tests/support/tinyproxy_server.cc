#include "tests/support/tinyproxy_server.h"

#include <unistd.h>

#include "tests/support/loopback_port.h"

namespace wk {

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
