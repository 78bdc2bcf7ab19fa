// Whether a request to the administration comes from its operator and not from a web page that the
// operator's browser happens to show.
//
// Any page of the web can make a browser ask 127.0.0.1, and with a name of its own that resolves
// there (DNS rebinding) it could read the answer too. A browser tells on it: by Sec-Fetch-Site (W3C
// Fetch Metadata), Origin (RFC 6454), Referer, and by the name in Host. A client that is no browser
// sends none of the first three.
#pragma once

#include <string_view>

#include "crawler/fetch/http_headers.h"

namespace wk {

// False when Sec-Fetch-Site is other than same-origin or none, when Origin or Referer is of another
// origin than Host, or when Host is a name other than localhost and admin_address.
[[nodiscard]] bool is_own_request(const http_headers& headers, std::string_view admin_address);

}  // namespace wk
