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

void save_url_hold(const url_hold& hold, std::string& stream) {
  const std::shared_lock guard(hold.lock);
  append_u32(stream, hold.ops->obj_type);
  if (hold.ops->save != nullptr) hold.ops->save(hold, stream);
}

}  // namespace wk
