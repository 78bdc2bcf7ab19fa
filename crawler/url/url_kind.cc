#include "crawler/url/url_kind.h"

#include <cstddef>

#include "wkstd/text.h"

namespace wk {
namespace {

constexpr std::string_view HTTPS_PREFIX = "https:";

}  // namespace

url_kind classify_url(std::string_view text) {
  if (starts_with_ignoring_case(text, "http:")) return URL_HTTP;
  if (starts_with_ignoring_case(text, HTTPS_PREFIX)) {
    return text.size() > HTTPS_PREFIX.size() ? URL_HTTPS : URL_RELATIVE;
  }
  if (text.starts_with(':')) return URL_OTHER;

  // Fewer bytes than RFC 3986 allows in a scheme: "svn+ssh:x" is a relative path here.
  size_t end = 0;
  while (end < text.size()) {
    const auto c = static_cast<unsigned char>(text[end]);
    if (!is_letter(c) && !is_digit(c)) break;
    ++end;
  }
  return end > 0 && text.substr(end).starts_with(':') ? URL_OTHER : URL_RELATIVE;
}

}  // namespace wk
