#include "crawler/content/link_extractor.h"

#include "crawler/content/html_scan.h"
#include "crawler/content/link_set.h"
#include "crawler/url/url_form.h"
#include "crawler/url/url_resolve.h"
#include "wkstd/error.h"

namespace wk {
namespace {

// A page that repeats a short link below a long base would cost their product in time and memory;
// real pages stay far below this sum of the lengths of bases and links.
constexpr size_t MAX_RESOLVED_BYTES_PER_PAGE = size_t{128} << 20;
constexpr size_t MAX_KEPT_TEXT_BYTES = size_t{64} << 10;

}  // namespace

struct link_context {
  std::string base_url;    // of all pages; empty: each page's own URL
  std::string page_base;   // that a base tag of this page has set
  bool canonical = false;  // links are given in their canonical spelling
  std::string resolved;    // the link in hand
  link_set seen;           // the links of this page
  size_t nb_resolved_bytes = 0;
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

// True when the link was added: it can be resolved, and the page has not given it before.
bool add_html_link(link_context& context, std::string_view base, std::string_view value,
                   link_list& links) {
  context.nb_resolved_bytes += base.size() + value.size();
  context.resolved.clear();
  if (build_absolute_url(context.resolved, value, base) == 0 || context.resolved.empty()) {
    return false;
  }
  if (context.canonical) canonicalize_url(context.resolved);
  if (!add_link_set(context.seen, links.urls, context.resolved, links.count)) return false;
  append_link_list(links, context.resolved);
  return true;
}

bool is_page_exhausted(const link_context& context, const link_list& links) {
  return links.count == MAX_LINKS_PER_PAGE ||
         context.nb_resolved_bytes > MAX_RESOLVED_BYTES_PER_PAGE;
}

void scan_html_links(std::string_view base, html_scan& scan, link_context& context,
                     link_list& links) {
  for (html_link link; find_next_html_link(scan, link);) {
    if (base.empty()) {
      print_message("can't not find the base!\n");
      return;
    }
    const bool added = add_html_link(context, base, link.value, links);
    // Only the page's first link can be its base; the tag is a link like any other later on.
    if (added && link.is_base && links.count == 1) {
      context.page_base = context.resolved;
      base = context.page_base;
    }
    if (is_page_exhausted(context, links)) return;
  }
}

// Gives back what an unusual page has blown up. An assignment would keep the memory.
void trim_link_context(link_context& context) {
  if (context.page_base.capacity() > MAX_KEPT_TEXT_BYTES) std::string().swap(context.page_base);
  if (context.resolved.capacity() > MAX_KEPT_TEXT_BYTES) std::string().swap(context.resolved);
}

}  // namespace

void destroy_link_context::operator()(link_context* context) const { delete context; }

link_context_ptr create_link_context() { return link_context_ptr(new link_context); }

void set_canonical_link_context(link_context& context, bool canonical) {
  context.canonical = canonical;
}

void set_base_link_context(link_context& context, std::string_view base_url) {
  context.base_url = base_url;
}

void extract_links(std::string_view page_url, std::string_view page, link_context& context,
                   link_list& links) {
  clear_link_list(links);
  clear_link_set(context.seen);
  context.nb_resolved_bytes = 0;

  html_scan scan = start_html_scan(page);
  scan_html_links(context.base_url.empty() ? page_url : context.base_url, scan, context, links);
  print_html_scan_fault(page_url, scan.fault);
  trim_link_context(context);
}

}  // namespace wk
