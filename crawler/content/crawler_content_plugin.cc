#include "crawler/content/crawler_content_plugin.h"

namespace wk {
namespace {

constexpr content_plugin_ops no_ops = {
    .name = "none",
    .recognize_mime = nullptr,
    .recognize_content = nullptr,
    .recognize_url = nullptr,
    .convert = nullptr,
    .begin_close = nullptr,
    .close = nullptr,
};

content_plugin find_plugin(const crawler_content_plugin& set, size_t number) {
  const std::shared_lock<std::shared_mutex> hold(set.lock);
  return number < set.plugins.size() ? set.plugins[number] : content_plugin{&no_ops, nullptr};
}

}  // namespace

crawler_content_plugin::~crawler_content_plugin() { close_crawler_content_plugin(*this); }

void add_crawler_content_plugin(crawler_content_plugin& set, const content_plugin_ops& ops,
                                void* context) {
  const std::lock_guard<std::shared_mutex> hold(set.lock);
  set.plugins.push_back({&ops, context});
}

size_t count_crawler_content_plugin(const crawler_content_plugin& set) {
  const std::shared_lock<std::shared_mutex> hold(set.lock);
  return set.plugins.size();
}

void set_certainty_crawler_content_plugin(crawler_content_plugin& set, uint8_t certainty) {
  const std::lock_guard<std::shared_mutex> hold(set.lock);
  set.certainty = certainty;
}

uint8_t get_certainty_crawler_content_plugin(const crawler_content_plugin& set) {
  const std::shared_lock<std::shared_mutex> hold(set.lock);
  return set.certainty;
}

uint8_t recognize_mime_crawler_content_plugin(const crawler_content_plugin& set, size_t number,
                                              std::string_view mime_type) {
  const auto [ops, context] = find_plugin(set, number);
  return ops->recognize_mime == nullptr ? uint8_t{0} : ops->recognize_mime(mime_type, context);
}

uint8_t recognize_content_crawler_content_plugin(const crawler_content_plugin& set, size_t number,
                                                 std::string_view content) {
  const auto [ops, context] = find_plugin(set, number);
  return ops->recognize_content == nullptr ? uint8_t{0} : ops->recognize_content(content, context);
}

uint8_t recognize_url_crawler_content_plugin(const crawler_content_plugin& set, size_t number,
                                             std::string_view url) {
  const auto [ops, context] = find_plugin(set, number);
  return ops->recognize_url == nullptr ? uint8_t{0} : ops->recognize_url(url, context);
}

uint32_t convert_crawler_content_plugin(const crawler_content_plugin& set, size_t number,
                                        const conversion_request& request, conversion& result) {
  const auto [ops, context] = find_plugin(set, number);
  return ops->convert == nullptr ? 0 : ops->convert(request, result, context);
}

void close_crawler_content_plugin(crawler_content_plugin& set) {
  std::vector<content_plugin> plugins;
  {
    const std::lock_guard<std::shared_mutex> hold(set.lock);
    plugins.swap(set.plugins);
  }
  for (const auto& [ops, context] : plugins) {
    if (ops->begin_close != nullptr) ops->begin_close(context);
  }
  for (const auto& [ops, context] : plugins) {
    if (ops->close != nullptr) ops->close(context);
  }
}

}  // namespace wk
