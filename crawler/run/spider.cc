#include "crawler/run/spider.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "crawler/content/content_class.h"
#include "crawler/content/flash_movie.h"
#include "crawler/content/link_extractor.h"
#include "crawler/fetch/http_date.h"
#include "crawler/fetch/http_fetcher.h"
#include "crawler/url/url_form.h"
#include "crawler/url/url_parts.h"
#include "wkskt/skt_address_memory.h"
#include "wkstd/clock.h"
#include "wkstd/text.h"

namespace wk {
namespace {

constexpr std::string_view URL_FIELDS = "cs-uri s-comment";
constexpr std::string_view LINK_FIELDS = "link-extractor s-comment";

// What a thread of its own needs to crawl; no other thread looks at it.
struct spider {
  Crawler& crawler;
  url_watch& watch;  // of all spiders
  uint32_t number;
  spider_counters& counts;  // its own; others read them
  http_fetcher_ptr fetcher;
  http_fetcher_ptr robots_fetcher;  // for robots files that are wanted while the first one is used
  http_fetcher_ptr script_fetcher;  // for scripts of a page that the first one holds
  link_context_ptr link_context;
  link_list links;

  // The URL in work, and what became of it.
  std::string url;
  uint32_t allowed_time = 0;     // s since 1970; its host may be asked from then on
  uint32_t elapsed_seconds = 0;  // of its fetch
  content_class type = CONTENT_RAW;
  std::string scratch;
};

// A step of a URL's way answers whether the way goes on. Whoever answers DONE has taken the URL out
// of the spider's hands, but after a stop: a URL that a stop cut off stays in them, where a
// checkpoint finds it, and nothing is written about it.
enum step : uint32_t { GO_ON, DONE };

void log_url(spider& self, std::string_view what) {
  self.scratch.assign(self.url).append(what);
  write_log(*self.crawler.log, LOG_STATUS, URL_FIELDS, self.scratch);
}

void log_spider(spider& self, const char* what) {
  write_formatted_log(*self.crawler.log, LOG_STATUS, "s-comment", "Crawler thread %lu %s",
                      static_cast<unsigned long>(self.number), what);
}

void write_status(spider& self) {
  if (self.crawler.status == nullptr) return;
  write_status_file(*self.crawler.status, self.url, self.fetcher->response.status,
                    self.elapsed_seconds);
}

// A redirect or a page's script is a way into a site like any link, and meets the same filter and
// robots rules.
bool may_follow_redirect(std::string_view url, void* context) {
  spider& self = *static_cast<spider*>(context);
  return is_allowed_url_filter(self.crawler.filter, url) &&
         robots_allowed(*self.crawler.robots, url, *self.robots_fetcher) == 1;
}

bool is_cut_by_stop(const spider& self, const http_fetcher& fetcher) {
  return is_stopped(self.crawler.gate) && fetcher.response.trouble == HTTP_STOPPED;
}

step release_url(spider& self) {
  self.crawler.horizon->end_url(*self.crawler.horizon, self.url);
  return DONE;
}

step check_filter(spider& self) {
  if (is_allowed_url_filter(self.crawler.filter, self.url)) return GO_ON;
  log_url(self, "  is forbidden by the url filter");
  count_spider(self.counts.nb_refused_by_filter);
  self.crawler.horizon->refuse_url(*self.crawler.horizon, self.url);
  return DONE;
}

void wait_while_paused(spider& self) {
  if (self.crawler.gate.pause.load(std::memory_order_relaxed) == 0) return;
  set_state_spider(self.counts, SPIDER_PAUSED);
  wait_while_paused_stop_gate(self.crawler.gate);
}

// Waits for the moment from which the URL's host may be asked; no longer than the crawl's interval,
// for a time that lies further ahead is one from before the clock was set back.
step wait_for_host(spider& self) {
  const uint32_t now = get_wall_time_seconds();
  if (self.crawler.waits_for_hosts && now < self.allowed_time) {
    set_state_spider(self.counts, SPIDER_WAITING);
    const uint32_t seconds = std::min(self.allowed_time - now, self.crawler.host_interval_seconds);
    sleep_stop_gate(self.crawler.gate, uint64_t{seconds} * 1000);
  }
  return is_stopped(self.crawler.gate) ? DONE : GO_ON;
}

step check_robots(spider& self) {
  set_state_spider(self.counts, SPIDER_ASKING_ROBOTS);
  if (robots_allowed(*self.crawler.robots, self.url, *self.fetcher) == 1) {
    return is_stopped(self.crawler.gate) ? DONE : GO_ON;
  }
  log_url(self, "  is forbidden by the robots.txt");
  count_spider(self.counts.nb_refused_by_robots);
  return release_url(self);
}

step check_allowance(spider& self) {
  page_allowance& allowance = self.crawler.allowance;
  if (!is_guest_limit_reached_page_allowance(allowance, self.url) &&
      begin_fetch_page_allowance(allowance, self.url)) {
    return GO_ON;
  }
  log_url(self, "  guest pages quota exceeds");
  count_spider(self.counts.nb_refused_by_quota);
  return release_url(self);
}

// What the fetch says of the host that was asked last, the target of a redirect perhaps.
void tell_horizon(spider& self) {
  frontier_ops& horizon = *self.crawler.horizon;
  const http_response& response = self.fetcher->response;
  if (response.has_answered && horizon.tell_answer != nullptr) {
    horizon.tell_answer(horizon, self.url);
  }
  if (response.trouble != HTTP_NO_ADDRESS || horizon.rest_host == nullptr) return;
  const std::string& name = self.fetcher->request.target.host;
  horizon.rest_host(horizon, find_url_host(self.fetcher->current_url),
                    get_missing_time_skt_address(name.c_str(), get_steady_time_us()));
}

// A page that a stop cut off, or that came after it, is not stored and will be fetched again.
step give_up_page(spider& self) {
  cancel_fetch_page_allowance(self.crawler.allowance, self.url);
  return DONE;
}

// Fetches the page and counts how that ended. True when it came.
bool fetch_and_count(spider& self, uint64_t& time_us) {
  set_state_spider(self.counts, SPIDER_FETCHING);
  const uint64_t start_us = get_steady_time_us();
  const bool came = fetch_url(*self.fetcher, self.url, {}, self.elapsed_seconds) == 1;
  time_us = get_steady_time_us() - start_us;
  if (is_cut_by_stop(self, *self.fetcher)) return false;
  count_fetch_spider(self.counts, self.fetcher->response.status, time_us);
  set_state_spider(self.counts, SPIDER_WORKING);
  return came;
}

step fetch_page(spider& self) {
  uint64_t time_us = 0;
  const bool came = fetch_and_count(self, time_us);
  if (is_cut_by_stop(self, *self.fetcher)) return give_up_page(self);
  tell_horizon(self);
  if (came) {
    log_url(self, format_text("  Grabbed page (HTTP CODE %u)", self.fetcher->response.status));
    return GO_ON;
  }
  cancel_fetch_page_allowance(self.crawler.allowance, self.url);
  if (self.fetcher->response.trouble == HTTP_OWN_SERVER) {
    log_url(self, "  leads to an administration of this machine and is not asked for");
  }
  if (self.fetcher->response.status == 0) {
    log_url(self, "  Didn't download (NO HTTP CODE AVAILABLE)");
  } else {
    self.elapsed_seconds = static_cast<uint32_t>(time_us / 1'000'000) + 1;
    log_url(self, format_text("  Didn't download (HTTP CODE %u)", self.fetcher->response.status));
    write_status(self);
  }
  return release_url(self);
}

std::string_view get_content_type(const spider& self) {
  const std::string* value = find_http_headers(self.fetcher->response.headers, "Content-Type");
  return value == nullptr ? std::string_view() : std::string_view(*value);
}

// Once a stop is set nothing more is stored, so nothing may be entered as seen either.
step drop_known_content(spider& self) {
  if (is_stopped(self.crawler.gate)) return give_up_page(self);
  const std::string& body = self.fetcher->response.body;
  self.type = get_content_class(get_content_type(self));
  const content_digest digest =
      self.type == CONTENT_RAW ? compute_body_digest(body) : compute_page_digest(body);
  if (!test_and_enter_digest_table(*self.crawler.digests, digest)) return GO_ON;
  log_url(self, "  Seen this content before");
  count_spider(self.counts.nb_duplicates);
  return release_url(self);
}

// No request asks for a content coding, and none is undone: whoever reads the store has to know.
void note_content_coding(spider& self) {
  const std::string* value = find_http_headers(self.fetcher->response.headers, "Content-Encoding");
  if (value == nullptr) return;
  std::string coding(trim_blanks(*value).substr(0, 40));
  if (coding.empty() || equals_ignoring_case(coding, "identity")) return;
  if (!enter_said_host(self.crawler.coded_hosts, find_url_host(self.url))) return;
  std::replace_if(
      coding.begin(), coding.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
  write_formatted_log(*self.crawler.log, LOG_WARNING, URL_FIELDS,
                      "%s  came in the content coding %s, unasked, and is stored as it came",
                      self.url.c_str(), coding.c_str());
}

// A page that its seed's guest limit has no room for is not stored, and yet its links are followed.
step store_page(spider& self) {
  Crawler& crawler = self.crawler;
  if (is_stopped(crawler.gate)) return give_up_page(self);
  const guest_answer guest = count_guest_page_allowance(crawler.allowance, self.url);
  if (guest != GUEST_STORE) {
    crawler.horizon->exhaust_host(*crawler.horizon, find_url_host(self.url));
  }
  if (guest == GUEST_REFUSE) return GO_ON;
  const http_response& response = self.fetcher->response;
  stored_document document;
  document.url = self.url;
  document.type_name = get_content_type_name(self.type);
  document.character_set = find_character_set(get_content_type(self), response.body);
  document.date = find_document_date(response.headers);
  document.content = response.body;
  // A document that the store refuses is the store's to report; its fetch is on record all the
  // same.
  const int stored = store_document_url_hold(*crawler.store, document, crawler.crawl_quota);
  if (stored != 0) {
    count_spider(self.counts.nb_stored);
    note_content_coding(self);
  }
  if (stored == 0 && is_stopped(crawler.gate)) return give_up_page(self);
  write_status(self);
  return GO_ON;
}

// Moves the links that may enter the horizon to the front of the list; their number.
uint32_t choose_links(spider& self) {
  Crawler& crawler = self.crawler;
  // Allowance and robots rules are asked about the page: a page that may not be had gives no links.
  if (is_guest_limit_reached_page_allowance(crawler.allowance, self.url)) return 0;
  if (robots_allowed(*crawler.robots, self.url, *self.robots_fetcher) == 0) return 0;
  const url_filter_state filter = get_state_url_filter(crawler.filter);
  uint32_t nb_chosen = 0;
  for (uint32_t i = 0; i < self.links.count; ++i) {
    std::string& link = self.links.urls[i];
    if (!is_allowed_url_filter(filter, link)) continue;
    if (crawler.substitutions != nullptr) substitute_pattern(*crawler.substitutions, link);
    self.scratch.assign("No. ").append(std::to_string(nb_chosen)).append(" : ").append(link);
    write_log(*crawler.log, LOG_STATUS, LINK_FIELDS, self.scratch);
    if (nb_chosen != i) std::swap(self.links.urls[nb_chosen], link);
    ++nb_chosen;
  }
  return nb_chosen;
}

// Finds the links that the document's own kind has; false when it is of a kind without.
bool extract_document_links(spider& self) {
  const std::string& url = self.fetcher->current_url;
  const std::string& body = self.fetcher->response.body;
  if (self.type == CONTENT_HTML) {
    extract_links(url, body, *self.link_context, self.links);
    return true;
  }
  if (self.crawler.parse_javascript_flash == 0 || !is_flash_url(url)) return false;
  extract_flash_links(url, body, *self.link_context, self.links);
  return true;
}

void follow_links(spider& self) {
  Crawler& crawler = self.crawler;
  if (!crawler.follows_links && self.url != crawler.portal_list_url) return;
  if (!extract_document_links(self)) return;
  const std::span<const std::string> all(self.links.urls.data(), self.links.count);
  if (crawler.links != nullptr) write_link_record(*crawler.links, self.url, all);
  write_formatted_log(*crawler.log, LOG_STATUS, LINK_FIELDS, "Extract %u URLs from %s",
                      self.links.count, self.url.c_str());
  const uint32_t nb_chosen = choose_links(self);
  crawler.horizon->add_urls(*crawler.horizon, all.first(nb_chosen));
}

// A crawl of feeds takes a document for one even where its type names text or HTML first.
bool is_feed(const spider& self) {
  if (self.type == CONTENT_XML) return true;
  return self.crawler.profile.is_rss &&
         find_ignoring_case(get_content_type(self), "xml") != std::string_view::npos;
}

bool may_follow_item(spider& self, std::string_view link) {
  return is_allowed_url_filter(self.crawler.filter, link) &&
         !is_guest_limit_reached_page_allowance(self.crawler.allowance, link) &&
         robots_allowed(*self.crawler.robots, link, *self.robots_fetcher) == 1;
}

// Items lead to other sites as a rule: filter, robots rules and allowance are asked about each.
void follow_items(spider& self) {
  Crawler& crawler = self.crawler;
  extract_feed_links(self.fetcher->current_url, self.fetcher->response.body, *self.link_context,
                     self.links);
  uint32_t nb_chosen = 0;
  for (uint32_t i = 0; i < self.links.count; ++i) {
    if (!may_follow_item(self, self.links.urls[i])) continue;
    if (nb_chosen != i) std::swap(self.links.urls[nb_chosen], self.links.urls[i]);
    ++nb_chosen;
  }
  crawler.horizon->add_urls(*crawler.horizon, {self.links.urls.data(), nb_chosen});
}

// The way of one URL that the horizon has handed out.
void crawl_url(spider& self) {
  if (check_filter(self) == DONE) return;
  if (wait_for_host(self) == DONE) return;
  if (check_robots(self) == DONE) return;
  if (check_allowance(self) == DONE) return;
  if (fetch_page(self) == DONE) return;
  if (drop_known_content(self) == DONE) return;
  if (store_page(self) == DONE) return;
  follow_links(self);
  if (is_feed(self)) follow_items(self);
  // Without a script's links the page is not done, though it may come into the store twice.
  if (!is_cut_by_stop(self, *self.script_fetcher)) (void)release_url(self);
}

// The crawl ends when nothing is queued and no other spider can bring anything.
void end_exhausted_crawl(spider& self) {
  Crawler& crawler = self.crawler;
  if (crawler.forever_mode == 0 && crawler.horizon->is_exhausted(*crawler.horizon)) {
    set_stop_stop_gate(crawler.gate);
  }
}

// Sleeps until the horizon may have a URL to hand out.
void wait_for_url(spider& self, frontier_answer answer) {
  set_state_spider(self.counts, answer == FRONTIER_WAIT ? SPIDER_WAITING : SPIDER_IDLE);
  const uint64_t start_us = get_steady_time_us();
  wait_url_watch(self.watch, self.crawler.gate);
  if (answer != FRONTIER_WAIT) return;
  count_spider(self.counts.nb_queue_waits);
  count_spider(self.counts.queue_wait_us, get_steady_time_us() - start_us);
}

// All bodies so far, those of robots files, scripts and failed attempts included.
void count_body_bytes(spider& self) {
  const uint64_t nb_bytes = self.fetcher->nb_body_bytes + self.robots_fetcher->nb_body_bytes +
                            self.script_fetcher->nb_body_bytes;
  self.counts.nb_body_bytes.store(nb_bytes, std::memory_order_relaxed);
}

void crawl_until_stopped(spider& self) {
  Crawler& crawler = self.crawler;
  while (!is_stopped(crawler.gate)) {
    wait_while_paused(self);
    if (is_stopped(crawler.gate)) return;
    set_state_spider(self.counts, SPIDER_WORKING);
    const frontier_answer answer =
        crawler.horizon->get_url(*crawler.horizon, self.url, self.allowed_time);
    if (answer == FRONTIER_URL) {
      wake_next_url_watch(self.watch);
      crawl_url(self);
      count_body_bytes(self);
      continue;
    }
    if (answer == FRONTIER_EMPTY) end_exhausted_crawl(self);
    wait_for_url(self, answer);
  }
}

void use_cookies(http_fetcher& fetcher, cookie_jar& cookies) {
  fetcher.cookies_for = cookie_jar_header_hook;
  fetcher.cookies_context = &cookies;
  fetcher.response.cookie_hook = cookie_jar_response_hook;
  fetcher.response.cookie_context = &cookies;
}

}  // namespace

void run_spider(Crawler& crawler, url_watch& watch, uint32_t number) {
  spider self{.crawler = crawler,
              .watch = watch,
              .number = number,
              .counts = get_slot_crawl_counters(crawler.counters, number),
              .fetcher = create_http_fetcher(crawler.fetch),
              .robots_fetcher = create_http_fetcher(crawler.fetch),
              .script_fetcher = create_http_fetcher(crawler.fetch),
              .link_context = create_link_context(crawler.rules),
              .links = {},
              .url = {},
              .scratch = {}};
  self.fetcher->may_follow = may_follow_redirect;
  self.fetcher->may_follow_context = &self;
  self.script_fetcher->may_follow = may_follow_redirect;
  self.script_fetcher->may_follow_context = &self;
  use_cookies(*self.fetcher, crawler.cookies);
  use_cookies(*self.robots_fetcher, crawler.cookies);
  use_cookies(*self.script_fetcher, crawler.cookies);
  if (crawler.parse_javascript_flash != 0) {
    set_script_fetcher_link_context(*self.link_context, self.script_fetcher.get());
  }
  log_spider(self, "started");
  crawl_until_stopped(self);
  wake_all_url_watch(watch);
  set_state_spider(self.counts, SPIDER_ENDED);
  log_spider(self, "finished");
}

}  // namespace wk
