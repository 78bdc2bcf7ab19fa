// A crawler built from a full profile in a directory of its own.
#pragma once

#include <string>

#include "crawler/core/build_crawler.h"
#include "tests/crawler/config/full_profile.h"
#include "tests/support/temp_directory.h"

namespace wk {

// Holds the directories "store", "temp" and "checkpoint".
struct crawler_place {
  temp_directory directory;
  std::string base = directory.path;
  std::string store = make_directory(directory, "store");
  std::string temp = make_directory(directory, "temp");
  std::string checkpoint = make_directory(directory, "checkpoint");
  config_values profile = build_full_profile(base);

  crawler_place() { profile.news_pipeline_enabled = 0; }
};

[[nodiscard]] inline crawler_ptr build(const crawler_place& place) {
  CrawlerConfig config;
  static_cast<config_values&>(config) = place.profile;
  return build_crawler(config);
}

}  // namespace wk
