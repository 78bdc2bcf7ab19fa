// A profile in which every field differs from its default.
#pragma once

#include <string>

#include "crawler/config/crawler_config.h"

namespace wk {

// Every path lies below base.
[[nodiscard]] inline config_values build_full_profile(const std::string& base) {
  config_values profile;
  profile.convert_content = false;
  profile.nb_spiders = 3;
  profile.admin_port = -1;
  profile.admin_address = "0.0.0.0";
  profile.forever_mode = 1;
  profile.admin_thread_sleep_time_ms = 250;
  profile.stop_when_empty = true;
  profile.is_rss = true;
  profile.seed_urls = {"http://a.test/", "http://b.test/start?x=1&y=2"};
  profile.max_guest_pages = {4, NO_GUEST_PAGE_LIMIT};
  profile.site_page_limits = {{7, 2}, {4'294'967'295, 1'000'000}};
  profile.restricted_urls = {"http://a\\.test/"};
  profile.excluded_urls = {"http://a\\.test/private", "http://a\\.test/tab\there"};
  profile.restricted_extensions = {"html", "php"};
  profile.excluded_extensions = {"zip"};
  profile.restricted_regexes = {"http://b\\.test/.*"};
  profile.excluded_regexes = {".*\\?session=.*"};
  profile.credentials = {{"http://a.test/", "user", "pass\\word\n"}, {"b.test", "", "x"}};
  profile.substitutions = {{"www\\.(.*)", "\\1"}, {"a\tb", ""}};
  profile.cookies = {{"a.test", "/", "name", "data; with \x01 and \xff"}};
  profile.all_cookies_mode = 1;
  profile.disabled_cookie_sites = {"ads.test"};
  profile.log_name = base + "/log";
  profile.log_append = true;
  profile.log_filter = 6;
  profile.frontier_sleep_mode = 1;
  profile.frontier_mode = 2222;
  profile.sleep_interval_seconds = 0;
  profile.nb_queues = 5;
  profile.queue_buffer_size = 4;
  profile.disk_cache_size = 900;
  profile.depth_first = false;
  profile.portal_list_url = "http://portal.test/";
  profile.http_proxy = "127.0.0.1:3128";
  profile.timeout_wait_ms = 1'500;
  profile.retries = 2;
  profile.retries_wait_ms = 30;
  profile.honor_robots = false;
  profile.user_agent = "Some/1.0 (agent)";
  profile.canonical_urls = true;
  profile.strict_safety = true;
  profile.parse_javascript_flash = 1;
  profile.hyperlink_extraction_off = 1;
  profile.news_pipeline_enabled = 1;
  profile.news_pipeline_host = "pipeline.test";
  profile.news_pipeline_port = 9'000;
  profile.news_pipeline_raw = 1;
  profile.store_name = base + "/store";
  profile.temp_data_path = base + "/temp";
  profile.status_file_path = base + "/status";
  profile.link_file_path = base + "/links";
  profile.store_mbytes = 11;
  profile.store_files = 12;
  profile.quota_mbytes = 13;
  profile.quota_files = 14;
  profile.checkpoint_directory = base + "/checkpoint";
  profile.checkpoint_interval_seconds = 3'600;
  return profile;
}

}  // namespace wk
