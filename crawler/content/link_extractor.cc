#include "crawler/content/link_extractor.h"

#include <vector>

#include "crawler/content/feed_links.h"
#include "crawler/content/flash_links.h"
#include "crawler/content/html_scan.h"
#include "crawler/content/link_gatherer.h"
#include "crawler/content/link_set.h"
#include "crawler/content/script_links.h"
#include "wkstd/byte_block.h"
#include "wkstd/error.h"

namespace wk {

struct link_context {
  std::string base_url;                    // of all pages; empty: each page's own URL
  http_fetcher* script_fetcher = nullptr;  // null: scripts and movies give no links
  std::string page_base;                   // that a base tag of this page has set
  link_set seen;                           // the links of this page's tags
  link_set seen_values;                    // the same before they were resolved against the base
  std::vector<std::string_view> values;    // of seen_values, in the page
  link_gatherer gatherer;
  script_workspace scripts;
  std::string scratch;  // a movie inflated, a feed as plain XML
};

namespace {

void print_html_scan_fault(std::string_view page_url, html_scan_fault fault) {
  std::string_view skipped;
  switch (fault) {
    case HTML_SCAN_SOUND:
      return;
    case HTML_SCAN_OPEN_COMMENT:
      skipped = "<!-- comments";
      break;
    case HTML_SCAN_OPEN_SCRIPT:
      skipped = "<script>";
      break;
    case HTML_SCAN_OPEN_STYLE:
      skipped = "<style>";
      break;
  }
  std::string message = "file ";
  message.append(page_url).append(" doesn't have valid html format!(skip ");
  message.append(skipped).append(" to  end of file)\n");
  print_message(message);
}

// Forgets which values were resolved: none was, or the base is another one.
void clear_values(link_context& context) {
  clear_link_set(context.seen_values);
  context.values.clear();
}

// False for a value that stood in this page before: it would resolve to the same link. A page
// names one and the same place many times, by its fragments above all, and resolving costs more
// than a look.
bool is_new_value(link_context& context, std::string_view value) {
  // What the fragment is matters where it can change what stands before it, or spoil the whole.
  if (context.gatherer.rules->canonical_urls) {
    const size_t fragment = find_byte(value, 0, '#');
    if (fragment != 0 && fragment != value.size() && find_byte(value, 0, '&') == value.size() &&
        find_either_byte(value, fragment, '%', '/') == value.size()) {
      value = value.substr(0, fragment);
    }
  }
  const auto index = static_cast<uint32_t>(context.values.size());
  if (!add_link_set(context.seen_values, context.values, value, index)) return false;
  context.values.push_back(value);
  return true;
}

// True when the link was added: it can be resolved, and the page has not given it before.
bool add_html_link(link_context& context, std::string_view value, link_list& links) {
  if (!is_new_value(context, value) || !resolve_link(context.gatherer, value)) return false;
  const std::string& resolved = context.gatherer.resolved;
  if (!add_link_set(context.seen, links.urls, resolved, links.count)) return false;
  append_link_list(links, resolved);
  return true;
}

void scan_html_links(html_scan& scan, link_context& context, link_list& links) {
  link_gatherer& gatherer = context.gatherer;
  for (html_link link; find_next_html_link(scan, link);) {
    if (gatherer.base.empty()) {
      print_message("can't not find the base!\n");
      return;
    }
    const bool added = add_html_link(context, link.value, links);
    // Only the page's first link can be its base; the tag is a link like any other later on.
    if (added && link.is_base && links.count == 1) {
      context.page_base = gatherer.resolved;
      gatherer.base = context.page_base;
      clear_values(context);
    }
    if (is_exhausted_link_gatherer(gatherer)) return;
  }
}

void begin_document(std::string_view url, link_context& context, link_list& links) {
  begin_link_gatherer(context.gatherer, context.base_url.empty() ? url : context.base_url, links);
}

void trim_link_context(link_context& context) {
  trim_kept_text(context.page_base);
  trim_kept_text(context.scratch);
  trim_link_gatherer(context.gatherer);
  trim_script_workspace(context.scripts);
}

}  // namespace

void destroy_link_context::operator()(link_context* context) const { delete context; }

link_context_ptr create_link_context(const crawl_rules& rules) {
  link_context_ptr context(new link_context);
  context->gatherer.rules = &rules;
  return context;
}

void set_base_link_context(link_context& context, std::string_view base_url) {
  context.base_url = base_url;
}

void set_script_fetcher_link_context(link_context& context, http_fetcher* fetcher) {
  context.script_fetcher = fetcher;
}

void extract_links(std::string_view page_url, std::string_view page, link_context& context,
                   link_list& links) {
  begin_document(page_url, context, links);
  clear_link_set(context.seen);
  clear_values(context);
  html_scan scan = start_html_scan(page);
  scan_html_links(scan, context, links);
  print_html_scan_fault(page_url, scan.fault);
  if (context.script_fetcher != nullptr) {
    add_script_links(page, *context.script_fetcher, context.scripts, context.gatherer);
    (void)add_flash_links(page_url, page, context.scratch, context.gatherer);
  }
  trim_link_context(context);
}

void extract_flash_links(std::string_view url, std::string_view data, link_context& context,
                         link_list& links) {
  begin_document(url, context, links);
  (void)add_flash_links(url, data, context.scratch, context.gatherer);
  trim_link_context(context);
}

void extract_feed_links(std::string_view url, std::string_view feed, link_context& context,
                        link_list& links) {
  begin_document(url, context, links);
  add_feed_links(feed, context.scratch, context.gatherer);
  trim_link_context(context);
}

}  // namespace wk
