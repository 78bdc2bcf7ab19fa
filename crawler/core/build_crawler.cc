#include "crawler/core/build_crawler.h"

#include <algorithm>
#include <iterator>

#include "crawler/config/config_reader.h"
#include "crawler/config/config_writer.h"
#include "crawler/config/profile_place.h"
#include "crawler/url/url_form.h"
#include "wkstd/clock.h"
#include "wkstd/directory.h"
#include "wkstd/error.h"
#include "wkstd/text.h"

namespace wk {
namespace {

// A number of the profile that must be positive to mean anything.
uint32_t take_positive(int32_t number, uint32_t otherwise) {
  return number > 0 ? static_cast<uint32_t>(number) : otherwise;
}

void copy_settings(Crawler& crawler, const CrawlerConfig& config) {
  crawler.profile = config;
  crawler.profile_name = config.name;
  crawler.admin_port = config.admin_port;
  crawler.nb_spiders = config.nb_spiders > 0 ? static_cast<uint32_t>(config.nb_spiders) : 0;
  crawler.stop_when_empty = config.stop_when_empty;
  crawler.admin_thread_sleep_time_ms =
      config.admin_thread_sleep_time_ms > 0
          ? static_cast<uint32_t>(config.admin_thread_sleep_time_ms)
          : 0;
  crawler.parse_javascript_flash = static_cast<uint32_t>(config.parse_javascript_flash);
  crawler.follows_links = !config.is_rss && config.hyperlink_extraction_off == 0;
  crawler.forever_mode = static_cast<uint32_t>(config.forever_mode);
  crawler.depth_first = config.depth_first;
  crawler.waits_for_hosts = config.frontier_sleep_mode == 0;
  crawler.host_interval_seconds = take_positive(config.sleep_interval_seconds, 0);
  crawler.rules = {.canonical_urls = config.canonical_urls, .strict_safety = config.strict_safety};
  crawler.store_directory = config.store_name;
  crawler.temp_directory = config.temp_data_path;
  crawler.link_file_base = config.link_file_path;
}

// A crawl that wrote into its profile would be the last one of it.
void keep_source(const CrawlerConfig& config, const std::string& source) {
  const char* writer = nullptr;
  if (is_same_file(config.log_name, source)) writer = "log";
  if (is_same_file(config.status_file_path, source)) writer = "status file";
  if (is_link_file(config.link_file_path, source)) writer = "link file";
  if (writer == nullptr) return;
  report_fatal_error(
      format_text("The %s would overwrite the profile '%s'.\n", writer, source.c_str()));
}

void prepare_temp_directory(const std::string& directory) {
  if (!is_directory(directory) || is_precious_directory(directory)) {
    report_fatal_error("The temp directory for temporary data  is not valid .\n");
  }
  empty_directory(directory);
}

frontier_ptr build_horizon(const CrawlerConfig& config) {
  const horizon_settings defaults;
  horizon_settings settings;
  settings.directory = config.temp_data_path;
  settings.nb_queues = take_positive(config.nb_queues, defaults.nb_queues);
  settings.queue_buffer_size = take_positive(config.queue_buffer_size, defaults.queue_buffer_size);
  settings.disk_cache_size = take_positive(config.disk_cache_size, defaults.disk_cache_size);
  settings.interval_seconds = take_positive(config.sleep_interval_seconds, 0);
  settings.nb_hosts_expected = static_cast<uint32_t>(config.seed_urls.size());
  frontier_ptr horizon = create_frontier(settings);
  horizon->set_option(*horizon, config.depth_first ? 1 : 0);
  return horizon;
}

void set_up_fetching(Crawler& crawler, const CrawlerConfig& config) {
  fetch_settings& fetch = crawler.fetch;
  fetch.gate = &crawler.gate;
  fetch.proxy = config.http_proxy;
  fetch.rules = &crawler.rules;
  if (config.timeout_wait_ms >= 0) fetch.timeout_ms = config.timeout_wait_ms;
  if (config.retries_wait_ms >= 0)
    fetch.retry_wait_ms = static_cast<uint32_t>(config.retries_wait_ms);
  if (config.retries >= 0) fetch.retries = static_cast<uint32_t>(config.retries);
  fetch.all_cookies_mode = static_cast<uint32_t>(config.all_cookies_mode);
  fetch.no_cookie_domains.insert(config.disabled_cookie_sites.begin(),
                                 config.disabled_cookie_sites.end());
  if (config.quota_mbytes > 0) {
    set_mb_limit_quota(crawler.crawl_quota, static_cast<uint32_t>(config.quota_mbytes));
  }
  if (config.quota_files > 0) {
    set_page_limit_quota(crawler.crawl_quota, static_cast<uint32_t>(config.quota_files));
  }
}

log_ptr build_log(const CrawlerConfig& config) {
  log_ptr log;
  if (!config.log_name.empty()) {
    log = open_file_log(config.log_name, config.log_append);
    if (log == nullptr) {
      print_message(format_text("Couldn't open the crawl log '%s'\n", config.log_name.c_str()));
    }
  }
  if (log == nullptr) {
    print_message("No log - creating /dev/null log instead\n");
    return create_discarding_log();
  }
  if (config.log_filter >= 0) set_filter_log(*log, static_cast<uint32_t>(config.log_filter));
  return log;
}

struct filter_list {
  const std::vector<std::string>& entries;
  url_filter_side side;
  url_filter_kind kind;
  const char* name;  // in the log
};

[[noreturn]] void end_without_filter(const Crawler& crawler) {
  flush_log(*crawler.log);
  report_fatal_error("Couldn't create the URL filters.\n");
}

// The patterns of a list that don't compile are counted in the log and the others are used. False
// when stop was set meanwhile.
bool add_filter_list(Crawler& crawler, const filter_list& list, const std::atomic<uint32_t>* stop) {
  uint32_t nb_added = 0;
  if (!add_list_url_filter(crawler.filter, list.side, list.kind, list.entries, nb_added, stop)) {
    if (stop != nullptr && stop->load() != 0) return false;
    end_without_filter(crawler);
  }
  const auto nb_failed = static_cast<uint32_t>(list.entries.size()) - nb_added;
  if (nb_failed == 0) return true;
  write_formatted_log(*crawler.log, LOG_ERROR, "s-comment", "Couldn't create %u %s filters\n",
                      nb_failed, list.name);
  const bool restricts_nothing = list.side == URL_FILTER_RESTRICTED && nb_added == 0;
  if (restricts_nothing && crawler.rules.strict_safety) end_without_filter(crawler);
  return true;
}

bool set_up_filter(Crawler& crawler, const CrawlerConfig& config,
                   const std::atomic<uint32_t>* stop) {
  const filter_list lists[] = {
      {config.restricted_urls, URL_FILTER_RESTRICTED, URL_FILTER_URL, "restricted URL"},
      {config.excluded_urls, URL_FILTER_EXCLUDED, URL_FILTER_URL, "excluded URL"},
      {config.restricted_extensions, URL_FILTER_RESTRICTED, URL_FILTER_EXTENSION,
       "restricted extension"},
      {config.excluded_extensions, URL_FILTER_EXCLUDED, URL_FILTER_EXTENSION, "excluded extension"},
      {config.restricted_regexes, URL_FILTER_RESTRICTED, URL_FILTER_REGEX, "restricted regex"},
      {config.excluded_regexes, URL_FILTER_EXCLUDED, URL_FILTER_REGEX, "excluded regex"},
  };
  return std::all_of(std::begin(lists), std::end(lists),
                     [&](const filter_list& list) { return add_filter_list(crawler, list, stop); });
}

void log_robots_event(robots_event event, std::string_view host, uint32_t status, void* context) {
  Log& log = *static_cast<Log*>(context);
  std::string text = "http://";
  text.append(host).append("/robots.txt  ");
  if (event == ROBOTS_TOO_LARGE) {
    text += "The robots file has more rules than can be kept, everything is forbidden";
    write_log(log, LOG_WARNING, "cs-uri s-comment", text);
    return;
  }
  const std::string code =
      status == 0 ? "NO HTTP CODE AVAILABLE" : "HTTP CODE " + std::to_string(status);
  text.append("Couldn't get the robots file (").append(code).append("), everything is allowed");
  write_log(log, LOG_STATUS, "cs-uri s-comment", text);
}

void set_up_robots(Crawler& crawler, const CrawlerConfig& config) {
  crawler.robots = create_robots_cache(crawler.fetch);
  crawler.robots->on_event = log_robots_event;
  crawler.robots->event_context = crawler.log.get();
  crawler.robots->honor = config.honor_robots ? 1 : 0;
}

void set_up_cookies(Crawler& crawler, const CrawlerConfig& config) {
  crawler.cookies.store.rules = &crawler.rules;
  for (const config_cookie& cookie : config.cookies) {
    cookie_jar_add(crawler.cookies, cookie.domain, cookie.path, COOKIE_NEVER_EXPIRES, cookie.name,
                   cookie.data);
  }
}

void set_up_substitutions(Crawler& crawler, const CrawlerConfig& config) {
  if (config.substitutions.empty()) return;
  crawler.substitutions = create_pattern_substitutions();
  for (const config_substitution& pair : config.substitutions) {
    std::string fault;
    if (add_pattern_substitution(*crawler.substitutions, pair.source, pair.target, fault)) continue;
    print_message(format_text("The URL substitution of '%s' by '%s' is left out: %s\n",
                              pair.source.c_str(), pair.target.c_str(), fault.c_str()));
  }
}

// The URL as it enters the horizon; one that can't is said and left out.
std::string add_seed(Crawler& crawler, const std::string& url) {
  std::string seed = url;
  if (crawler.rules.canonical_urls) canonicalize_url(seed);
  if (crawler.horizon->add_url(*crawler.horizon, seed) == 0) {
    print_message(
        format_text("The seed URL '%s' can't be crawled; it is left out.\n", url.c_str()));
  }
  return seed;
}

void add_seeds(Crawler& crawler, const CrawlerConfig& config) {
  init_page_allowance(crawler.allowance, config.seed_urls.size());
  for (const auto& [host_hash, limit] : config.site_page_limits) {
    set_site_limit_page_allowance(crawler.allowance, host_hash, static_cast<uint32_t>(limit));
  }
  for (size_t i = 0; i < config.seed_urls.size(); ++i) {
    const std::string seed = add_seed(crawler, config.seed_urls[i]);
    const bool limited = !config.is_rss && i < config.max_guest_pages.size();
    add_seed_page_allowance(
        crawler.allowance, seed,
        static_cast<uint32_t>(limited ? config.max_guest_pages[i] : NO_GUEST_PAGE_LIMIT));
  }
  if (!config.portal_list_url.empty()) {
    crawler.portal_list_url = add_seed(crawler, config.portal_list_url);
  }
}

void set_up_checkpoint(Crawler& crawler, const CrawlerConfig& config) {
  if (config.checkpoint_directory.empty()) return;
  crawler.checkpoint_interval_seconds = take_positive(config.checkpoint_interval_seconds, 0);
  if (!is_directory(config.checkpoint_directory) ||
      is_precious_directory(config.checkpoint_directory)) {
    report_fatal_error("The directory configured for checkpoint is not valid.\n");
  }
  crawler.checkpoint_directory = config.checkpoint_directory;
  if (crawler.checkpoint_interval_seconds != 0) {
    crawler.next_checkpoint_us =
        get_steady_time_us() + uint64_t{crawler.checkpoint_interval_seconds} * 1'000'000;
  }
}

}  // namespace

url_hold_ptr build_store(const config_values& config, Log* log, const fetch_settings* fetch) {
  if (config.news_pipeline_enabled != 0) {
    return create_pipeline_url_hold(config.news_pipeline_host,
                                    static_cast<uint32_t>(config.news_pipeline_port),
                                    config.news_pipeline_raw != 0, log, fetch);
  }
  if (config.store_name.empty()) {
    if (log != nullptr) {
      write_log(*log, LOG_ERROR, "s-comment", "No store - creating /dev/null store instead\n");
    }
    return create_null_url_hold();
  }
  url_hold_ptr store = create_flatsite_url_hold(config.store_name, log);
  if (config.store_mbytes > 0) set_mb_quota_flatsite_url_hold(*store, config.store_mbytes);
  if (config.store_files > 0) set_page_quota_flatsite_url_hold(*store, config.store_files);
  return store;
}

crawler_ptr build_crawler(CrawlerConfig& config, const std::string& source,
                          const std::atomic<uint32_t>* stop) {
  keep_source(config, source);
  auto crawler = std::make_unique<Crawler>();
  lock_crawl_directories(crawler->directories, config);
  copy_settings(*crawler, config);
  prepare_temp_directory(config.temp_data_path);
  crawler->horizon = build_horizon(config);
  crawler->digests = create_digest_table();
  if (!config.status_file_path.empty()) {
    crawler->status = open_status_file(config.status_file_path);
    if (crawler->status == nullptr) {
      print_message(format_text("The status file %s can't be opened; no status is written.\n",
                                config.status_file_path.c_str()));
    }
  }
  set_up_fetching(*crawler, config);
  crawler->log = build_log(config);
  crawler->store = build_store(config, crawler->log.get(), &crawler->fetch);
  crawler->fetch.user_agent = config.user_agent;
  set_up_robots(*crawler, config);
  if (!set_up_filter(*crawler, config, stop)) return nullptr;
  set_up_cookies(*crawler, config);
  set_up_substitutions(*crawler, config);
  for (const config_credential& credential : config.credentials) {
    add_credential_fetch_settings(crawler->fetch, credential.site, credential.user,
                                  credential.password);
  }
  add_seeds(*crawler, config);
  set_up_checkpoint(*crawler, config);
  std::string profile;
  write_config(config, profile);
  write_log(*crawler->log, LOG_STATUS, "x-config-file", profile);
  return crawler;
}

crawler_ptr load_crawler(const std::string& path, const std::string& name, bool use_libxml,
                         const std::atomic<uint32_t>* stop) {
  const crawler_config_ptr config =
      use_libxml ? read_config_with_libxml(path, name) : read_config_without_libxml(path, name);
  if (config == nullptr) {
    print_message(format_text("Couldn't load crawler config file '%s'", path.c_str()));
    return nullptr;
  }
  return build_crawler(*config, path, stop);
}

void start_fresh_crawler(Crawler& crawler) {
  if (crawler.store_directory.empty()) return;
  if (!is_directory(crawler.store_directory) || is_precious_directory(crawler.store_directory)) {
    report_fatal_error("The store directory for flatsite is not a valid directory. \n");
  }
  // The temporary directory was emptied when the horizon moved in; its files stay.
  if (is_same_file(crawler.store_directory, crawler.temp_directory)) return;
  empty_directory(crawler.store_directory);
}

}  // namespace wk
