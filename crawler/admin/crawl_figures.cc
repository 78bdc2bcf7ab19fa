#include "crawler/admin/crawl_figures.h"

#include "wkstd/text.h"

namespace wk {
namespace {

using facts = const crawl_facts&;

template <size_t CLASS>
uint64_t get_fetches(facts f) {
  return f.counts.fetches[CLASS];
}

template <spider_state STATE>
uint64_t get_spiders(facts f) {
  return f.counts.spiders[STATE];
}

uint64_t get_if(bool there, uint64_t number) { return there ? number : NO_FIGURE; }

constexpr const char* FETCHES_HELP =
    "Pages fetched, by the hundreds of the status that each fetch ended with.";
constexpr const char* REFUSED_HELP = "URLs that were not fetched, by what refused them.";
constexpr const char* SPIDERS_HELP = "Spiders, by what they are doing.";

// clang-format off: a row a line
constexpr crawl_figure FIGURES[] = {
    {"time_seconds", nullptr, "", FIGURE_GAUGE, FIGURE_SECONDS, "",
     [](facts f) { return f.now_wall_us; }},
    {"start_time_seconds", "start_time_seconds", "", FIGURE_GAUGE, FIGURE_SECONDS,
     "When the crawl began, in seconds since 1970.",
     [](facts f) { return get_if(f.nb_spiders != 0, f.start_wall_us); }},
    {"uptime_seconds", "uptime_seconds", "", FIGURE_GAUGE, FIGURE_SECONDS,
     "How long the crawl has been going on.", [](facts f) { return f.uptime_us; }},
    {"paused", "paused", "", FIGURE_GAUGE, FIGURE_NUMBER, "1 while the crawl is paused.",
     [](facts f) -> uint64_t { return f.state == CRAWL_PAUSED ? 1 : 0; }},
    {"stopping", "stopping", "", FIGURE_GAUGE, FIGURE_NUMBER, "1 once the crawl has been stopped.",
     [](facts f) -> uint64_t { return f.state == CRAWL_STOPPING ? 1 : 0; }},

    {"fetches", nullptr, "", FIGURE_COUNTER, FIGURE_NUMBER, "",
     [](facts f) { return f.nb_fetches; }},
    {"fetches_1xx", "fetches_total", "status=\"1xx\"", FIGURE_COUNTER, FIGURE_NUMBER, FETCHES_HELP,
     get_fetches<1>},
    {"fetches_2xx", "fetches_total", "status=\"2xx\"", FIGURE_COUNTER, FIGURE_NUMBER, FETCHES_HELP,
     get_fetches<2>},
    {"fetches_3xx", "fetches_total", "status=\"3xx\"", FIGURE_COUNTER, FIGURE_NUMBER, FETCHES_HELP,
     get_fetches<3>},
    {"fetches_4xx", "fetches_total", "status=\"4xx\"", FIGURE_COUNTER, FIGURE_NUMBER, FETCHES_HELP,
     get_fetches<4>},
    {"fetches_5xx", "fetches_total", "status=\"5xx\"", FIGURE_COUNTER, FIGURE_NUMBER, FETCHES_HELP,
     get_fetches<5>},
    {"fetches_none", "fetches_total", "status=\"none\"", FIGURE_COUNTER, FIGURE_NUMBER,
     FETCHES_HELP, get_fetches<NO_STATUS_CLASS>},
    {"body_bytes", "received_body_bytes_total", "", FIGURE_COUNTER, FIGURE_NUMBER,
     "Bytes of the bodies that came, robots files and failed attempts included.",
     [](facts f) { return f.counts.nb_body_bytes; }},

    {"refused_by_filter", "refused_urls_total", "by=\"filter\"", FIGURE_COUNTER, FIGURE_NUMBER,
     REFUSED_HELP, [](facts f) { return f.counts.nb_refused_by_filter; }},
    {"refused_by_robots", "refused_urls_total", "by=\"robots\"", FIGURE_COUNTER, FIGURE_NUMBER,
     REFUSED_HELP, [](facts f) { return f.counts.nb_refused_by_robots; }},
    {"refused_by_quota", "refused_urls_total", "by=\"guest_quota\"", FIGURE_COUNTER, FIGURE_NUMBER,
     REFUSED_HELP, [](facts f) { return f.counts.nb_refused_by_quota; }},
    {"duplicates", "duplicate_pages_total", "", FIGURE_COUNTER, FIGURE_NUMBER,
     "Pages dropped because their content had been seen before.",
     [](facts f) { return f.counts.nb_duplicates; }},
    {"stored", "stored_documents_total", "", FIGURE_COUNTER, FIGURE_NUMBER,
     "Documents that the store has taken.", [](facts f) { return f.counts.nb_stored; }},
    {"lost", "lost_documents_total", "", FIGURE_COUNTER, FIGURE_NUMBER,
     "Documents that could not be stored, because of the disk or the pipeline.",
     [](facts f) -> uint64_t { return f.nb_lost; }},

    {"queued", "queued_urls", "", FIGURE_GAUGE, FIGURE_NUMBER,
     "URLs that wait for their turn in the horizon.",
     [](facts f) -> uint64_t { return f.nb_queued; }},
    {"doubtful", "doubtful_urls", "", FIGURE_GAUGE, FIGURE_NUMBER,
     "URLs of which the horizon will find out later whether it has had them before.",
     [](facts f) -> uint64_t { return f.nb_doubtful; }},
    {"known", "known_urls", "", FIGURE_GAUGE, FIGURE_NUMBER,
     "Different URLs that the horizon has had.", [](facts f) { return f.nb_known; }},
    {"active", "active_urls", "", FIGURE_GAUGE, FIGURE_NUMBER,
     "URLs handed to spiders and not finished, those that the URL filter refused included.",
     [](facts f) -> uint64_t { return f.nb_active; }},
    {"queue_waits", "queue_waits_total", "", FIGURE_COUNTER, FIGURE_NUMBER,
     "Times that a spider found every queue waiting for its host.",
     [](facts f) { return f.counts.nb_queue_waits; }},
    {"queue_wait_seconds", "queue_wait_seconds_total", "", FIGURE_COUNTER, FIGURE_SECONDS,
     "Time that spiders have spent on such waits.", [](facts f) { return f.counts.queue_wait_us; }},

    {"robots_files", "robots_files_total", "", FIGURE_COUNTER, FIGURE_NUMBER,
     "Files robots.txt that came.", [](facts f) { return f.robots.nb_files; }},
    {"robots_hosts", "robots_hosts", "", FIGURE_GAUGE, FIGURE_NUMBER,
     "Hosts whose robots.txt was asked for.", [](facts f) { return f.robots.nb_hosts; }},
    {"robots_rule_sets", "robots_rule_sets", "", FIGURE_GAUGE, FIGURE_NUMBER,
     "Hosts whose robots.txt forbids something.", [](facts f) { return f.robots.nb_rule_sets; }},
    {"log_records", "log_records_total", "", FIGURE_COUNTER, FIGURE_NUMBER,
     "Records written to the crawl log.", [](facts f) { return f.nb_log_records; }},

    {"spiders", nullptr, "", FIGURE_GAUGE, FIGURE_NUMBER, "",
     [](facts f) -> uint64_t { return f.nb_spiders; }},
    {"spiders_fetching", "spiders", "state=\"fetching\"", FIGURE_GAUGE, FIGURE_NUMBER, SPIDERS_HELP,
     get_spiders<SPIDER_FETCHING>},
    {"spiders_working", "spiders", "state=\"working\"", FIGURE_GAUGE, FIGURE_NUMBER, SPIDERS_HELP,
     get_spiders<SPIDER_WORKING>},
    {"spiders_asking_robots", "spiders", "state=\"asking_robots\"", FIGURE_GAUGE, FIGURE_NUMBER,
     SPIDERS_HELP, get_spiders<SPIDER_ASKING_ROBOTS>},
    {"spiders_waiting", "spiders", "state=\"waiting\"", FIGURE_GAUGE, FIGURE_NUMBER, SPIDERS_HELP,
     get_spiders<SPIDER_WAITING>},
    {"spiders_idle", "spiders", "state=\"idle\"", FIGURE_GAUGE, FIGURE_NUMBER, SPIDERS_HELP,
     get_spiders<SPIDER_IDLE>},
    {"spiders_paused", "spiders", "state=\"paused\"", FIGURE_GAUGE, FIGURE_NUMBER, SPIDERS_HELP,
     get_spiders<SPIDER_PAUSED>},
    {"spiders_ended", "spiders", "state=\"ended\"", FIGURE_GAUGE, FIGURE_NUMBER, SPIDERS_HELP,
     get_spiders<SPIDER_ENDED>},
    {"spiders_short", "local_shortage_spiders", "", FIGURE_GAUGE, FIGURE_NUMBER,
     "Fetching spiders that wait because this machine is short of handles, ports, memory or "
     "threads.",
     [](facts f) -> uint64_t { return f.nb_short; }},

    {"quota_pages", "quota_pages", "", FIGURE_GAUGE, FIGURE_NUMBER,
     "Documents counted against the page quota.",
     [](facts f) { return get_if(f.quota.has_page_limit, f.quota.pages); }},
    {"quota_page_limit", "quota_page_limit", "", FIGURE_GAUGE, FIGURE_NUMBER, "The page quota.",
     [](facts f) { return get_if(f.quota.has_page_limit, f.quota.page_limit); }},
    {"quota_bytes", "quota_bytes", "", FIGURE_GAUGE, FIGURE_NUMBER,
     "Bytes counted against the megabyte quota.",
     [](facts f) { return get_if(f.quota.has_byte_limit, f.quota.bytes); }},
    {"quota_byte_limit", "quota_byte_limit", "", FIGURE_GAUGE, FIGURE_NUMBER,
     "The megabyte quota, in bytes.",
     [](facts f) { return get_if(f.quota.has_byte_limit, f.quota.byte_limit); }},
};
// clang-format on

}  // namespace

std::span<const crawl_figure> get_crawl_figures() { return FIGURES; }

const crawl_figure* find_crawl_figure(std::string_view key) {
  for (const crawl_figure& figure : FIGURES) {
    if (key == figure.key) return &figure;
  }
  return nullptr;
}

bool append_crawl_figure(std::string& out, const crawl_figure& figure, const crawl_facts& facts) {
  const uint64_t number = figure.get(facts);
  if (number == NO_FIGURE) return false;
  if (figure.unit == FIGURE_SECONDS) {
    append_seconds(out, number);
  } else {
    out.append(std::to_string(number));
  }
  return true;
}

void append_seconds(std::string& out, uint64_t time_us) {
  constexpr uint64_t US_PER_SECOND = 1'000'000;
  out.append(std::to_string(time_us / US_PER_SECOND));
  if (time_us % US_PER_SECOND == 0) return;
  append_formatted_text(out, ".%06u", static_cast<unsigned>(time_us % US_PER_SECOND));
  out.erase(out.find_last_not_of('0') + 1);
}

}  // namespace wk
