// The composite store: hands each document to every one of its members.
//
// A document counts as stored when at least one member has taken it, and as lost when none has and
// one of them has lost it; each member counts its own.
// Members' locks are taken after the composite's own.
#include <utility>
#include <vector>

#include "crawler/output/url_hold.h"
#include "wkstd/state_stream.h"

namespace wk {
namespace {

struct composite_url_hold : url_hold {
  std::vector<url_hold_ptr> members;  // fixed at creation
  quota unlimited;                    // the crawl's own quota is tested and charged once, above
};

int store_document_composite(url_hold& base, const stored_document& document) {
  auto& hold = static_cast<composite_url_hold&>(base);
  int stored = 0;
  bool is_lost = false;
  for (const url_hold_ptr& member : hold.members) {
    const uint32_t nb_lost = get_nb_lost_url_hold(*member);
    if (store_document_url_hold(*member, document, hold.unlimited) != 0) stored = 1;
    if (get_nb_lost_url_hold(*member) != nb_lost) is_lost = true;
  }
  if (stored == 0 && is_lost) hold.nb_lost.fetch_add(1, std::memory_order_relaxed);
  return stored;
}

int store_headers_composite(url_hold& base, const stored_headers& exchange) {
  int stored = 0;
  for (const url_hold_ptr& member : static_cast<composite_url_hold&>(base).members) {
    if (store_headers_url_hold(*member, exchange) != 0) stored = 1;
  }
  return stored;
}

void resume_composite(url_hold& base) {
  for (const url_hold_ptr& member : static_cast<composite_url_hold&>(base).members) {
    resume_url_hold(*member);
  }
}

void save_members(const composite_url_hold& hold, std::string& stream) {
  for (const url_hold_ptr& member : hold.members) save_url_hold(*member, stream);
}

bool load_members(composite_url_hold& hold, std::string_view& stream) {
  for (const url_hold_ptr& member : hold.members) {
    if (!load_url_hold(stream, *member)) return false;
  }
  return true;
}

void save_composite(const url_hold& base, std::string& stream) {
  const auto& hold = static_cast<const composite_url_hold&>(base);
  append_u32(stream, 1);
  append_u32(stream, static_cast<uint32_t>(hold.members.size()));
  save_members(hold, stream);
}

// An image that some member refuses changes none of them.
bool load_composite(url_hold& base, std::string_view& stream) {
  auto& hold = static_cast<composite_url_hold&>(base);
  std::string_view rest = stream;
  uint32_t mark = 0;
  uint32_t count = 0;
  if (!take_u32(rest, mark) || mark != 1 || !take_u32(rest, count) ||
      count != hold.members.size()) {
    return false;
  }
  std::string before;
  save_members(hold, before);
  if (load_members(hold, rest)) {
    stream = rest;
    return true;
  }
  std::string_view own = before;
  (void)load_members(hold, own);  // a store takes its own image
  return false;
}

void destroy_composite(url_hold* hold) { delete static_cast<composite_url_hold*>(hold); }

constexpr url_hold_ops COMPOSITE_URL_HOLD_OPS = {
    .obj_type = T_COMPOSITE_URL_HOLD_OBJ,
    .destroy = destroy_composite,
    .store_document = store_document_composite,
    .store_headers = store_headers_composite,
    .resume = resume_composite,
    .save = save_composite,
    .load = load_composite,
};

}  // namespace

url_hold_ptr create_composite_url_hold(std::vector<url_hold_ptr> members) {
  auto hold = std::make_unique<composite_url_hold>();
  hold->ops = &COMPOSITE_URL_HOLD_OPS;
  hold->members = std::move(members);
  return url_hold_ptr(hold.release());
}

}  // namespace wk
