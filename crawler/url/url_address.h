// The short form of a URL: what the HTTP client needs to connect and ask.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace wk {

enum url_address_scheme : uint32_t {
  URL_ADDRESS_HTTP = 0,  // also for text without "://"
  URL_ADDRESS_HTTPS = 1,
  URL_ADDRESS_FTP = 2,
};

struct url_address {
  uint32_t scheme = URL_ADDRESS_HTTP;
  std::string host;
  uint32_t port = 80;
  std::string path;  // begins with "/"; query included
};

// 1, or 0 for an unsupported scheme. "host:port" alone is understood too, as proxies are given. The
// port is left as it was for http without one.
[[nodiscard]] int split_url(url_address& address, std::string_view text);

}  // namespace wk
