// The numbers of a crawl that are shown outside it: one table, which every page that programs read
// is made from.
//
// A row is one number. Rows of one metric stand next to each other. Adding a figure is adding a
// row.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "crawler/core/crawl_facts.h"

namespace wk {

enum figure_kind : uint32_t {
  FIGURE_COUNTER = 0,  // only rises while the program runs
  FIGURE_GAUGE,
};

enum figure_unit : uint32_t {
  FIGURE_NUMBER = 0,
  FIGURE_SECONDS,  // got in µs, written in seconds
};

constexpr uint64_t NO_FIGURE = UINT64_MAX;  // what get answers when there is none now

struct crawl_figure {
  const char* key;     // its name in /status.json, and in the live page
  const char* metric;  // its name in /metrics behind "wkcrawler_"; null: not there
  const char* labels;  // as written there, "" for none
  figure_kind kind;
  figure_unit unit;
  const char* help;  // what it counts; one line without a backslash
  uint64_t (*get)(const crawl_facts& facts);
};

[[nodiscard]] std::span<const crawl_figure> get_crawl_figures();
[[nodiscard]] const crawl_figure* find_crawl_figure(std::string_view key);  // null: none

// Appends the number, or nothing and false when there is none.
bool append_crawl_figure(std::string& out, const crawl_figure& figure, const crawl_facts& facts);
// Appends µs as seconds: 2500000 is "2.5".
void append_seconds(std::string& out, uint64_t time_us);

}  // namespace wk
