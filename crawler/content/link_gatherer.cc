#include "crawler/content/link_gatherer.h"

#include "crawler/url/url_form.h"
#include "crawler/url/url_resolve.h"

namespace wk {
namespace {

// A page that repeats a short link below a long base would cost their product in time and memory;
// real pages stay far below this sum of the lengths of bases and links.
constexpr size_t MAX_RESOLVED_BYTES_PER_PAGE = size_t{32} << 20;
constexpr size_t MAX_KEPT_TEXT_BYTES = size_t{64} << 10;

}  // namespace

void begin_link_gatherer(link_gatherer& gatherer, std::string_view base, link_list& links) {
  clear_link_list(links);
  gatherer.base = base;
  gatherer.links = &links;
  gatherer.nb_resolved_bytes = 0;
}

bool is_exhausted_link_gatherer(const link_gatherer& gatherer) {
  return gatherer.links->count == MAX_LINKS_PER_PAGE ||
         gatherer.nb_resolved_bytes > MAX_RESOLVED_BYTES_PER_PAGE;
}

bool resolve_link(link_gatherer& gatherer, std::string_view value) {
  gatherer.nb_resolved_bytes += gatherer.base.size() + value.size();
  gatherer.resolved.clear();
  if (build_absolute_url(gatherer.resolved, value, gatherer.base) == 0) return false;
  if (gatherer.resolved.empty()) return false;
  if (gatherer.rules->canonical_urls) canonicalize_url(gatherer.resolved);
  return true;
}

void gather_link(link_gatherer& gatherer, std::string_view value) {
  if (is_exhausted_link_gatherer(gatherer) || !resolve_link(gatherer, value)) return;
  append_link_list(*gatherer.links, gatherer.resolved);
}

void gather_absolute_link(link_gatherer& gatherer, std::string_view url) {
  if (is_exhausted_link_gatherer(gatherer)) return;
  gatherer.nb_resolved_bytes += url.size();
  gatherer.resolved.assign(url);
  if (gatherer.rules->canonical_urls) canonicalize_url(gatherer.resolved);
  append_link_list(*gatherer.links, gatherer.resolved);
}

// An assignment would keep the memory.
void trim_kept_text(std::string& text) {
  if (text.capacity() > MAX_KEPT_TEXT_BYTES) std::string().swap(text);
}

void trim_link_gatherer(link_gatherer& gatherer) { trim_kept_text(gatherer.resolved); }

}  // namespace wk
