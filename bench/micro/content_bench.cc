// What is done to the bytes of a page, beside what libraries for the like take on the same pages.

#include <benchmark/benchmark.h>
#include <gumbo.h>
#include <libxml/HTMLparser.h>

#include "bench/micro/real_pages.h"
#include "crawler/content/digest_table.h"
#include "crawler/content/html_scan.h"
#include "crawler/content/link_extractor.h"
#include "crawler/content/page_text.h"

namespace wk {
namespace {

void set_bytes_a_round(benchmark::State& state) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * count_bytes_real_pages()));
}

void scan_links(benchmark::State& state) {
  for (auto _ : state) {
    for (const real_page& page : get_real_pages()) {
      html_scan scan = start_html_scan(page.text);
      for (html_link link; find_next_html_link(scan, link);) benchmark::DoNotOptimize(link);
    }
  }
  set_bytes_a_round(state);
}
BENCHMARK(scan_links);

void scan_resolve_and_keep_links(benchmark::State& state) {
  const crawl_rules rules{.canonical_urls = true};
  const link_context_ptr context = create_link_context(rules);
  link_list links;
  size_t nb_links = 0;
  for (auto _ : state) {
    for (const real_page& page : get_real_pages()) {
      extract_links(page.url, page.text, *context, links);
      nb_links += links.count;
    }
  }
  set_bytes_a_round(state);
  state.SetItemsProcessed(static_cast<int64_t>(nb_links));
}
BENCHMARK(scan_resolve_and_keep_links);

void digest_page_text(benchmark::State& state) {
  for (auto _ : state) {
    for (const real_page& page : get_real_pages()) {
      benchmark::DoNotOptimize(compute_page_digest(page.text));
    }
  }
  set_bytes_a_round(state);
}
BENCHMARK(digest_page_text);

void build_text(benchmark::State& state) {
  std::string text;
  for (auto _ : state) {
    for (const real_page& page : get_real_pages()) build_page_text(text, page.text);
  }
  set_bytes_a_round(state);
}
BENCHMARK(build_text);

void libxml2_parse(benchmark::State& state) {
  for (auto _ : state) {
    for (const real_page& page : get_real_pages()) {
      const htmlDocPtr document = htmlReadMemory(
          page.text.data(), static_cast<int>(page.text.size()), nullptr, nullptr,
          HTML_PARSE_RECOVER | HTML_PARSE_NOERROR | HTML_PARSE_NOWARNING | HTML_PARSE_NONET);
      xmlFreeDoc(document);
    }
  }
  set_bytes_a_round(state);
}
BENCHMARK(libxml2_parse);

void gumbo_parse_page(benchmark::State& state) {
  for (auto _ : state) {
    for (const real_page& page : get_real_pages()) {
      GumboOutput* output =
          gumbo_parse_with_options(&kGumboDefaultOptions, page.text.data(), page.text.size());
      gumbo_destroy_output(&kGumboDefaultOptions, output);
    }
  }
  set_bytes_a_round(state);
}
BENCHMARK(gumbo_parse_page);

}  // namespace
}  // namespace wk
