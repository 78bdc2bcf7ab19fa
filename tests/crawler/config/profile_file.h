// A profile file on disk, the two readers side by side, and comparing what they read.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "crawler/config/config_reader.h"
#include "tests/support/temp_directory.h"

namespace wk {

struct profile_file {
  temp_directory directory;
  std::string path = directory.path + "/crawl.xml";

  explicit profile_file(std::string_view bytes) { write_test_file(path, bytes); }
};

struct config_reader {
  const char* name;
  crawler_config_ptr (*read)(const std::string& path, const std::string& name);
};
constexpr config_reader READERS[] = {
    {"libxml2", read_config_with_libxml},
    {"without libxml2", read_config_without_libxml},
};

inline void expect_same_lists(const config_values& a, const config_values& b) {
  EXPECT_EQ(a.seed_urls, b.seed_urls);
  EXPECT_EQ(a.max_guest_pages, b.max_guest_pages);
  EXPECT_EQ(a.site_page_limits, b.site_page_limits);
  EXPECT_EQ(a.restricted_urls, b.restricted_urls);
  EXPECT_EQ(a.excluded_urls, b.excluded_urls);
  EXPECT_EQ(a.restricted_extensions, b.restricted_extensions);
  EXPECT_EQ(a.excluded_extensions, b.excluded_extensions);
  EXPECT_EQ(a.restricted_regexes, b.restricted_regexes);
  EXPECT_EQ(a.excluded_regexes, b.excluded_regexes);
  EXPECT_EQ(a.disabled_cookie_sites, b.disabled_cookie_sites);
  EXPECT_TRUE(a.credentials == b.credentials);
  EXPECT_TRUE(a.substitutions == b.substitutions);
  EXPECT_TRUE(a.cookies == b.cookies);
}

inline void expect_same_texts(const config_values& a, const config_values& b) {
  EXPECT_EQ(a.admin_address, b.admin_address);
  EXPECT_EQ(a.log_name, b.log_name);
  EXPECT_EQ(a.portal_list_url, b.portal_list_url);
  EXPECT_EQ(a.http_proxy, b.http_proxy);
  EXPECT_EQ(a.user_agent, b.user_agent);
  EXPECT_EQ(a.news_pipeline_host, b.news_pipeline_host);
  EXPECT_EQ(a.store_name, b.store_name);
  EXPECT_EQ(a.temp_data_path, b.temp_data_path);
  EXPECT_EQ(a.status_file_path, b.status_file_path);
  EXPECT_EQ(a.link_file_path, b.link_file_path);
  EXPECT_EQ(a.checkpoint_directory, b.checkpoint_directory);
}

inline void expect_same_numbers(const config_values& a, const config_values& b) {
  EXPECT_EQ(a.convert_content, b.convert_content);
  EXPECT_EQ(a.nb_spiders, b.nb_spiders);
  EXPECT_EQ(a.admin_port, b.admin_port);
  EXPECT_EQ(a.forever_mode, b.forever_mode);
  EXPECT_EQ(a.admin_thread_sleep_time_ms, b.admin_thread_sleep_time_ms);
  EXPECT_EQ(a.stop_when_empty, b.stop_when_empty);
  EXPECT_EQ(a.is_rss, b.is_rss);
  EXPECT_EQ(a.all_cookies_mode, b.all_cookies_mode);
  EXPECT_EQ(a.log_append, b.log_append);
  EXPECT_EQ(a.log_filter, b.log_filter);
  EXPECT_EQ(a.frontier_sleep_mode, b.frontier_sleep_mode);
  EXPECT_EQ(a.frontier_mode, b.frontier_mode);
  EXPECT_EQ(a.sleep_interval_seconds, b.sleep_interval_seconds);
  EXPECT_EQ(a.nb_queues, b.nb_queues);
  EXPECT_EQ(a.queue_buffer_size, b.queue_buffer_size);
  EXPECT_EQ(a.disk_cache_size, b.disk_cache_size);
  EXPECT_EQ(a.depth_first, b.depth_first);
  EXPECT_EQ(a.timeout_wait_ms, b.timeout_wait_ms);
  EXPECT_EQ(a.retries, b.retries);
  EXPECT_EQ(a.retries_wait_ms, b.retries_wait_ms);
  EXPECT_EQ(a.honor_robots, b.honor_robots);
  EXPECT_EQ(a.canonical_urls, b.canonical_urls);
  EXPECT_EQ(a.strict_safety, b.strict_safety);
  EXPECT_EQ(a.parse_javascript_flash, b.parse_javascript_flash);
  EXPECT_EQ(a.hyperlink_extraction_off, b.hyperlink_extraction_off);
  EXPECT_EQ(a.news_pipeline_enabled, b.news_pipeline_enabled);
  EXPECT_EQ(a.news_pipeline_port, b.news_pipeline_port);
  EXPECT_EQ(a.news_pipeline_raw, b.news_pipeline_raw);
  EXPECT_EQ(a.store_mbytes, b.store_mbytes);
  EXPECT_EQ(a.store_files, b.store_files);
  EXPECT_EQ(a.quota_mbytes, b.quota_mbytes);
  EXPECT_EQ(a.quota_files, b.quota_files);
  EXPECT_EQ(a.checkpoint_interval_seconds, b.checkpoint_interval_seconds);
}

// Names the fields that differ; the last comparison sees those that no line above names.
inline void expect_same_config(const config_values& a, const config_values& b) {
  expect_same_lists(a, b);
  expect_same_texts(a, b);
  expect_same_numbers(a, b);
  EXPECT_TRUE(a == b);
}

// Reads the profile with both readers and expects the same record of both; null when either fails.
inline crawler_config_ptr read_with_both(std::string_view bytes, const std::string& name = "") {
  const profile_file file(bytes);
  crawler_config_ptr first = read_config_with_libxml(file.path, name);
  const crawler_config_ptr second = read_config_without_libxml(file.path, name);
  EXPECT_NE(first, nullptr);
  EXPECT_NE(second, nullptr);
  if (first == nullptr || second == nullptr) return nullptr;
  expect_same_config(*first, *second);
  return first;
}

// The same for the inside of one profile.
inline crawler_config_ptr read_inside(std::string_view inside, std::string_view attributes = "") {
  std::string text = "<crawlers><crawler ";
  text.append(attributes).append(">").append(inside).append("</crawler></crawlers>");
  return read_with_both(text);
}

}  // namespace wk
