#include "tests/support/nginx_server.h"

#include <unistd.h>

#include "tests/support/loopback_port.h"

namespace wk {
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

}  // namespace wk
