#include "crawler/config/crawler_config.h"

namespace wk {

void reset_crawler_config(CrawlerConfig& config) {
  const std::lock_guard guard(config.lock);
  static_cast<config_values&>(config) = config_values{};
  config.name.clear();
}

}  // namespace wk
