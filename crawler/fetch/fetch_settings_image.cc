#include "crawler/fetch/fetch_settings_image.h"

#include <mutex>
#include <utility>

#include "wkstd/state_stream.h"

namespace wk {
namespace {

constexpr uint32_t IMAGE_VERSION = 1;

// The fields of an image, before they take the place of those in force.
struct fetch_image {
  std::string proxy;
  std::string user_agent;
  uint32_t timeout_ms = 0;
  uint32_t retries = 0;
  uint32_t retry_wait_ms = 0;
  uint32_t all_cookies_mode = 0;
  std::set<std::string, std::less<>> no_cookie_domains;
  std::vector<fetch_credential> credentials;
};

bool take_domains(std::string_view& stream, fetch_image& image) {
  uint32_t count = 0;
  if (!take_u32(stream, count)) return false;
  for (uint32_t i = 0; i < count; ++i) {
    std::string domain;
    if (!take_string(stream, domain)) return false;
    image.no_cookie_domains.insert(std::move(domain));
  }
  return true;
}

bool take_credentials(std::string_view& stream, fetch_image& image) {
  uint32_t count = 0;
  if (!take_u32(stream, count)) return false;
  for (uint32_t i = 0; i < count; ++i) {
    fetch_credential credential;
    if (!take_string(stream, credential.key) || !take_string(stream, credential.value)) {
      return false;
    }
    image.credentials.push_back(std::move(credential));
  }
  return true;
}

bool take_image(std::string_view& stream, fetch_image& image) {
  uint32_t version = 0;
  return take_u32(stream, version) && version == IMAGE_VERSION &&
         take_string(stream, image.proxy) && take_string(stream, image.user_agent) &&
         take_u32(stream, image.timeout_ms) && take_u32(stream, image.retries) &&
         take_u32(stream, image.retry_wait_ms) && take_u32(stream, image.all_cookies_mode) &&
         take_domains(stream, image) && take_credentials(stream, image);
}

}  // namespace

void save_fetch_settings(const fetch_settings& settings, std::string& stream) {
  const std::shared_lock hold(settings.lock);
  append_u32(stream, IMAGE_VERSION);
  append_string(stream, settings.proxy);
  append_string(stream, settings.user_agent);
  append_u32(stream, static_cast<uint32_t>(settings.timeout_ms));
  append_u32(stream, settings.retries);
  append_u32(stream, settings.retry_wait_ms);
  append_u32(stream, settings.all_cookies_mode);
  append_u32(stream, static_cast<uint32_t>(settings.no_cookie_domains.size()));
  for (const std::string& domain : settings.no_cookie_domains) append_string(stream, domain);
  append_u32(stream, static_cast<uint32_t>(settings.credentials.size()));
  for (const fetch_credential& credential : settings.credentials) {
    append_string(stream, credential.key);
    append_string(stream, credential.value);
  }
}

bool load_fetch_settings(std::string_view& stream, fetch_settings& settings) {
  std::string_view rest = stream;
  fetch_image image;
  if (!take_image(rest, image)) return false;
  const std::unique_lock hold(settings.lock);
  settings.proxy = std::move(image.proxy);
  settings.user_agent = std::move(image.user_agent);
  settings.timeout_ms = static_cast<int32_t>(image.timeout_ms);
  settings.retries = image.retries;
  settings.retry_wait_ms = image.retry_wait_ms;
  settings.all_cookies_mode = image.all_cookies_mode;
  settings.no_cookie_domains = std::move(image.no_cookie_domains);
  settings.credentials = std::move(image.credentials);
  stream = rest;
  return true;
}

}  // namespace wk
