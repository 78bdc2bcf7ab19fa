// /live: the crawl as one page that keeps itself up to date.
//
// The page is live/live.html with live/live.css and live/live.js inside it; the build puts the
// three files into the program. Between double braces the page names what the server fills in: a
// row of the table of figures by its key, or one of the texts of live_page.cc. A browser without
// scripts shows the figures of the moment and asks again every few seconds; the script reads
// /status.json instead.
#pragma once

#include <string>
#include <string_view>

#include "crawler/core/crawl_facts.h"

namespace wk {

constexpr const char* LIVE_CONTENT_TYPE = "text/html; charset=utf-8";

// A number used once: what lets this answer's own script and style run, and no other.
[[nodiscard]] std::string draw_live_nonce();
// The Content-Security-Policy of the answer with that nonce.
[[nodiscard]] std::string build_live_policy(std::string_view nonce);
void append_live_page(std::string& out, const crawl_facts& facts, std::string_view nonce);

}  // namespace wk
