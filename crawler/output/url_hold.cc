#include "crawler/output/url_hold.h"

#include <mutex>

#include "wkstd/state_stream.h"

namespace wk {
namespace {

// Cuts off what stands behind the tag. nb_members receives how many stores follow in the image of a
// composite store.
bool skip_kind(std::string_view& rest, uint32_t obj_type, uint32_t& nb_members) {
  uint32_t number = 0;
  quota file_quota;
  std::string text;
  if (obj_type == T_NULL_URL_HOLD_OBJ) return true;
  if (!take_u32(rest, number) || number != 1) return false;
  switch (obj_type) {
    case T_FLATSITE_URL_HOLD_OBJ:
      return load_quota(rest, file_quota) && take_u32(rest, number) && take_string(rest, text);
    case T_PIPELINE_URL_HOLD_OBJ:
      return take_string(rest, text) && take_u32(rest, number);
    case T_COMPOSITE_URL_HOLD_OBJ:
      return take_u32(rest, nb_members);
    default:
      return false;
  }
}

}  // namespace

void destroy_url_hold::operator()(url_hold* hold) const {
  if (hold != nullptr) hold->ops->destroy(hold);
}

int store_document_url_hold(url_hold& hold, const stored_document& document, quota& crawl_quota) {
  const std::unique_lock guard(hold.lock);
  if (is_exceeded_quota(crawl_quota) || hold.ops->store_document == nullptr) return 0;
  const int stored = hold.ops->store_document(hold, document);
  if (stored != 0) {
    hold.nb_stored.fetch_add(1, std::memory_order_relaxed);
    add_document_quota(crawl_quota, static_cast<uint32_t>(document.content.size()));
  }
  return stored;
}

int store_headers_url_hold(url_hold& hold, const stored_headers& exchange) {
  const std::unique_lock guard(hold.lock);
  return hold.ops->store_headers == nullptr ? 0 : hold.ops->store_headers(hold, exchange);
}

uint32_t get_nb_stored_url_hold(const url_hold& hold) {
  return hold.nb_stored.load(std::memory_order_relaxed);
}

uint32_t get_nb_lost_url_hold(const url_hold& hold) {
  return hold.nb_lost.load(std::memory_order_relaxed);
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
  // Members of composite stores stand behind them, so counting those to come is enough.
  for (uint64_t nb_left = 1; nb_left > 0; --nb_left) {
    uint32_t obj_type = 0;
    uint32_t nb_members = 0;
    if (!take_u32(rest, obj_type) || !skip_kind(rest, obj_type, nb_members)) return false;
    nb_left += nb_members;
  }
  stream = rest;
  return true;
}

}  // namespace wk
