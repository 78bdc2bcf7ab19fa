// Finding the address of a host.
//
// The system's resolver can be neither interrupted nor given a time limit, so a name is looked up
// by a thread of its own. Who asks waits on the socket layer's terms; when these end the wait, the
// thread is left behind and ends whenever the resolver answers. So many may be under way at once
// that spiders which ask one name after the other don't reach the bound before the resolver's own
// time-outs, some half a minute, let threads go.
#pragma once

#include <netinet/in.h>

#include "wkskt/skt.h"

namespace wk {

constexpr int SKT_MAX_LOOK_UPS = 1'024;  // under way in the whole process; more fail at once

// host is an address in digits, in any of the forms that inet_aton knows, or localhost, which no
// server is to be asked for (RFC 6761); nobody is asked.
[[nodiscard]] bool read_skt_address(const char* host, struct in_addr& address);
// host is a name. A limit of 0 waits for the resolver as long as deadline and stop allow.
[[nodiscard]] bool look_up_skt_address(const char* host, const skt_terms& terms,
                                       struct in_addr& address);

}  // namespace wk
