#include "crawler/config/config_writer.h"

#include <string_view>

namespace wk {
namespace {

constexpr std::string_view HEAD =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
    "<!DOCTYPE WendrakeCrawler SYSTEM \"wkcrawler.dtd\">\n"
    "<crawlers xmlns=\"http://wendrake.invalid/crawler/1.0\">\n";

void append_attribute(std::string& out, std::string_view name, std::string_view value) {
  out.append(name).append("=\"").append(value).append("\"");
}

void append_text(std::string& out, std::string_view name, std::string_view value) {
  out.append(" ");
  append_attribute(out, name, value);
}

void append_number(std::string& out, std::string_view name, int32_t value) {
  append_text(out, name, std::to_string(value));
}

void append_number_if_given(std::string& out, std::string_view name, int32_t value) {
  if (value >= 0) append_number(out, name, value);
}

void append_flag(std::string& out, std::string_view name, bool value) {
  append_text(out, name, value ? "true" : "false");
}

void write_profile_tag(const config_values& config, std::string& out) {
  out.append("\t<crawler");
  append_number(out, "admin-port", config.admin_port);
  append_number(out, "nb-spiders", config.nb_spiders);
  append_flag(out, "stop-when-empty", config.stop_when_empty);
  append_number(out, "admin-thread-sleep-time", config.admin_thread_sleep_time_ms);
  std::string hosts;
  for (const std::string& host : config.admin_hosts) hosts.append(hosts.empty() ? "" : " ") += host;
  if (!hosts.empty()) append_text(out, "admin-hosts", hosts);
  out.append(">\n");
}

void begin_list(std::string& out, std::string_view element) {
  out.append("\t\t<").append(element).append(">\n");
}

void end_list(std::string& out, std::string_view element) {
  out.append("\t\t</").append(element).append(">\n");
}

void write_text_list(std::string& out, std::string_view element, std::string_view entry,
                     std::string_view attribute, const std::vector<std::string>& texts) {
  if (texts.empty()) return;
  begin_list(out, element);
  for (const std::string& text : texts) {
    out.append("\t\t\t<").append(entry);
    append_text(out, attribute, text);
    out.append("/>\n");
  }
  end_list(out, element);
}

void write_filter_lists(const config_values& config, std::string& out) {
  write_text_list(out, "restricted-urls", "url", "name", config.restricted_urls);
  write_text_list(out, "excluded-urls", "url", "name", config.excluded_urls);
  write_text_list(out, "restricted-extensions", "extension", "name", config.restricted_extensions);
  write_text_list(out, "excluded-extensions", "extension", "name", config.excluded_extensions);
  write_text_list(out, "restricted-regexes", "regex", "expr", config.restricted_regexes);
  write_text_list(out, "excluded-regexes", "regex", "expr", config.excluded_regexes);
}

void write_proxy_and_log(const config_values& config, std::string& out) {
  if (!config.http_proxy.empty()) {
    out.append("\t\t<http-proxy");
    append_text(out, "server", config.http_proxy);
    out.append("/>\n");
  }
  if (config.log_name.empty()) return;
  out.append("\t\t<log");
  append_text(out, "name", config.log_name);
  append_flag(out, "append", config.log_append);
  if (config.log_filter != 0) {
    std::string words;  // each with a blank behind it, the last too
    if ((config.log_filter & 1) != 0) words.append("status ");
    if ((config.log_filter & 2) != 0) words.append("warning ");
    if ((config.log_filter & 4) != 0) words.append("error ");
    append_text(out, "filter", words);
  }
  out.append("/>\n");
}

// The paths are set off by two tabs inside the tag.
void write_store(const config_values& config, std::string& out) {
  if (config.store_name.empty()) return;
  out.append("\t\t<store");
  append_text(out, "name", config.store_name);
  const auto append_path = [&out](std::string_view name, const std::string& path) {
    if (path.empty()) return;
    out.append("\t\t");
    append_attribute(out, name, path);
  };
  append_path("temp_data_path", config.temp_data_path);
  append_path("status_file_path", config.status_file_path);
  append_path("link_file_path", config.link_file_path);
  append_number_if_given(out, "mbytes", config.store_mbytes);
  append_number_if_given(out, "files", config.store_files);
  out.append("/>\n");
}

void write_frontier(const config_values& config, std::string& out) {
  if (config.frontier_sleep_mode == 0) return;
  out.append("\t\t<frontier");
  append_number(out, "sleep_mode", config.frontier_sleep_mode);
  append_number(out, "mode", config.frontier_mode);
  append_number(out, "nb_queues", config.nb_queues);
  append_number(out, "sleep_interval", config.sleep_interval_seconds);
  out.append("/>\n");
}

void write_limits(const config_values& config, std::string& out) {
  if (config.timeout_wait_ms >= 0) {
    out.append("\t\t<timeout");
    append_number(out, "wait", config.timeout_wait_ms);
    out.append("/>\n");
  }
  if (config.quota_mbytes >= 0 || config.quota_files >= 0) {
    out.append("\t\t<quota");
    append_number_if_given(out, "mbytes", config.quota_mbytes);
    append_number_if_given(out, "files", config.quota_files);
    out.append("/>\n");
  }
  if (config.retries_wait_ms >= 0 || config.retries >= 0) {
    out.append("\t\t<retries");
    append_number_if_given(out, "wait", config.retries_wait_ms);
    append_number_if_given(out, "num", config.retries);
    out.append("/>\n");
  }
}

void write_manners(const config_values& config, std::string& out) {
  out.append("\t\t<search-mode");
  append_flag(out, "depth-first", config.depth_first);
  out.append("/>\n\t\t<robot");
  append_flag(out, "honor", config.honor_robots);
  out.append("/>\n");
  if (config.user_agent.empty()) return;
  out.append("\t\t<user-agent");
  append_text(out, "name", config.user_agent);
  out.append("/>\n");
}

void write_substitutions(const config_values& config, std::string& out) {
  if (config.substitutions.empty()) return;
  begin_list(out, "url-substitutions");
  for (const config_substitution& row : config.substitutions) {
    out.append("\t\t\t<substitution");
    append_text(out, "src-pattern", row.source);
    append_text(out, "dst-pattern", row.target);
    out.append("/>\n");
  }
  end_list(out, "url-substitutions");
}

void write_credentials(const config_values& config, std::string& out) {
  if (config.credentials.empty()) return;
  begin_list(out, "credentials");
  for (const config_credential& row : config.credentials) {
    out.append("\t\t\t<credential");
    append_text(out, "site", row.site);
    append_text(out, "user", row.user);
    append_text(out, "pass", config.strict_safety ? "***" : row.password);
    out.append("/>\n");
  }
  end_list(out, "credentials");
}

// There are as many rows as there are credentials; rows without a cookie have empty values.
void write_cookies(const config_values& config, std::string& out) {
  if (config.cookies.empty()) return;
  static const config_cookie NO_COOKIE;
  begin_list(out, "cookies");
  for (size_t i = 0; i < config.credentials.size(); ++i) {
    const config_cookie& row = i < config.cookies.size() ? config.cookies[i] : NO_COOKIE;
    out.append("\t\t\t<cookie");
    append_text(out, "domain", row.domain);
    append_text(out, "path", row.path);
    append_text(out, "name", row.name);
    append_text(out, "data", row.data);
    out.append("/>\n");
  }
  end_list(out, "cookies");
}

// The directory is called "file" here and "dir" when read: it does not come back from a written
// profile. The element stands one tab deeper than its neighbours.
void write_checkpoint(const config_values& config, std::string& out) {
  if (config.checkpoint_interval_seconds == 0 || config.checkpoint_directory.empty()) return;
  out.append("\t\t\t<checkpoint");
  append_number(out, "interval", config.checkpoint_interval_seconds);
  append_text(out, "file", config.checkpoint_directory);
  out.append("/>\n");
}

}  // namespace

void write_config(CrawlerConfig& config, std::string& out) {
  const std::lock_guard guard(config.lock);
  out.assign(HEAD);
  write_profile_tag(config, out);
  write_text_list(out, "seed-urls", "url", "name", config.seed_urls);
  write_filter_lists(config, out);
  write_proxy_and_log(config, out);
  write_store(config, out);
  write_frontier(config, out);
  write_limits(config, out);
  write_manners(config, out);
  write_substitutions(config, out);
  write_credentials(config, out);
  write_cookies(config, out);
  write_checkpoint(config, out);
  out.append("\t</crawler>\n</crawlers>\n");
}

}  // namespace wk
