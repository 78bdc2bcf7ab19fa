// One crawler profile of a configuration file, as read and before a crawler is built from it.
//
// Texts are as the file gives them; an absent one is empty. Numbers are as parse_integer reads
// them. The record is read once, on the main thread, and released when the crawler is built. Its
// lock guards it while it is reset or written.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace wk {

// The stored limit of a seed without one; a stored limit N allows N + 1 pages.
constexpr int32_t NO_GUEST_PAGE_LIMIT = 100'000'000;

struct config_credential {
  std::string site;
  std::string user;
  std::string password;
  bool operator==(const config_credential&) const = default;
};

struct config_substitution {
  std::string source;  // a pattern, RE2 syntax
  std::string target;
  bool operator==(const config_substitution&) const = default;
};

struct config_cookie {
  std::string domain;
  std::string path;
  std::string name;
  std::string data;
  bool operator==(const config_cookie&) const = default;
};

// What a profile says, apart from the lock of the record: it can be copied and compared whole.
// Its order is that of meaning; there is only one, so a few bytes of padding do not matter.
// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding)
struct config_values {
  // Attributes of the profile.
  bool convert_content = true;
  int32_t nb_spiders = 1;
  int32_t admin_port = 8000;
  std::string admin_address;  // empty: the loopback address
  std::vector<std::string> admin_hosts;
  int32_t forever_mode = 0;
  int32_t admin_thread_sleep_time_ms = 10'000;
  bool stop_when_empty = false;
  bool is_rss = false;

  // Lists, in document order.
  std::vector<std::string> seed_urls;
  std::vector<int32_t> max_guest_pages;          // by seed; one below the profile's number
  std::map<uint32_t, int32_t> site_page_limits;  // hash_url_host of the seed's host -> pages
  std::vector<std::string> restricted_urls;
  std::vector<std::string> excluded_urls;
  std::vector<std::string> restricted_extensions;
  std::vector<std::string> excluded_extensions;
  std::vector<std::string> restricted_regexes;
  std::vector<std::string> excluded_regexes;
  std::vector<config_credential> credentials;
  std::vector<config_substitution> substitutions;
  std::vector<config_cookie> cookies;
  int32_t all_cookies_mode = 0;  // not 0: no cookies at all
  std::vector<std::string> disabled_cookie_sites;

  // The crawl log.
  std::string log_name;
  bool log_append = false;
  int32_t log_filter = 7;  // 1 status, 2 warning, 4 error

  // The horizon.
  int32_t frontier_sleep_mode = 0;  // 0: spiders wait for the host's time
  int32_t frontier_mode = 0;
  int32_t sleep_interval_seconds = 60;
  int32_t nb_queues = 100;
  int32_t queue_buffer_size = 1'000;
  int32_t disk_cache_size = 100'000'000;
  bool depth_first = true;
  std::string portal_list_url;

  // Fetching.
  std::string http_proxy;
  int32_t timeout_wait_ms = -1;
  int32_t retries = 0;
  int32_t retries_wait_ms = -1;
  bool honor_robots = true;
  std::string user_agent = "__WENDRAKE_WEB_CRAWLER__";
  bool canonical_urls = false;  // one spelling of one page
  bool strict_safety = false;

  // Content.
  int32_t parse_javascript_flash = 0;
  int32_t hyperlink_extraction_off = 0;

  // The store.
  int32_t news_pipeline_enabled = 0;
  std::string news_pipeline_host;
  int32_t news_pipeline_port = 0;
  int32_t news_pipeline_raw = 0;
  std::string store_name;
  std::string temp_data_path;
  std::string status_file_path;
  std::string link_file_path;
  int32_t store_mbytes = -1;
  int32_t store_files = -1;
  int32_t quota_mbytes = -1;
  int32_t quota_files = -1;

  // Checkpoints.
  std::string checkpoint_directory;
  int32_t checkpoint_interval_seconds = 0;

  bool operator==(const config_values&) const = default;
};

struct CrawlerConfig : config_values {
  std::string name;  // which the profile was chosen by; no part of what it says
  std::mutex lock;
};

using crawler_config_ptr = std::unique_ptr<CrawlerConfig>;

// Empties every list and puts every field back to its default.
void reset_crawler_config(CrawlerConfig& config);

}  // namespace wk
