#include "crawler/admin/metrics_page.h"

#include <string_view>

#include "crawler/admin/crawl_figures.h"
#include "crawler/admin/quoted_text.h"

namespace wk {
namespace {

constexpr const char* KIND_NAMES[] = {"counter", "gauge"};

// The lines before the samples of a metric.
void append_head(std::string& out, std::string_view metric, std::string_view help,
                 std::string_view type) {
  out.append("# HELP wkcrawler_").append(metric).append(" ").append(help).append("\n");
  out.append("# TYPE wkcrawler_").append(metric).append(" ").append(type).append("\n");
}

void append_profile(std::string& out, const crawl_facts& facts) {
  append_head(out, "info", "Always 1; the profile that is crawled.", "gauge");
  out.append("wkcrawler_info{profile=");
  append_label_value(out, facts.profile_name);
  out.append("} 1\n");
}

// A figure that there is none of now has no sample, and then no head either.
void append_figures(std::string& out, const crawl_facts& facts) {
  std::string_view last_metric;
  std::string number;
  for (const crawl_figure& figure : get_crawl_figures()) {
    number.clear();
    if (figure.metric == nullptr || !append_crawl_figure(number, figure, facts)) continue;
    const std::string_view metric = figure.metric;
    if (metric != last_metric) append_head(out, metric, figure.help, KIND_NAMES[figure.kind]);
    last_metric = metric;
    out.append("wkcrawler_").append(metric);
    if (*figure.labels != '\0') out.append("{").append(figure.labels).append("}");
    out.append(" ").append(number).append("\n");
  }
}

// Each bucket counts the fetches up to its limit. The count is the last bucket's, so the two always
// agree, whatever spiders count meanwhile.
void append_fetch_times(std::string& out, const crawl_counts& counts) {
  constexpr std::string_view METRIC = "fetch_seconds";
  append_head(out, METRIC, "How long the fetches of pages took, retries and redirects included.",
              "histogram");
  uint64_t sum = 0;
  for (size_t i = 0; i < NB_FETCH_TIME_CLASSES; ++i) {
    sum += counts.fetch_times[i];
    out.append("wkcrawler_fetch_seconds_bucket{le=\"");
    if (i < FETCH_TIME_LIMITS_US.size()) {
      append_seconds(out, FETCH_TIME_LIMITS_US[i]);
    } else {
      out.append("+Inf");
    }
    out.append("\"} ").append(std::to_string(sum)).append("\n");
  }
  out.append("wkcrawler_fetch_seconds_sum ");
  append_seconds(out, counts.fetch_time_us);
  out.append("\nwkcrawler_fetch_seconds_count ").append(std::to_string(sum)).append("\n");
}

}  // namespace

void append_metrics(std::string& out, const crawl_facts& facts) {
  append_profile(out, facts);
  append_figures(out, facts);
  append_fetch_times(out, facts.counts);
}

}  // namespace wk
