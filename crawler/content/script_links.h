// The links of an HTML page that stand in no link attribute: in scripts, event handlers, refresh
// directives and anywhere in the text.
#pragma once

#include <string>
#include <string_view>

#include "crawler/content/link_gatherer.h"
#include "crawler/fetch/http_fetcher.h"

namespace wk {

// Room to work in, kept from page to page.
struct script_workspace {
  std::string reduced;
  std::string inlined;
  std::string script_text;
};

// Appends the page's links: of its refresh directive, absolute URLs of the page as it came and of
// the scripts it loads (through fetcher, whose response is overwritten), quoted texts of scripts,
// event handlers, in this order. One that the page gives twice is appended twice.
void add_script_links(std::string_view page, http_fetcher& fetcher, script_workspace& workspace,
                      link_gatherer& gatherer);
void trim_script_workspace(script_workspace& workspace);

}  // namespace wk
