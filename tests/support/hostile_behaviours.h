// What servers do to harm a crawler or to speak through it: one row a behaviour.
//
// Each is served by a server of its own; the URL with the row's path is where a crawl meets it. A
// path that holds "never" must not be asked for, whatever the answers say, no header may be
// named "X-Evil", and links below "/out/" are there to be refused by the crawl's filter.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "tests/support/scripted_server.h"

namespace wk {

struct hostile_site {
  scripted_server& server;
  std::string admin;   // "127.0.0.1:8080", of the crawl that meets the behaviour
  std::string closed;  // nobody listens there
};

struct hostile_behaviour {
  const char* name;
  const char* record;  // what the log says behind the URL and two blanks; empty: whatever it does
  void (*serve)(const hostile_site& site);
  const char* path = "/x";
};

// Those that cost waits first.
[[nodiscard]] std::span<const hostile_behaviour> get_hostile_behaviours();

}  // namespace wk
