#include "crawler/config/config_text.h"

#include <charconv>
#include <span>
#include <type_traits>
#include <utility>

namespace wk {
namespace {

using columns = std::vector<std::string>;

// One field of the record: how its lines are made, and what a line does to it.
struct text_field {
  const char* name;
  void (*append)(const text_field& field, const config_values& config, std::string& out);
  bool (*take)(config_values& config, columns& row);
};

void append_escaped(std::string& out, std::string_view value) {
  for (const char c : value) {
    if (c == '\\') {
      out.append("\\\\");
    } else if (c == '\n') {
      out.append("\\n");
    } else if (c == '\t') {
      out.append("\\t");
    } else {
      out.push_back(c);
    }
  }
}

void append_line(std::string& out, const text_field& field,
                 std::initializer_list<std::string_view> row) {
  out.append(field.name);
  char separator = ' ';
  for (const std::string_view column : row) {
    out.push_back(separator);
    append_escaped(out, column);
    separator = '\t';
  }
  out.push_back('\n');
}

// Cuts a value at its tabs and takes the escapes back. False for an unknown escape.
bool split_row(std::string_view value, columns& row) {
  row.assign(1, {});
  for (size_t i = 0; i < value.size(); ++i) {
    if (value[i] == '\t') {
      row.emplace_back();
    } else if (value[i] != '\\') {
      row.back().push_back(value[i]);
    } else if (++i < value.size() && (value[i] == '\\' || value[i] == 'n' || value[i] == 't')) {
      row.back().push_back(value[i] == 'n' ? '\n' : (value[i] == 't' ? '\t' : '\\'));
    } else {
      return false;
    }
  }
  return true;
}

template <typename number>
bool take_number(const std::string& text, number& value) {
  const char* end = text.data() + text.size();
  const auto [stopped, fault] = std::from_chars(text.data(), end, value);
  return fault == std::errc() && stopped == end;
}

// The forms of a field: a text, a number, a switch; or a list of texts or numbers.

bool take_value(std::string& value, columns& row) {
  value = std::move(row[0]);
  return true;
}

bool take_value(int32_t& value, columns& row) { return take_number(row[0], value); }

bool take_value(bool& value, columns& row) {
  value = row[0] == "1";
  return value || row[0] == "0";
}

template <typename element>
bool take_value(std::vector<element>& values, columns& row) {
  return take_value(values.emplace_back(), row);
}

void append_value(const text_field& field, const std::string& value, std::string& out) {
  append_line(out, field, {value});
}

void append_value(const text_field& field, int32_t value, std::string& out) {
  append_line(out, field, {std::to_string(value)});
}

template <typename element>
void append_value(const text_field& field, const std::vector<element>& values, std::string& out) {
  for (const element& value : values) append_value(field, value, out);
}

template <auto FIELD>
constexpr text_field make_field(const char* name) {
  return {name,
          [](const text_field& field, const config_values& config, std::string& out) {
            append_value(field, config.*FIELD, out);
          },
          [](config_values& config, columns& row) {
            return row.size() == 1 && take_value(config.*FIELD, row);
          }};
}

// Lists whose rows have several columns.

constexpr text_field SITE_LIMITS = {
    "site-page-limit",
    [](const text_field& field, const config_values& config, std::string& out) {
      for (const auto& [key, limit] : config.site_page_limits) {
        append_line(out, field, {std::to_string(key), std::to_string(limit)});
      }
    },
    [](config_values& config, columns& row) {
      uint32_t key = 0;
      return row.size() == 2 && take_number(row[0], key) &&
             take_number(row[1], config.site_page_limits[key]);
    }};

constexpr text_field CREDENTIALS = {
    "credential",
    [](const text_field& field, const config_values& config, std::string& out) {
      for (const config_credential& row : config.credentials) {
        append_line(out, field, {row.site, row.user, row.password});
      }
    },
    [](config_values& config, columns& row) {
      if (row.size() != 3) return false;
      config.credentials.push_back({row[0], row[1], row[2]});
      return true;
    }};

constexpr text_field SUBSTITUTIONS = {
    "substitution",
    [](const text_field& field, const config_values& config, std::string& out) {
      for (const config_substitution& row : config.substitutions) {
        append_line(out, field, {row.source, row.target});
      }
    },
    [](config_values& config, columns& row) {
      if (row.size() != 2) return false;
      config.substitutions.push_back({row[0], row[1]});
      return true;
    }};

constexpr text_field COOKIES = {
    "cookie",
    [](const text_field& field, const config_values& config, std::string& out) {
      for (const config_cookie& row : config.cookies) {
        append_line(out, field, {row.domain, row.path, row.name, row.data});
      }
    },
    [](config_values& config, columns& row) {
      if (row.size() != 4) return false;
      config.cookies.push_back({row[0], row[1], row[2], row[3]});
      return true;
    }};

using values = config_values;

constexpr text_field FIELDS[] = {
    make_field<&values::convert_content>("convert-content"),
    make_field<&values::nb_spiders>("nb-spiders"),
    make_field<&values::admin_port>("admin-port"),
    make_field<&values::admin_address>("admin-address"),
    make_field<&values::admin_hosts>("admin-host"),
    make_field<&values::forever_mode>("forever-mode"),
    make_field<&values::admin_thread_sleep_time_ms>("admin-thread-sleep-time"),
    make_field<&values::stop_when_empty>("stop-when-empty"),
    make_field<&values::is_rss>("rss"),
    make_field<&values::seed_urls>("seed-url"),
    make_field<&values::max_guest_pages>("seed-guest-limit"),
    SITE_LIMITS,
    make_field<&values::restricted_urls>("restricted-url"),
    make_field<&values::excluded_urls>("excluded-url"),
    make_field<&values::restricted_extensions>("restricted-extension"),
    make_field<&values::excluded_extensions>("excluded-extension"),
    make_field<&values::restricted_regexes>("restricted-regex"),
    make_field<&values::excluded_regexes>("excluded-regex"),
    CREDENTIALS,
    SUBSTITUTIONS,
    COOKIES,
    make_field<&values::all_cookies_mode>("disable-all-cookies"),
    make_field<&values::disabled_cookie_sites>("disabled-cookie-site"),
    make_field<&values::log_name>("log-name"),
    make_field<&values::log_append>("log-append"),
    make_field<&values::log_filter>("log-filter"),
    make_field<&values::frontier_sleep_mode>("frontier-sleep-mode"),
    make_field<&values::frontier_mode>("frontier-mode"),
    make_field<&values::sleep_interval_seconds>("sleep-interval"),
    make_field<&values::nb_queues>("nb-queues"),
    make_field<&values::queue_buffer_size>("queue-buffer-size"),
    make_field<&values::disk_cache_size>("disk-cache-size"),
    make_field<&values::depth_first>("depth-first"),
    make_field<&values::portal_list_url>("portal-list"),
    make_field<&values::http_proxy>("http-proxy"),
    make_field<&values::timeout_wait_ms>("timeout-wait"),
    make_field<&values::retries>("retries"),
    make_field<&values::retries_wait_ms>("retries-wait"),
    make_field<&values::honor_robots>("honor-robots"),
    make_field<&values::user_agent>("user-agent"),
    make_field<&values::canonical_urls>("canonical-urls"),
    make_field<&values::strict_safety>("strict-safety"),
    make_field<&values::parse_javascript_flash>("parse-javascript-flash"),
    make_field<&values::hyperlink_extraction_off>("hyperlink-extraction-off"),
    make_field<&values::news_pipeline_enabled>("news-pipeline"),
    make_field<&values::news_pipeline_host>("news-pipeline-host"),
    make_field<&values::news_pipeline_port>("news-pipeline-port"),
    make_field<&values::news_pipeline_raw>("news-pipeline-raw"),
    make_field<&values::store_name>("store-name"),
    make_field<&values::temp_data_path>("temp-data-path"),
    make_field<&values::status_file_path>("status-file-path"),
    make_field<&values::link_file_path>("link-file-path"),
    make_field<&values::store_mbytes>("store-mbytes"),
    make_field<&values::store_files>("store-files"),
    make_field<&values::quota_mbytes>("quota-mbytes"),
    make_field<&values::quota_files>("quota-files"),
    make_field<&values::checkpoint_directory>("checkpoint-directory"),
    make_field<&values::checkpoint_interval_seconds>("checkpoint-interval"),
};

bool take_line(std::string_view line, config_values& config) {
  const size_t blank = line.find(' ');
  if (blank == std::string_view::npos) return false;
  columns row;
  if (!split_row(line.substr(blank + 1), row)) return false;
  for (const text_field& field : FIELDS) {
    if (line.substr(0, blank) == field.name) return field.take(config, row);
  }
  return false;
}

}  // namespace

void write_config_text(const config_values& config, std::string& out) {
  out.clear();
  for (const text_field& field : FIELDS) field.append(field, config, out);
}

bool read_config_text(std::string_view text, config_values& config) {
  config_values read;
  while (!text.empty()) {
    const size_t end = text.find('\n');
    if (end == std::string_view::npos || !take_line(text.substr(0, end), read)) return false;
    text.remove_prefix(end + 1);
  }
  config = std::move(read);
  return true;
}

}  // namespace wk
