#include "crawler/config/config_elements.h"

#include <string_view>
#include <type_traits>
#include <utility>

#include "wkstd/error.h"
#include "wkstd/text.h"

namespace wk {
namespace {

bool is_true(std::string_view value) {
  return value == "true" || value == "1" || value == "yes" || value == "on";
}

// The setter of a plain field; the field's own type says how the value is read.
template <auto FIELD>
void set_field(profile_reading& reading, const std::string& value) {
  auto& field = reading.config.*FIELD;
  using field_type = std::remove_reference_t<decltype(field)>;
  if constexpr (std::is_same_v<field_type, bool>) {
    field = is_true(value);
  } else if constexpr (std::is_same_v<field_type, int32_t>) {
    field = parse_integer(value);
  } else {
    field = value;
  }
}

template <auto FIELD>
constexpr config_attribute make_attribute(const char* name) {
  using field_type = std::remove_reference_t<decltype(std::declval<config_values&>().*FIELD)>;
  config_value_type type = CONFIG_TEXT;
  if (std::is_same_v<field_type, bool>) type = CONFIG_BOOLEAN;
  if (std::is_same_v<field_type, int32_t>) type = CONFIG_INTEGER;
  return {name, type, false, set_field<FIELD>};
}

constexpr config_attribute make_required(const char* name) {
  return {name, CONFIG_TEXT, true, nullptr};
}
constexpr config_attribute make_optional(const char* name, config_value_type type) {
  return {name, type, false, nullptr};
}

// Setters with a rule of their own.

void set_type(profile_reading& reading, const std::string& value) {
  if (value == "rss") reading.config.is_rss = true;
}

void set_canonical_urls(profile_reading& reading, const std::string& value) {
  reading.config.canonical_urls = parse_integer(value) != 0;
}

void set_nb_queues(profile_reading& reading, const std::string& value) {
  reading.config.nb_queues = parse_integer(value);
  if (reading.config.nb_queues <= 0) {
    report_fatal_error("frontier's nb_queues should be > 0.\n");
  }
}

// The words are looked for as parts of the text, so "nonesuch" too means none.
void set_log_filter(profile_reading& reading, const std::string& value) {
  const auto holds = [&value](std::string_view word) {
    return value.find(word) != std::string::npos;
  };
  if (holds("none")) {
    reading.config.log_filter = 0;
  } else if (!holds("default")) {
    reading.config.log_filter =
        (holds("status") ? 1 : 0) | (holds("warning") ? 2 : 0) | (holds("error") ? 4 : 0);
  }
}

// Lists.

template <auto LIST>
void clear_list(profile_reading& reading) {
  (reading.config.*LIST).clear();
}

template <auto LIST>
void add_text(profile_reading& reading, config_entry entry) {
  (reading.config.*LIST).push_back(std::move(*entry[0]));
}

void clear_seeds(profile_reading& reading) {
  reading.config.seed_urls.clear();
  reading.config.max_guest_pages.clear();
  reading.site_max_nums.clear();
}

// The limit that is kept is the highest index allowed, so it is one below the number of pages.
void add_seed(profile_reading& reading, config_entry entry) {
  const int32_t nb_pages = entry[2].has_value() ? parse_integer(*entry[2]) : 0;
  reading.config.seed_urls.push_back(std::move(*entry[0]));
  reading.site_max_nums.push_back(entry[1].has_value() ? parse_integer(*entry[1]) : 0);
  reading.config.max_guest_pages.push_back(nb_pages > 0 ? nb_pages - 1 : NO_GUEST_PAGE_LIMIT);
}

void add_credential(profile_reading& reading, config_entry entry) {
  reading.config.credentials.push_back(
      {std::move(*entry[0]), std::move(*entry[1]), std::move(*entry[2])});
}

void add_substitution(profile_reading& reading, config_entry entry) {
  reading.config.substitutions.push_back({std::move(*entry[0]), std::move(*entry[1])});
}

void add_cookie(profile_reading& reading, config_entry entry) {
  reading.config.cookies.push_back({std::move(*entry[0]), std::move(entry[1]).value_or("/"),
                                    std::move(*entry[2]), std::move(*entry[3])});
}

// The tables.

using values = config_values;

constexpr config_attribute PROFILE_ATTRIBUTES[] = {
    make_attribute<&values::nb_spiders>("nb-spiders"),
    make_attribute<&values::convert_content>("convert-content"),
    make_attribute<&values::admin_port>("admin-port"),
    make_attribute<&values::admin_address>("admin-address"),
    make_attribute<&values::forever_mode>("forever-mode"),
    make_attribute<&values::admin_thread_sleep_time_ms>("admin-thread-sleep-time"),
    make_attribute<&values::stop_when_empty>("stop-when-empty"),
    {"type", CONFIG_TEXT, false, set_type},
};

constexpr config_attribute SEED_ENTRY[] = {
    make_required("name"),
    make_optional("site_max_num", CONFIG_INTEGER),
    make_optional("max-guest-pages", CONFIG_INTEGER),
};
constexpr config_attribute NAME_ENTRY[] = {make_required("name")};
constexpr config_attribute REGEX_ENTRY[] = {make_required("expr")};
constexpr config_attribute CREDENTIAL_ENTRY[] = {
    make_required("site"),
    make_required("user"),
    make_required("pass"),
};
constexpr config_attribute SUBSTITUTION_ENTRY[] = {
    make_required("src-pattern"),
    make_required("dst-pattern"),
};
constexpr config_attribute COOKIE_ENTRY[] = {
    make_required("domain"),
    make_optional("path", CONFIG_TEXT),
    make_required("name"),
    make_required("data"),
};
static_assert(std::size(COOKIE_ENTRY) <= MAX_ENTRY_ATTRIBUTES);

constexpr config_attribute DISABLE_ALL_COOKIES[] = {
    make_attribute<&values::all_cookies_mode>("mode"),
};
constexpr config_attribute LOG[] = {
    make_attribute<&values::log_name>("name"),
    make_attribute<&values::log_append>("append"),
    {"filter", CONFIG_TEXT, false, set_log_filter},
};
constexpr config_attribute FRONTIER[] = {
    make_attribute<&values::frontier_sleep_mode>("sleep_mode"),
    make_attribute<&values::frontier_mode>("mode"),
    make_attribute<&values::sleep_interval_seconds>("sleep_interval"),
    {"nb_queues", CONFIG_INTEGER, false, set_nb_queues},
    make_attribute<&values::queue_buffer_size>("queue_buffer_size"),
};
constexpr config_attribute DUE[] = {make_attribute<&values::disk_cache_size>("disk_cache_size")};
constexpr config_attribute PORTAL_LIST[] = {make_attribute<&values::portal_list_url>("url")};
constexpr config_attribute HTTP_PROXY[] = {make_attribute<&values::http_proxy>("server")};
constexpr config_attribute NBTHREADS[] = {make_attribute<&values::nb_spiders>("nb")};
constexpr config_attribute PARSE_JAVASCRIPT_FLASH[] = {
    make_attribute<&values::parse_javascript_flash>("enable"),
};
constexpr config_attribute HYPERLINK_EXTRACTION[] = {
    make_attribute<&values::hyperlink_extraction_off>("disable"),
};
constexpr config_attribute NEWS_PIPELINE_MODE[] = {
    make_attribute<&values::news_pipeline_enabled>("enable"),
    make_attribute<&values::news_pipeline_port>("port"),
    make_attribute<&values::news_pipeline_raw>("raw"),
    make_attribute<&values::news_pipeline_host>("hostname"),
};
constexpr config_attribute STORE[] = {
    make_attribute<&values::store_name>("name"),
    make_attribute<&values::temp_data_path>("temp_data_path"),
    make_attribute<&values::status_file_path>("status_file_path"),
    make_attribute<&values::link_file_path>("link_file_path"),
    make_attribute<&values::store_mbytes>("mbytes"),
    make_attribute<&values::store_files>("files"),
};
constexpr config_attribute QUOTA[] = {
    make_attribute<&values::quota_mbytes>("mbytes"),
    make_attribute<&values::quota_files>("files"),
};
constexpr config_attribute TIMEOUT[] = {make_attribute<&values::timeout_wait_ms>("wait")};
constexpr config_attribute RETRIES[] = {
    make_attribute<&values::retries>("num"),
    make_attribute<&values::retries_wait_ms>("wait"),
};
constexpr config_attribute SEARCH_MODE[] = {make_attribute<&values::depth_first>("depth-first")};
constexpr config_attribute ROBOT[] = {make_attribute<&values::honor_robots>("honor")};
constexpr config_attribute USER_AGENT[] = {make_attribute<&values::user_agent>("name")};
constexpr config_attribute CHECKPOINT[] = {
    make_attribute<&values::checkpoint_directory>("dir"),
    make_attribute<&values::checkpoint_interval_seconds>("interval"),
};
constexpr config_attribute CANONICAL_URLS[] = {
    {"enable", CONFIG_INTEGER, false, set_canonical_urls},
};
constexpr config_attribute SAFETY[] = {make_attribute<&values::strict_safety>("strict")};

constexpr config_element make_element(const char* name,
                                      std::span<const config_attribute> attributes) {
  return {name, attributes, nullptr, {}, nullptr, nullptr};
}

template <auto LIST>
constexpr config_element make_text_list(const char* name, const char* entry_name,
                                        std::span<const config_attribute> entry) {
  return {name, {}, entry_name, entry, clear_list<LIST>, add_text<LIST>};
}

constexpr config_element ELEMENTS[] = {
    {"seed-urls", {}, "url", SEED_ENTRY, clear_seeds, add_seed},
    make_text_list<&values::restricted_urls>("restricted-urls", "url", NAME_ENTRY),
    make_text_list<&values::excluded_urls>("excluded-urls", "url", NAME_ENTRY),
    make_text_list<&values::restricted_extensions>("restricted-extensions", "extension",
                                                   NAME_ENTRY),
    make_text_list<&values::excluded_extensions>("excluded-extensions", "extension", NAME_ENTRY),
    make_text_list<&values::restricted_regexes>("restricted-regexes", "regex", REGEX_ENTRY),
    make_text_list<&values::excluded_regexes>("excluded-regexes", "regex", REGEX_ENTRY),
    {"credentials",
     {},
     "credential",
     CREDENTIAL_ENTRY,
     clear_list<&values::credentials>,
     add_credential},
    {"url-substitutions",
     {},
     "substitution",
     SUBSTITUTION_ENTRY,
     clear_list<&values::substitutions>,
     add_substitution},
    {"cookies", {}, "cookie", COOKIE_ENTRY, clear_list<&values::cookies>, add_cookie},
    make_text_list<&values::disabled_cookie_sites>("disable-cookies", "url", NAME_ENTRY),
    make_element("disable-all-cookies", DISABLE_ALL_COOKIES),
    make_element("log", LOG),
    make_element("frontier", FRONTIER),
    make_element("due", DUE),
    make_element("portal-list", PORTAL_LIST),
    make_element("http-proxy", HTTP_PROXY),
    make_element("nbthreads", NBTHREADS),
    make_element("parse-javascript-flash", PARSE_JAVASCRIPT_FLASH),
    make_element("hyperlink-extraction", HYPERLINK_EXTRACTION),
    make_element("news-pipeline-mode", NEWS_PIPELINE_MODE),
    make_element("store", STORE),
    make_element("quota", QUOTA),
    make_element("timeout", TIMEOUT),
    make_element("retries", RETRIES),
    make_element("search-mode", SEARCH_MODE),
    make_element("robot", ROBOT),
    make_element("user-agent", USER_AGENT),
    make_element("checkpoint", CHECKPOINT),
    make_element("canonical-urls", CANONICAL_URLS),
    make_element("safety", SAFETY),
};

}  // namespace

std::span<const config_attribute> get_config_profile_attributes() { return PROFILE_ATTRIBUTES; }
std::span<const config_element> get_config_elements() { return ELEMENTS; }

}  // namespace wk
