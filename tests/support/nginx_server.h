// A real nginx that serves a directory of files on loopback addresses, for one test.
#pragma once

#include <cstdint>
#include <string>

#include "tests/support/child_process.h"
#include "tests/support/temp_directory.h"

namespace wk {

struct nginx_server {
  temp_directory directory;  // configuration, logs, temporary files
  uint32_t port = 0;
  std::string url;  // "http://127.0.0.1:<port>"
  running_program program;

  // Serves root on 127.0.0.1 at a port that was free; returns when it answers. A server that does
  // not start ends the test program with nginx's own message.
  explicit nginx_server(const std::string& root);
};

// The request targets of nginx's access log, in order. Only after the crawl's end.
[[nodiscard]] std::string read_nginx_access_log(const nginx_server& server);

}  // namespace wk
