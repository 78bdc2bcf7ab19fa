#include "crawler/admin/live_page.h"

#include <sys/random.h>

#include <cstdlib>

#include "crawler/admin/crawl_figures.h"
#include "crawler/admin/live_files.h"
#include "crawler/admin/page_writer.h"
#include "wkstd/base64.h"
#include "wkstd/error.h"
#include "wkstd/text.h"

namespace wk {
namespace {

struct live_context {
  const crawl_facts& facts;
  std::string_view nonce;
};

// What a name between braces stands for besides a figure.
struct live_text {
  std::string_view name;
  void (*append)(std::string& out, const live_context& context);
};

void append_average(std::string& out, const live_context& context) {
  const auto seconds = static_cast<double>(context.facts.uptime_us) / 1e6;
  const auto nb_fetches = static_cast<double>(context.facts.nb_fetches);
  append_formatted_text(out, "%.1f", seconds > 0 ? nb_fetches / seconds : 0.0);
}

void append_profile(std::string& out, const live_context& context) {
  const std::string_view name = context.facts.profile_name;
  append_page(out, "%s", {name.empty() ? "Unnamed profile" : name});
}

// The rows of the table of fetch times; the script finds their numbers and bars by their order.
void append_fetch_times(std::string& out, const live_context& context) {
  for (size_t i = 0; i < NB_FETCH_TIME_CLASSES; ++i) {
    out.append("<tr><th scope=\"row\">");
    const bool is_last = i == FETCH_TIME_LIMITS_US.size();
    out.append(is_last ? "over " : "up to ");
    append_seconds(out, FETCH_TIME_LIMITS_US[is_last ? i - 1 : i]);
    append_formatted_text(out, " s</th><td class=\"bar\"><i></i></td><td>%llu</td></tr>\n",
                          static_cast<unsigned long long>(context.facts.counts.fetch_times[i]));
  }
}

constexpr live_text TEXTS[] = {
    {"nonce", [](std::string& out, const live_context& c) { append_page(out, "%s", {c.nonce}); }},
    {"style", [](std::string& out, const live_context&) { out.append(LIVE_CSS); }},
    {"script", [](std::string& out, const live_context&) { out.append(LIVE_JS); }},
    {"profile", append_profile},
    {"state",
     [](std::string& out, const live_context& c) {
       append_page(out, "%s", {get_crawl_state_name(c.facts.state)});
     }},
    {"elapsed",
     [](std::string& out, const live_context& c) { append_elapsed(out, c.facts.uptime_us); }},
    {"average", append_average},
    {"fetch_times", append_fetch_times},
    {"page_quota_hidden",
     [](std::string& out, const live_context& c) {
       if (!c.facts.quota.has_page_limit) out.append("hidden");
     }},
    {"byte_quota_hidden",
     [](std::string& out, const live_context& c) {
       if (!c.facts.quota.has_byte_limit) out.append("hidden");
     }},
};

void append_named(std::string& out, std::string_view name, const live_context& context) {
  for (const live_text& text : TEXTS) {
    if (text.name == name) return text.append(out, context);
  }
  const crawl_figure* figure = find_crawl_figure(name);
  if (WK_FAILED(figure != nullptr)) return;
  if (!append_crawl_figure(out, *figure, context.facts)) out.append("0");
}

}  // namespace

std::string draw_live_nonce() {
  char bytes[16];
  // Short answers and interruptions do not happen below 257 bytes (getrandom(2)).
  if (::getrandom(bytes, sizeof bytes, 0) != static_cast<ssize_t>(sizeof bytes)) std::abort();
  std::string nonce;
  append_base64(nonce, std::string_view(bytes, sizeof bytes));
  return nonce;
}

std::string build_live_policy(std::string_view nonce) {
  const std::string source = "'nonce-" + std::string(nonce) + "'";
  return "default-src 'none'; script-src " + source + "; style-src " + source +
         "; connect-src 'self'; img-src data:; base-uri 'none'; form-action 'none'; "
         "frame-ancestors 'none'";
}

void append_live_page(std::string& out, const crawl_facts& facts, std::string_view nonce) {
  const live_context context{facts, nonce};
  std::string_view rest = LIVE_HTML;
  for (;;) {
    const size_t open = rest.find("{{");
    const size_t close = rest.find("}}", open);
    out.append(rest.substr(0, open));
    if (close == std::string_view::npos) return;
    append_named(out, rest.substr(open + 2, close - open - 2), context);
    rest.remove_prefix(close + 2);
  }
}

}  // namespace wk
