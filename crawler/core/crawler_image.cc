#include "crawler/core/crawler_image.h"

#include "crawler/config/config_text.h"
#include "crawler/core/build_crawler.h"
#include "crawler/fetch/fetch_settings_image.h"
#include "wkdt/hash_string_file.h"
#include "wkstd/error.h"
#include "wkstd/state_stream.h"

namespace wk {
namespace {

// Every row of an image, read before anything is built from it.
struct image_rows {
  std::string horizon_directory;
  uint32_t nb_urls = 0;
  std::string_view filter;
  std::string_view store;
  std::string_view digests;
  std::string_view crawl_quota;
  std::string_view fetch;
  config_values profile;
  uint32_t admin_port = 0;
  uint32_t nb_spiders = 0;
  uint32_t stop_when_empty = 0;
  uint32_t admin_thread_sleep_time_ms = 0;
  hash_string_ptr url_dates;  // null: none
  uint32_t checkpoint_interval_seconds = 0;
  std::string checkpoint_directory;
};

bool take_expected(std::string_view& bytes, uint32_t expected) {
  uint32_t value = 0;
  return take_u32(bytes, value) && value == expected;
}

bool take_horizon_row(std::string_view& bytes, image_rows& rows) {
  return take_expected(bytes, 1) && take_expected(bytes, FRONTIER_MODE) &&
         take_string(bytes, rows.horizon_directory) && take_u32(bytes, rows.nb_urls);
}

// Takes one row by a reader that cuts it off the front; row receives its bytes.
template <typename reader>
bool take_row(std::string_view& bytes, std::string_view& row, reader read) {
  const std::string_view before = bytes;
  if (!read(bytes)) return false;
  row = before.substr(0, before.size() - bytes.size());
  return true;
}

bool take_object_rows(std::string_view& bytes, image_rows& rows) {
  const auto take_filter = [](std::string_view& rest) {
    url_filter filter;
    return load_url_filter(rest, filter);
  };
  const auto take_digests = [](std::string_view& rest) {
    const digest_table_ptr digests = create_digest_table();
    return load_digest_table(rest, *digests);
  };
  const auto take_quota = [](std::string_view& rest) {
    quota crawl_quota;
    return load_quota(rest, crawl_quota);
  };
  const auto take_fetch = [](std::string_view& rest) {
    fetch_settings fetch;
    return load_fetch_settings(rest, fetch);
  };
  return take_row(bytes, rows.filter, take_filter) &&
         take_row(bytes, rows.store, skip_url_hold_image) &&
         take_row(bytes, rows.digests, take_digests) && skip_log_image(bytes) &&
         take_row(bytes, rows.crawl_quota, take_quota) && take_row(bytes, rows.fetch, take_fetch);
}

bool take_url_dates_row(std::string_view& bytes, image_rows& rows) {
  uint32_t has_dates = 0;
  if (!take_u32(bytes, has_dates) || has_dates > 1) return false;
  if (has_dates == 1) rows.url_dates = read_hash_string(bytes);
  return has_dates == 0 || rows.url_dates != nullptr;
}

bool take_setting_rows(std::string_view& bytes, image_rows& rows) {
  std::string text;
  return take_text_item(bytes, text) && read_config_text(text, rows.profile) &&
         take_u32(bytes, rows.admin_port) && take_u32(bytes, rows.nb_spiders) &&
         take_u32(bytes, rows.stop_when_empty) &&
         take_u32(bytes, rows.admin_thread_sleep_time_ms) && take_url_dates_row(bytes, rows) &&
         take_u32(bytes, rows.checkpoint_interval_seconds) &&
         take_text_item(bytes, rows.checkpoint_directory) && take_expected(bytes, 0);
}

// The profile that the image's crawler would be built from now. What an operator has changed since
// is in the other rows.
void adjust_profile(const image_rows& rows, config_values& profile) {
  profile.admin_port = static_cast<int32_t>(rows.admin_port);
  profile.nb_spiders = static_cast<int32_t>(rows.nb_spiders);
  profile.stop_when_empty = rows.stop_when_empty != 0;
  profile.admin_thread_sleep_time_ms = static_cast<int32_t>(rows.admin_thread_sleep_time_ms);
  profile.checkpoint_interval_seconds = static_cast<int32_t>(rows.checkpoint_interval_seconds);
  profile.checkpoint_directory = rows.checkpoint_directory;
  profile.temp_data_path = rows.horizon_directory;
}

// True when the store's row is of the store that the profile names.
bool is_store_of_profile(const image_rows& rows) {
  const url_hold_ptr store = build_store(rows.profile, nullptr, nullptr);
  std::string_view row = rows.store;
  return load_url_hold(row, *store);
}

// Every row was read once already, so none of these can fail.
void load_objects(const image_rows& rows, Crawler& crawler) {
  std::string_view row = rows.filter;
  bool loaded = load_url_filter(row, crawler.filter);
  row = rows.store;
  loaded = load_url_hold(row, *crawler.store) && loaded;
  row = rows.digests;
  loaded = load_digest_table(row, *crawler.digests) && loaded;
  row = rows.crawl_quota;
  loaded = load_quota(row, crawler.crawl_quota) && loaded;
  row = rows.fetch;
  loaded = load_fetch_settings(row, crawler.fetch) && loaded;
  (void)WK_FAILED(loaded);
}

}  // namespace

void save_crawler(Crawler& crawler, std::string& stream) {
  append_u32(stream, CRAWLER_IMAGE_MARK);
  crawler.horizon->write_state(*crawler.horizon, stream);
  save_url_filter(crawler.filter, stream);
  save_url_hold(*crawler.store, stream);
  save_digest_table(*crawler.digests, stream);
  save_log(*crawler.log, stream);
  save_quota(crawler.crawl_quota, stream);
  save_fetch_settings(crawler.fetch, stream);
  std::string profile;
  write_config_text(crawler.profile, profile);
  append_text_item(stream, profile);
  append_u32(stream, static_cast<uint32_t>(crawler.admin_port));
  append_u32(stream, crawler.nb_spiders);
  append_u32(stream, crawler.stop_when_empty ? 1 : 0);
  append_u32(stream, crawler.admin_thread_sleep_time_ms);
  append_u32(stream, crawler.url_dates != nullptr ? 1 : 0);
  if (crawler.url_dates != nullptr) write_hash_string(*crawler.url_dates, stream);
  append_u32(stream, crawler.checkpoint_interval_seconds);
  append_text_item(stream, crawler.checkpoint_directory);
  append_u32(stream, 0);
}

bool is_crawler_image(std::string_view bytes) { return take_expected(bytes, CRAWLER_IMAGE_MARK); }

crawler_ptr load_crawler_image(std::string_view bytes, const std::string& source) {
  image_rows rows;
  if (!take_expected(bytes, CRAWLER_IMAGE_MARK) || !take_horizon_row(bytes, rows) ||
      !take_object_rows(bytes, rows) || !take_setting_rows(bytes, rows) || !bytes.empty() ||
      !is_store_of_profile(rows)) {
    return nullptr;
  }
  CrawlerConfig config;
  static_cast<config_values&>(config) = rows.profile;
  adjust_profile(rows, config);
  crawler_ptr crawler = build_crawler(config, source);
  load_objects(rows, *crawler);
  crawler->url_dates = std::move(rows.url_dates);
  return crawler;
}

}  // namespace wk
