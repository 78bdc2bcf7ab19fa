#include "crawler/url/url_address.h"

#include <cstddef>

#include "wkstd/text.h"

namespace wk {
namespace {

struct address_scheme {
  std::string_view prefix;
  url_address_scheme scheme;
  uint32_t port;  // 0: the address keeps its own
};

constexpr address_scheme ADDRESS_SCHEMES[] = {
    {"http://", URL_ADDRESS_HTTP, 0},
    {"https://", URL_ADDRESS_HTTPS, 443},
    {"ftp://", URL_ADDRESS_FTP, 21},
};
constexpr address_scheme NO_SCHEME = {"", URL_ADDRESS_HTTP, 0};

const address_scheme* find_address_scheme(std::string_view text) {
  if (text.find("://") == std::string_view::npos) return &NO_SCHEME;
  for (const address_scheme& known : ADDRESS_SCHEMES) {
    if (starts_with_ignoring_case(text, known.prefix)) return &known;
  }
  return nullptr;
}

}  // namespace

int split_url(url_address& address, std::string_view text) {
  const address_scheme* known = find_address_scheme(text);
  if (known == nullptr) return 0;
  address.scheme = known->scheme;
  if (known->port != 0) address.port = known->port;

  const std::string_view rest = text.substr(known->prefix.size());
  const size_t slash = rest.find('/');
  std::string_view host = rest.substr(0, slash);
  address.path = slash == std::string_view::npos ? std::string_view("/") : rest.substr(slash);

  // The first ":" counts, in front of a user's password too.
  const size_t colon = host.find(':');
  if (colon != std::string_view::npos) {
    address.port = parse_unsigned(host.substr(colon + 1));
    host = host.substr(0, colon);
  }
  address.host = host;
  return 1;
}

}  // namespace wk
