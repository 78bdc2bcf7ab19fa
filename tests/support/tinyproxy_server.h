// A real tinyproxy on a loopback port, for one test.
#pragma once

#include <cstdint>
#include <string>

#include "tests/support/child_process.h"
#include "tests/support/temp_directory.h"

namespace wk {

struct tinyproxy_server {
  temp_directory directory;  // configuration, log
  uint32_t port = 0;
  std::string authority;  // "127.0.0.1:<port>", as proxies are given
  running_program program;

  // Returns when it answers. One that does not start ends the test program with its message.
  tinyproxy_server();
};

// What tinyproxy has logged of the requests that it passed on.
[[nodiscard]] std::string read_tinyproxy_log(const tinyproxy_server& server);

}  // namespace wk
