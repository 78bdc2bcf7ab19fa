// FETCH SETTINGS IMAGE, in the encoding of wkstd/state_stream.h:
//
//   1 (integer), proxy (string), user agent (string), timeout in ms (-1 as 4294967295), retries,
//   retry wait in ms, switch of all cookies (integers), number of domains without cookies and each
//   (string), number of credentials and each: key, header value (strings)
#pragma once

#include <string>
#include <string_view>

#include "crawler/fetch/fetch_settings.h"

namespace wk {

void save_fetch_settings(const fetch_settings& settings, std::string& stream);
// Cuts an image off the front of stream and puts it into settings. False, and both are left alone,
// for other bytes.
[[nodiscard]] bool load_fetch_settings(std::string_view& stream, fetch_settings& settings);

}  // namespace wk
