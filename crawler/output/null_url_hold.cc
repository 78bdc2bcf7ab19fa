// The store of a crawl that keeps no documents: it accepts none, so it counts none.
#include "crawler/output/url_hold.h"

namespace wk {
namespace {

void destroy_null_url_hold(url_hold* hold) { delete hold; }

constexpr url_hold_ops NULL_URL_HOLD_OPS = {
    .obj_type = T_NULL_URL_HOLD_OBJ,
    .destroy = destroy_null_url_hold,
    .store_document = nullptr,
    .store_headers = nullptr,
    .resume = nullptr,
    .save = nullptr,
    .load = nullptr,
};

}  // namespace

url_hold_ptr create_null_url_hold() {
  url_hold_ptr hold(new url_hold);
  hold->ops = &NULL_URL_HOLD_OPS;
  return hold;
}

}  // namespace wk
