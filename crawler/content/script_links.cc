#include "crawler/content/script_links.h"

#include <algorithm>

#include "crawler/content/attribute_value.h"
#include "crawler/content/event_links.h"
#include "crawler/content/html_name.h"
#include "crawler/content/quoted_literals.h"
#include "crawler/content/reduced_page.h"
#include "crawler/content/script_inlining.h"
#include "crawler/url/url_form.h"
#include "wkstd/byte_block.h"
#include "wkstd/text.h"

namespace wk {
namespace {

// The place of the "<meta" tag whose refresh attribute ends text; npos without one.
size_t find_last_refresh(std::string_view text) {
  constexpr std::string_view REFRESH = "http-equiv=\"refresh\"";
  constexpr std::string_view META = "<meta";
  if (!text.ends_with(REFRESH)) return std::string_view::npos;
  size_t end = text.size() - REFRESH.size();
  while (end > 0 && is_blank(static_cast<unsigned char>(text[end - 1]))) --end;
  if (end < META.size()) return std::string_view::npos;
  const size_t begin = end - META.size();
  return text[begin] == '<' && is_html_name_at(text, begin + 1, META.substr(1))
             ? begin
             : std::string_view::npos;
}

// A refresh attribute is compared with the NUL that ends it, so it counts only where the page's
// text ends: its target can stand behind that NUL alone, up to the tag's ">".
void add_refresh_link(std::string_view page, link_gatherer& gatherer) {
  const size_t text_end = find_byte(page, 0, '\0');
  const size_t meta = find_last_refresh(page.substr(0, text_end));
  if (meta == std::string_view::npos) return;
  const std::string_view tag = page.substr(0, find_byte(page, meta, '>') + 1);
  constexpr std::string_view URL = "url=";
  const size_t url = find_ignoring_case(tag, URL, meta);
  if (url == std::string_view::npos) return;
  size_t at = url + URL.size();
  std::string_view value;
  if (read_attribute_value(tag, at, value)) gather_link(gatherer, value);
}

bool is_url_text(std::string_view text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return is_url_character(static_cast<unsigned char>(c)); });
}

void add_literal_links(std::string_view script_text, link_gatherer& gatherer) {
  std::string_view literal;
  for (size_t at = 0; find_next_literal(script_text, at, literal);) {
    if (is_url_text(literal) && is_page_link(literal)) gather_link(gatherer, literal);
  }
}

}  // namespace

void add_script_links(std::string_view page, http_fetcher& fetcher, script_workspace& workspace,
                      link_gatherer& gatherer) {
  const std::string_view text = page.substr(0, find_byte(page, 0, '\0'));
  add_refresh_link(page, gatherer);
  add_absolute_links(text, gatherer);
  build_reduced_page(workspace.reduced, text);
  inline_scripts(workspace.inlined, workspace.reduced, fetcher, gatherer);
  build_script_text(workspace.script_text, workspace.inlined);
  add_literal_links(workspace.script_text, gatherer);
  add_event_links(text, workspace.script_text, gatherer);
}

void trim_script_workspace(script_workspace& workspace) {
  trim_kept_text(workspace.reduced);
  trim_kept_text(workspace.inlined);
  trim_kept_text(workspace.script_text);
}

}  // namespace wk
