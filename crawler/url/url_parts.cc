#include "crawler/url/url_parts.h"

#include <algorithm>
#include <cstddef>

#include "crawler/url/url_kind.h"

namespace wk {
namespace {

constexpr size_t SITE_MIN_BYTES = 9;
constexpr size_t SITE_MAX_BYTES = 1'023;

// Where sites and depths look for the end of the host: the length of "https://". In an http or ftp
// URL that is inside the host, which costs nothing but a "/" that comes too early.
constexpr size_t HOST_SEARCH_BEGIN = 8;

// Where the host lies behind the scheme; false when url is neither http nor https.
bool find_host_text(std::string_view& host, std::string_view url) {
  const url_kind kind = classify_url(url);
  if (kind != URL_HTTP && kind != URL_HTTPS) return false;
  const size_t begin = kind == URL_HTTP ? 7 : 8;
  host = url.size() <= begin ? std::string_view() : url.substr(begin);
  host = host.substr(0, host.find('/'));
  return true;
}

uint32_t count_to_u32(size_t count) { return static_cast<uint32_t>(count); }

}  // namespace

std::string_view find_url_host(std::string_view url) {
  std::string_view host;
  return find_host_text(host, url) ? host : std::string_view();
}

int get_url_host(std::string& out, std::string_view url) {
  std::string_view host;
  if (!find_host_text(host, url)) return 0;
  out.assign(host);
  return 1;
}

std::string_view find_url_site(std::string_view url) {
  if (url.size() < SITE_MIN_BYTES) return {};
  if (!url.starts_with("http://") && !url.starts_with("https://") && !url.starts_with("ftp://")) {
    return {};
  }
  return url.substr(0, std::min(url.find('/', HOST_SEARCH_BEGIN), SITE_MAX_BYTES));
}

int get_url_site(std::string& out, std::string_view url) {
  const std::string_view site = find_url_site(url);
  if (site.empty()) return -1;
  out.assign(site);
  return 0;
}

uint32_t get_url_path_depth(std::string_view url) {
  const size_t slash = url.find('/', HOST_SEARCH_BEGIN);
  if (slash == std::string_view::npos) return 1;
  const std::string_view path = url.substr(slash + 1);
  return 1 + count_to_u32(static_cast<size_t>(std::count_if(
                 path.begin(), path.end(), [](char c) { return c == '/' || c == '='; })));
}

uint32_t get_url_host_depth(std::string_view url) {
  const size_t slash = url.find('/', HOST_SEARCH_BEGIN);
  // Without a "/" the last byte is left out.
  const std::string_view host = slash != std::string_view::npos
                                    ? url.substr(0, slash)
                                    : url.substr(0, url.size() - !url.empty());
  return 1 + count_to_u32(static_cast<size_t>(std::count(host.begin(), host.end(), '.')));
}

uint32_t hash_url_host(std::string_view host) {
  uint32_t hash = 0;
  bool odd = false;
  for (const char byte : host) {
    const uint32_t c = static_cast<unsigned char>(byte);
    hash ^= odd ? ~((hash << 11) ^ (hash >> 5) ^ c) : (hash << 7) ^ (hash >> 3) ^ c;
    odd = !odd;
  }
  return hash;
}

}  // namespace wk
