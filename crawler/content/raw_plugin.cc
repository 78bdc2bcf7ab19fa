#include "crawler/content/builtin_plugins.h"
#include "crawler/content/content_class.h"

namespace wk {
namespace {

struct raw_plugin {
  uint8_t certainty;
};

// Whatever is shown to it, by whichever sign.
uint8_t recognize_raw(std::string_view, void* context) {
  return static_cast<const raw_plugin*>(context)->certainty;
}

uint32_t convert_raw(const conversion_request& request, conversion& result, void*) {
  result.text.assign(request.content);
  result.type = CONTENT_RAW;
  return 1;
}

void close_raw(void* context) { delete static_cast<raw_plugin*>(context); }

constexpr content_plugin_ops raw_ops = {
    .name = "raw",
    .recognize_mime = recognize_raw,
    .recognize_content = recognize_raw,
    .recognize_url = recognize_raw,
    .convert = convert_raw,
    .begin_close = nullptr,
    .close = close_raw,
};

}  // namespace

void add_raw_plugin(crawler_content_plugin& set, uint8_t certainty) {
  add_crawler_content_plugin(set, raw_ops, new raw_plugin{certainty});
}

}  // namespace wk
