#include "crawler/config/config_elements.h"

#include <algorithm>
#include <string_view>
#include <type_traits>
#include <utility>

#include "wkstd/error.h"
#include "wkstd/text.h"

namespace wk {
namespace {

bool is_true(std::string_view value) {
  return std::find(TRUE_WORDS.begin(), TRUE_WORDS.end(), value) != TRUE_WORDS.end();
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

// What the manual says of a number, a switch or a text.
struct manual_text {
  const char* default_value;
  const char* effect;
  const char* unit = "";
};

template <auto FIELD>
constexpr config_attribute make_attribute(const char* name, manual_text text) {
  using field_type = std::remove_reference_t<decltype(std::declval<config_values&>().*FIELD)>;
  config_value_type type = CONFIG_TEXT;
  if (std::is_same_v<field_type, bool>) type = CONFIG_BOOLEAN;
  if (std::is_same_v<field_type, int32_t>) type = CONFIG_INTEGER;
  return {name, type, false, set_field<FIELD>, text.default_value, text.unit, text.effect};
}

template <auto FIELD>
constexpr config_attribute make_path(const char* name, config_value_type type, const char* effect) {
  return {name, type, false, set_field<FIELD>, "", "", effect};
}

template <auto FIELD>
constexpr config_attribute make_interval(const char* name, manual_text text) {
  return {name,      CONFIG_INTERVAL, false, set_field<FIELD>, text.default_value,
          text.unit, text.effect};
}

constexpr config_attribute make_special(const char* name, config_value_type type,
                                        void (*set)(profile_reading&, const std::string&),
                                        manual_text text) {
  return {name, type, false, set, text.default_value, text.unit, text.effect};
}

constexpr config_attribute make_required(const char* name, const char* effect) {
  return {name, CONFIG_TEXT, true, nullptr, "", "", effect};
}
constexpr config_attribute make_pattern(const char* name, const char* effect) {
  return {name, CONFIG_PATTERN, true, nullptr, "", "", effect};
}
constexpr config_attribute make_optional(const char* name, config_value_type type,
                                         manual_text text) {
  return {name, type, false, nullptr, text.default_value, text.unit, text.effect};
}

// Setters with a rule of their own.

// A profile is chosen by its name before it is read.
void set_nothing(profile_reading& /*reading*/, const std::string& /*value*/) {}

void set_type(profile_reading& reading, const std::string& value) {
  if (value == "rss") reading.config.is_rss = true;
}

void set_admin_hosts(profile_reading& reading, const std::string& value) {
  std::vector<std::string>& hosts = reading.config.admin_hosts;
  hosts.assign(1, {});
  for (const char c : value) {
    if (!is_blank(static_cast<unsigned char>(c))) {
      hosts.back().push_back(c);
    } else if (!hosts.back().empty()) {
      hosts.emplace_back();
    }
  }
  if (hosts.back().empty()) hosts.pop_back();
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
    make_special("name", CONFIG_TEXT, set_nothing,
                 {"", "what `-crawler-name` chooses the profile by"}),
    make_attribute<&values::nb_spiders>(
        "nb-spiders", {"1", "threads that fetch pages; none: no crawl", "threads"}),
    make_attribute<&values::convert_content>(
        "convert-content", {"true", "kept with the profile; the crawl does not look at it"}),
    make_attribute<&values::admin_port>(
        "admin-port",
        {"8000", "port of the administration server; -1: no server, 0: any free port"}),
    make_attribute<&values::admin_address>(
        "admin-address",
        {"", "address that the server listens on; none: loopback, `0.0.0.0`: all"}),
    make_special("admin-hosts", CONFIG_TEXT, set_admin_hosts,
                 {"", "further names that the server may be asked by, with blanks between"}),
    make_attribute<&values::forever_mode>(
        "forever-mode",
        {"0", "not 0: neither a full quota nor an empty horizon ends the crawl", "switch"}),
    make_attribute<&values::admin_thread_sleep_time_ms>(
        "admin-thread-sleep-time",
        {"10000", "time between two looks at quota, horizon and checkpoint; below 100: none",
         "milliseconds"}),
    make_attribute<&values::stop_when_empty>(
        "stop-when-empty", {"false", "end the crawl when no URL is left and no page in work"}),
    make_special("type", CONFIG_TEXT, set_type,
                 {"", "`rss`: links are taken from feeds alone; everything else is ignored"}),
};

constexpr config_attribute SEED_ENTRY[] = {
    make_required("name", "the URL"),
    make_optional("site_max_num", CONFIG_INTEGER,
                  {"0", "most pages fetched of this URL's host; 0: no limit", "pages"}),
    make_optional("max-guest-pages", CONFIG_INTEGER,
                  {"0", "most pages of this seed's site that are stored; 0: no limit", "pages"}),
};
constexpr config_attribute URL_PATTERN_ENTRY[] = {
    make_pattern("name", "regular expression (RE2) that the URL begins with"),
};
constexpr config_attribute EXTENSION_ENTRY[] = {
    make_pattern("name", "the extension without its dot, a regular expression (RE2)"),
};
constexpr config_attribute SITE_ENTRY[] = {make_required("name", "the site's domain")};
constexpr config_attribute REGEX_ENTRY[] = {
    make_pattern("expr", "regular expression (RE2) that the whole URL matches"),
};
constexpr config_attribute CREDENTIAL_ENTRY[] = {
    make_required("site", "the site, as `www.example.org` or with the begin of a path"),
    make_required("user", "the user's name"),
    make_required("pass", "the password, in plain text"),
};
constexpr config_attribute SUBSTITUTION_ENTRY[] = {
    make_pattern("src-pattern", "regular expression (RE2) that is looked for in a link"),
    make_required("dst-pattern", "what its first match becomes; `\\0` to `\\9` are groups"),
};
constexpr config_attribute COOKIE_ENTRY[] = {
    make_required("domain", "domain of the sites that get the cookie"),
    make_optional("path", CONFIG_TEXT, {"/", "begin of the paths that get it"}),
    make_required("name", "the cookie's name"),
    make_required("data", "its value"),
};
static_assert(std::size(COOKIE_ENTRY) <= MAX_ENTRY_ATTRIBUTES);

constexpr config_attribute DISABLE_ALL_COOKIES[] = {
    make_attribute<&values::all_cookies_mode>(
        "mode", {"0", "not 0: no cookie is sent or stored", "switch"}),
};
constexpr config_attribute LOG[] = {
    make_path<&values::log_name>("name", CONFIG_FILE, "the log's file; none: no log"),
    make_attribute<&values::log_append>(
        "append", {"false", "write behind what the file holds; otherwise it is emptied"}),
    make_special("filter", CONFIG_TEXT, set_log_filter,
                 {"default",
                  "kinds of records, any of `status warning error`; `none`: no record, "
                  "`default`: all"}),
};
constexpr config_attribute FRONTIER[] = {
    make_attribute<&values::frontier_sleep_mode>(
        "sleep_mode", {"0",
                       "not 0: a spider takes no second look at the time of a URL; queues keep "
                       "`sleep_interval` all the same",
                       "switch"}),
    make_attribute<&values::frontier_mode>(
        "mode", {"0", "2: 100 queues of 1000 URLs, whatever else is said; no other has an effect"}),
    make_interval<&values::sleep_interval_seconds>(
        "sleep_interval",
        {"60", "time between two URLs of one queue, and so between two pages of one host",
         "seconds"}),
    make_special("nb_queues", CONFIG_INTEGER, set_nb_queues,
                 {"100", "queues that hosts are spread over; must be above 0", "queues"}),
    make_attribute<&values::queue_buffer_size>(
        "queue_buffer_size",
        {"1000", "URLs that a queue keeps in memory at each of its ends", "URLs"}),
};
constexpr config_attribute DUE[] = {
    make_attribute<&values::disk_cache_size>(
        "disk_cache_size",
        {"100000000", "size of the filter that stands before the list of known URLs", "bits"}),
};
constexpr config_attribute PORTAL_LIST[] = {
    make_attribute<&values::portal_list_url>(
        "url", {"", "a seed whose links are followed even where links are not extracted"}),
};
constexpr config_attribute HTTP_PROXY[] = {
    make_attribute<&values::http_proxy>(
        "server", {"", "`host:port` of the proxy for every request; the variable HTTP_PROXY wins"}),
};
constexpr config_attribute NBTHREADS[] = {
    make_attribute<&values::nb_spiders>(
        "nb", {"", "the same number as `nb-spiders`, over which it wins", "threads"}),
};
constexpr config_attribute PARSE_JAVASCRIPT_FLASH[] = {
    make_attribute<&values::parse_javascript_flash>(
        "enable", {"0", "not 0: links of scripts and Flash movies are followed too", "switch"}),
};
constexpr config_attribute HYPERLINK_EXTRACTION[] = {
    make_attribute<&values::hyperlink_extraction_off>(
        "disable", {"0", "not 0: no links are taken from pages", "switch"}),
};
constexpr config_attribute NEWS_PIPELINE_MODE[] = {
    make_attribute<&values::news_pipeline_enabled>(
        "enable", {"0", "not 0: documents go to the pipeline instead of the store", "switch"}),
    make_attribute<&values::news_pipeline_port>("port", {"0", "port of the pipeline's server"}),
    make_attribute<&values::news_pipeline_raw>(
        "raw", {"0", "not 0: contents are sent in base64, with their type", "switch"}),
    make_attribute<&values::news_pipeline_host>("hostname", {"", "host of the pipeline's server"}),
};
constexpr config_attribute STORE[] = {
    make_path<&values::store_name>(
        "name", CONFIG_DIRECTORY,
        "directory of the store files, which a crawl empties of files; none: nothing is stored"),
    make_path<&values::temp_data_path>(
        "temp_data_path", CONFIG_DIRECTORY,
        "directory of the crawler's working files, which a crawl empties of files; none: `name`"),
    make_path<&values::status_file_path>("status_file_path", CONFIG_FILE,
                                         "file that gets a line for each page; none: not written"),
    make_path<&values::link_file_path>(
        "link_file_path", CONFIG_FILE_BASE,
        "what the names of the link files begin with, before `.1`, `.2`; none: not written"),
    make_attribute<&values::store_mbytes>(
        "mbytes", {"-1", "most megabytes of one store file; -1: no limit", "MiB"}),
    make_attribute<&values::store_files>(
        "files", {"-1", "most documents of one store file; -1: no limit", "documents"}),
};
constexpr config_attribute QUOTA[] = {
    make_attribute<&values::quota_mbytes>(
        "mbytes", {"-1", "megabytes stored that end the crawl; -1: no limit", "MiB"}),
    make_attribute<&values::quota_files>(
        "files", {"-1", "documents stored that end the crawl; -1: no limit", "documents"}),
};
constexpr config_attribute TIMEOUT[] = {
    make_attribute<&values::timeout_wait_ms>(
        "wait",
        {"-1", "given to every request; the built-in client waits 15 seconds, whatever it says",
         "milliseconds"}),
};
constexpr config_attribute RETRIES[] = {
    make_attribute<&values::retries>(
        "num",
        {"0", "how often more than twice a page is tried that could not be had", "attempts"}),
    make_attribute<&values::retries_wait_ms>(
        "wait", {"-1", "time between two attempts; -1: none", "milliseconds"}),
};
constexpr config_attribute SEARCH_MODE[] = {
    make_attribute<&values::depth_first>(
        "depth-first", {"true", "order that the horizon is offered; today's horizon has only one"}),
};
constexpr config_attribute ROBOT[] = {
    make_attribute<&values::honor_robots>("honor", {"true", "obey the sites' robots.txt"}),
};
constexpr config_attribute USER_AGENT[] = {
    make_attribute<&values::user_agent>(
        "name", {"__WENDRAKE_WEB_CRAWLER__",
                 "the User-Agent of requests; robots files know its first word"}),
};
constexpr config_attribute CHECKPOINT[] = {
    make_path<&values::checkpoint_directory>(
        "dir", CONFIG_DIRECTORY, "directory of the checkpoint; nothing else may stand in it"),
    make_interval<&values::checkpoint_interval_seconds>(
        "interval", {"0", "time between two checkpoints; 0: only those asked for", "seconds"}),
};
constexpr config_attribute CANONICAL_URLS[] = {
    make_special("enable", CONFIG_INTEGER, set_canonical_urls,
                 {"0",
                  "not 0: URLs lose fragment and default port and get `/` for an empty path, so "
                  "that a page counts once",
                  "switch"}),
};
constexpr config_attribute SAFETY[] = {
    make_attribute<&values::strict_safety>(
        "strict",
        {"false",
         "redirects pass filter and robots file, credentials and cookies go to their own site "
         "alone, the log hides passwords; a restricting list without a valid entry ends the "
         "start"}),
};

constexpr config_element make_element(const char* name, const char* effect,
                                      std::span<const config_attribute> attributes) {
  return {name, effect, attributes, nullptr, {}, nullptr, nullptr};
}

template <auto LIST>
constexpr config_element make_text_list(const char* name, const char* effect,
                                        const char* entry_name,
                                        std::span<const config_attribute> entry) {
  return {name, effect, {}, entry_name, entry, clear_list<LIST>, add_text<LIST>};
}

template <auto LIST>
constexpr config_element make_filter_list(url_filter_side side, url_filter_kind kind,
                                          const char* name, const char* effect,
                                          const char* entry_name,
                                          std::span<const config_attribute> entry) {
  config_element element = make_text_list<LIST>(name, effect, entry_name, entry);
  element.filter_kind = kind;
  element.restricts = side == URL_FILTER_RESTRICTED;
  return element;
}

constexpr config_element ELEMENTS[] = {
    {"seed-urls",
     "The URLs that the crawl begins with.",
     {},
     "url",
     SEED_ENTRY,
     clear_seeds,
     add_seed},
    make_filter_list<&values::restricted_urls>(
        URL_FILTER_RESTRICTED, URL_FILTER_URL, "restricted-urls",
        "URLs that may be crawled. When any restricting list has an entry, a URL must match an "
        "entry of one of them. Entries that are no expression are left out.",
        "url", URL_PATTERN_ENTRY),
    make_filter_list<&values::excluded_urls>(URL_FILTER_EXCLUDED, URL_FILTER_URL, "excluded-urls",
                                             "URLs that are not crawled.", "url",
                                             URL_PATTERN_ENTRY),
    make_filter_list<&values::restricted_extensions>(
        URL_FILTER_RESTRICTED, URL_FILTER_EXTENSION, "restricted-extensions",
        "File extensions that may be crawled.", "extension", EXTENSION_ENTRY),
    make_filter_list<&values::excluded_extensions>(
        URL_FILTER_EXCLUDED, URL_FILTER_EXTENSION, "excluded-extensions",
        "File extensions that are not crawled.", "extension", EXTENSION_ENTRY),
    make_filter_list<&values::restricted_regexes>(URL_FILTER_RESTRICTED, URL_FILTER_REGEX,
                                                  "restricted-regexes", "URLs that may be crawled.",
                                                  "regex", REGEX_ENTRY),
    make_filter_list<&values::excluded_regexes>(URL_FILTER_EXCLUDED, URL_FILTER_REGEX,
                                                "excluded-regexes", "URLs that are not crawled.",
                                                "regex", REGEX_ENTRY),
    {"credentials",
     "Names and passwords for sites that ask for Basic authentication.",
     {},
     "credential",
     CREDENTIAL_ENTRY,
     clear_list<&values::credentials>,
     add_credential},
    {"url-substitutions",
     "Rewrites links; the first pair that matches is the one.",
     {},
     "substitution",
     SUBSTITUTION_ENTRY,
     clear_list<&values::substitutions>,
     add_substitution},
    {"cookies",
     "Cookies that the crawl starts with and keeps.",
     {},
     "cookie",
     COOKIE_ENTRY,
     clear_list<&values::cookies>,
     add_cookie},
    make_text_list<&values::disabled_cookie_sites>(
        "disable-cookies", "Sites that neither get nor leave cookies.", "url", SITE_ENTRY),
    make_element("disable-all-cookies", "Switches cookies off.", DISABLE_ALL_COOKIES),
    make_element("log", "The crawl log.", LOG),
    make_element("frontier", "The order and pace of fetching.", FRONTIER),
    make_element("due", "The horizon's memory of URLs.", DUE),
    make_element("portal-list", "A page that lists sites.", PORTAL_LIST),
    make_element("http-proxy", "A proxy between the crawler and all sites.", HTTP_PROXY),
    make_element("nbthreads", "The number of spiders, said another way.", NBTHREADS),
    make_element("parse-javascript-flash", "Links of scripts and movies.", PARSE_JAVASCRIPT_FLASH),
    make_element("hyperlink-extraction", "Links of pages.", HYPERLINK_EXTRACTION),
    make_element("news-pipeline-mode", "A server that takes documents as they come.",
                 NEWS_PIPELINE_MODE),
    make_element("store", "Where documents and lists go.", STORE),
    make_element("quota", "What ends the crawl.", QUOTA),
    make_element("timeout", "Waiting for servers.", TIMEOUT),
    make_element("retries", "Trying again.", RETRIES),
    make_element("search-mode", "The order of the horizon.", SEARCH_MODE),
    make_element("robot", "Robots files.", ROBOT),
    make_element("user-agent", "The crawler's name to sites.", USER_AGENT),
    make_element("checkpoint", "Copies of the crawl's state, for `-restore`.", CHECKPOINT),
    make_element("canonical-urls", "One spelling of one page.", CANONICAL_URLS),
    make_element("safety", "What a hostile or careless site may cause.", SAFETY),
};

}  // namespace

std::span<const config_attribute> get_config_profile_attributes() { return PROFILE_ATTRIBUTES; }
std::span<const config_element> get_config_elements() { return ELEMENTS; }

}  // namespace wk
