#include "crawler/fetch/cookie_jar_image.h"

#include <mutex>
#include <shared_mutex>
#include <utility>
#include <vector>

#include "wkstd/state_stream.h"

namespace wk {
namespace {

constexpr uint32_t IMAGE_VERSION = 1;

bool take_cookie(std::string_view& stream, cookie& taken) {
  uint32_t is_preset = 0;
  if (!take_string(stream, taken.key) || !take_string(stream, taken.name) ||
      !take_string(stream, taken.value) || !take_u32(stream, taken.expiry) ||
      !take_u32(stream, is_preset)) {
    return false;
  }
  taken.is_preset = is_preset != 0;
  return is_safe_cookie_text(taken.key) && is_safe_cookie_text(taken.name) &&
         is_safe_cookie_text(taken.value);
}

bool take_store(std::string_view& stream, cookie_store& store) {
  uint32_t version = 0;
  uint32_t count = 0;
  if (!take_u32(stream, version) || version != IMAGE_VERSION || !take_u32(stream, count)) {
    return false;
  }
  std::vector<cookie> beyond_bounds;
  for (uint32_t i = 0; i < count; ++i) {
    cookie taken;
    if (!take_cookie(stream, taken)) return false;
    put_cookie_store(store, std::move(taken), beyond_bounds);
    beyond_bounds.clear();
  }
  return true;
}

}  // namespace

void save_cookie_jar(const cookie_jar& jar, std::string& stream) {
  const std::shared_lock hold(jar.lock);
  append_u32(stream, IMAGE_VERSION);
  append_u32(stream, static_cast<uint32_t>(jar.store.cookies.size()));
  for (const auto& [place, stored] : jar.store.cookies) {
    append_string(stream, stored.group->first.text);
    append_string(stream, stored.name);
    append_string(stream, stored.value);
    append_u32(stream, stored.expiry);
    append_u32(stream, stored.is_preset ? 1 : 0);
  }
}

bool load_cookie_jar(std::string_view& stream, cookie_jar& jar) {
  std::string_view rest = stream;
  cookie_store loaded;
  loaded.strict_safety = jar.store.strict_safety;
  if (!take_store(rest, loaded)) return false;
  {
    const std::unique_lock hold(jar.lock);
    exchange_cookies(jar.store, loaded);
  }
  stream = rest;
  return true;
}

}  // namespace wk
