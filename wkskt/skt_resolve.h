// Finding the address of a host.
//
// The system's resolver can be neither interrupted nor given a time limit, so a name is looked up
// by a thread of its own. Who asks waits on the socket layer's terms; when these end the wait, the
// thread is left behind and ends whenever the resolver answers; an address that comes so late is
// kept for the next who asks. So many may be under way at once that spiders which ask one name
// after the other don't reach the bound before the resolver's own time-outs, some half a minute,
// let threads go.
#pragma once

#include <netinet/in.h>

#include "wkskt/skt.h"

namespace wk {

constexpr int SKT_MAX_LOOK_UPS = 1'024;  // under way in the whole process; for more it is short

enum skt_look_up_answer : uint32_t {
  SKT_LOOK_UP_FOUND = 0,
  SKT_LOOK_UP_FAILED = 1,   // no such name, or no answer in time
  SKT_LOOK_UP_STOPPED = 2,  // the terms' stop ended the wait
  SKT_LOOK_UP_SHORT = 3,    // the machine lacks threads, handles or memory to ask; errno says why
};

// host is an address in digits, in any of the forms that inet_aton knows, or localhost, which no
// server is to be asked for (RFC 6761); nobody is asked.
[[nodiscard]] bool read_skt_address(const char* host, struct in_addr& address);
// host is a name. A limit of 0 waits for the resolver as long as deadline and stop allow. What was
// found is in the memory of addresses (skt_address_memory.h).
[[nodiscard]] skt_look_up_answer look_up_skt_address(const char* host, const skt_terms& terms,
                                                     struct in_addr& address);

}  // namespace wk
