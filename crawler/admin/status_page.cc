#include "crawler/admin/status_page.h"

#include "crawler/admin/crawl_figures.h"
#include "crawler/admin/quoted_text.h"

namespace wk {
namespace {

void append_fetch_times(std::string& out, const crawl_counts& counts) {
  out.append("{\"seconds\": ");
  append_seconds(out, counts.fetch_time_us);
  out.append(", \"classes\": [");
  for (size_t i = 0; i < NB_FETCH_TIME_CLASSES; ++i) {
    out.append(i == 0 ? "\n  " : ",\n  ").append("{\"up_to_seconds\": ");
    if (i < FETCH_TIME_LIMITS_US.size()) {
      append_seconds(out, FETCH_TIME_LIMITS_US[i]);
    } else {
      out.append("null");
    }
    out.append(", \"fetches\": ").append(std::to_string(counts.fetch_times[i])).append("}");
  }
  out.append("]}");
}

}  // namespace

void append_status(std::string& out, const crawl_facts& facts) {
  out.append("{\n\"profile\": ");
  append_json_string(out, facts.profile_name);
  out.append(",\n\"state\": ");
  append_json_string(out, get_crawl_state_name(facts.state));
  for (const crawl_figure& figure : get_crawl_figures()) {
    out.append(",\n\"").append(figure.key).append("\": ");
    if (!append_crawl_figure(out, figure, facts)) out.append("null");
  }
  out.append(",\n\"fetch_times\": ");
  append_fetch_times(out, facts.counts);
  out.append("\n}\n");
}

}  // namespace wk
