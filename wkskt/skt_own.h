// Which hosts are this machine: a crawler that asks them may meet servers that trust the machine.
#pragma once

#include <netinet/in.h>

#include <string_view>

namespace wk {

// A loopback address, the unspecified one, or one of this machine's interfaces.
[[nodiscard]] bool is_own_skt_address(struct in_addr address);
// Whether the host of a URL may name this machine by its text alone, as a proxy reads it: an own
// address in digits of any form, localhost, or the machine's name, with a user before an "@" or
// without. A host with a percent sign, which a proxy may decode, counts as one. Nobody is asked.
[[nodiscard]] bool is_own_skt_host(std::string_view host);

}  // namespace wk
