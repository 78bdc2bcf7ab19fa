// Whether a request to the administration comes from its operator and not from a web page that the
// operator's browser happens to show.
//
// Any page of the web can make a browser ask this machine, and with a name of its own that resolves
// here (DNS rebinding) it could read the answer too. A browser tells on it in three ways:
//
//   Host      the name in the address. The server knows its own names; others are somebody else's.
//   origin    Sec-Fetch-Site (W3C Fetch Metadata), Origin (RFC 6454) and Referer say whose page it
//             was. But the first goes only to addresses that the browser trusts, the second not
//             with GET, and the third not when that page forbids it: having none proves nothing.
//   browser   User-Agent begins with "Mozilla/", which a page cannot change without asking first.
//
// So what a browser is to change needs a proof of its origin; a command line tool needs none.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "crawler/fetch/http_headers.h"

namespace wk {

// By what the server may be asked, beside localhost, 127.0.0.1 and [::1]. The port of a Host says
// nothing: it is another one where the server's is forwarded.
struct admin_names {
  std::string arrival;  // the address that the connection arrived at, in digits; "": unknown
  std::vector<std::string> others;  // names and addresses
};

enum admin_verdict : uint32_t {
  ADMIN_ADMITTED = 0,
  ADMIN_UNKNOWN_HOST,  // Host is there and is no name of this server
  ADMIN_FOREIGN_PAGE,  // the browser says that it is a page of another origin
  ADMIN_UNPROVEN,      // a browser that is to change something does not say whose page it was
};

// changes: whether the request would change something.
[[nodiscard]] admin_verdict judge_admin_request(const http_headers& headers,
                                                const admin_names& names, bool changes);

}  // namespace wk
