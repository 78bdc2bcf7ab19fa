#include "crawler/content/script_inlining.h"

#include "crawler/content/absolute_links.h"
#include "crawler/content/attribute_value.h"
#include "crawler/content/html_name.h"
#include "crawler/url/url_form.h"
#include "wkstd/byte_block.h"
#include "wkstd/text.h"

namespace wk {
namespace {

// What the page in work may still load.
struct script_allowance {
  uint32_t nb_scripts = MAX_SCRIPTS_PER_PAGE;
  size_t nb_bytes = MAX_SCRIPT_BYTES_PER_PAGE;
};

// The place of the next "<script" tag at or behind from; page.size() when there is none.
size_t find_script_tag(std::string_view page, size_t from) {
  size_t at = find_byte(page, from, '<');
  while (at < page.size() && !is_html_name_at(page, at + 1, "script")) {
    at = find_byte(page, at + 1, '<');
  }
  return at;
}

// tag reaches from "<" to its ">". False when it names no source; value may be empty.
bool find_script_source(std::string_view tag, std::string_view& value) {
  constexpr std::string_view SOURCE = " src=";
  const size_t source = find_ignoring_case(tag, SOURCE);
  if (source == std::string_view::npos) return false;
  size_t at = source + SOURCE.size();
  if (!read_attribute_value(tag, at, value)) value = {};
  return true;
}

// The script that value names, up to its first NUL byte; empty when it cannot be had.
std::string_view fetch_script(std::string_view value, http_fetcher& fetcher,
                              link_gatherer& gatherer, script_allowance& allowance) {
  if (value.empty() || allowance.nb_scripts == 0) return {};
  if (!resolve_link(gatherer, value) || !is_acceptable_url(gatherer.resolved)) return {};
  --allowance.nb_scripts;
  if (!fetch_url_once(fetcher, gatherer.resolved, SCRIPT_LIMIT_US)) return {};
  const std::string_view body = fetcher.response.body;
  const std::string_view script = body.substr(0, find_byte(body, 0, '\0'));
  if (script.size() > allowance.nb_bytes) return {};
  allowance.nb_bytes -= script.size();
  return script;
}

}  // namespace

void add_absolute_links(std::string_view text, link_gatherer& gatherer) {
  std::string_view link;
  for (size_t at = 0; find_next_absolute_link(text, at, link);) {
    gather_absolute_link(gatherer, link);
  }
}

void inline_scripts(std::string& out, std::string_view page, http_fetcher& fetcher,
                    link_gatherer& gatherer) {
  out.clear();
  script_allowance allowance;
  for (size_t at = 0; at < page.size();) {
    const size_t tag = find_script_tag(page, at);
    const size_t tag_end = find_byte(page, tag, '>');
    std::string_view value;
    if (tag_end == page.size() || !find_script_source(page.substr(tag, tag_end + 1 - tag), value)) {
      const size_t end = tag_end == page.size() ? page.size() : tag_end + 1;
      out.append(page.substr(at, end - at));
      at = end;
      continue;
    }
    out.append(page.substr(at, tag - at));
    const std::string_view script = fetch_script(value, fetcher, gatherer, allowance);
    add_absolute_links(script, gatherer);
    out.append(script);
    at = tag_end + 1;
  }
}

}  // namespace wk
