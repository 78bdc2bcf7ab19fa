#include "crawler/output/url_hold.h"

#include <mutex>

#include "wkstd/state_stream.h"

namespace wk {

void destroy_url_hold::operator()(url_hold* hold) const {
  if (hold != nullptr) hold->ops->destroy(hold);
}

int store_document_url_hold(url_hold& hold, const stored_document& document, quota& crawl_quota) {
  const std::unique_lock guard(hold.lock);
  if (is_exceeded_quota(crawl_quota) || hold.ops->store_document == nullptr) return 0;
  const int stored = hold.ops->store_document(hold, document);
  if (stored != 0) {
    ++hold.nb_stored;
    add_document_quota(crawl_quota, static_cast<uint32_t>(document.content.size()));
  }
  return stored;
}

uint32_t get_nb_stored_url_hold(const url_hold& hold) {
  const std::shared_lock guard(hold.lock);
  return hold.nb_stored;
}

void resume_url_hold(url_hold& hold) {
  const std::unique_lock guard(hold.lock);
  if (hold.ops->resume != nullptr) hold.ops->resume(hold);
}

void save_url_hold(const url_hold& hold, std::string& stream) {
  const std::shared_lock guard(hold.lock);
  append_u32(stream, hold.ops->obj_type);
  if (hold.ops->save != nullptr) hold.ops->save(hold, stream);
}

bool load_url_hold(std::string_view& stream, url_hold& hold) {
  const std::unique_lock guard(hold.lock);
  std::string_view rest = stream;
  uint32_t obj_type = 0;
  if (!take_u32(rest, obj_type) || obj_type != hold.ops->obj_type) return false;
  if (hold.ops->load != nullptr && !hold.ops->load(hold, rest)) return false;
  stream = rest;
  return true;
}

bool skip_url_hold_image(std::string_view& stream) {
  std::string_view rest = stream;
  uint32_t obj_type = 0;
  if (!take_u32(rest, obj_type)) return false;
  if (obj_type == T_FLATSITE_URL_HOLD_OBJ) {
    uint32_t number = 0;
    quota file_quota;
    std::string directory;
    if (!take_u32(rest, number) || number != 1 || !load_quota(rest, file_quota) ||
        !take_u32(rest, number) || !take_string(rest, directory)) {
      return false;
    }
  } else if (obj_type != T_NULL_URL_HOLD_OBJ) {
    return false;
  }
  stream = rest;
  return true;
}

}  // namespace wk
