// What a page leaves behind: log records, store records; and what its bytes cost on the socket.

#include <benchmark/benchmark.h>
#include <sys/socket.h>

#include <filesystem>
#include <string>

#include "bench/micro/real_pages.h"
#include "crawler/output/log.h"
#include "crawler/output/quota.h"
#include "crawler/output/url_hold.h"
#include "wkskt/skt.h"

namespace wk {
namespace {

std::string make_directory() {
  const auto path = std::filesystem::temp_directory_path() / ("micro-" + std::to_string(getpid()));
  std::filesystem::create_directory(path);
  return path.string();
}

void log_links(benchmark::State& state) {
  const log_ptr log = open_file_log("/dev/null", true);
  const std::string text = "No. 17 : http://127.0.0.1:8080/api/java.base/java/util/List.html";
  for (auto _ : state) write_log(*log, LOG_STATUS, "link-extractor s-comment", text);
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}
BENCHMARK(log_links);

void store_pages(benchmark::State& state) {
  const std::string directory = make_directory();
  size_t nb_bytes = 0;
  {
    const url_hold_ptr store = create_flatsite_url_hold(directory, nullptr);
    quota crawl_quota;
    const std::vector<real_page>& pages = get_real_pages();
    size_t next = 0;
    for (auto _ : state) {
      const real_page& page = pages[next++ % pages.size()];
      stored_document document;
      document.url = page.url;
      document.type_name = "html";
      document.content = page.text;
      benchmark::DoNotOptimize(store_document_url_hold(*store, document, crawl_quota));
      nb_bytes += page.text.size();
    }
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
  state.SetBytesProcessed(static_cast<int64_t>(nb_bytes));
  std::filesystem::remove_all(directory);
}
BENCHMARK(store_pages)->Iterations(20'000)->Unit(benchmark::kMicrosecond);

// A head of 12 lines and a body of 26 KB through a socket pair; the writing counts too.
void read_an_answer(benchmark::State& state) {
  int ends[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) return state.SkipWithError("socketpair");
  std::string answer;
  for (int i = 0; i < 12; ++i) answer += "X-Name-Of-A-Header: value of it\r\n";
  answer += "\r\n" + std::string(26'000, 'x');
  const skt_terms terms{.limit_us = 1'000'000};
  std::string body;
  for (auto _ : state) {
    if (skt_send_all(ends[1], answer) < 0) return state.SkipWithError("send");
    skt_line_source source;
    source.handle = ends[0];
    std::string_view line = "x";
    while (line != "\r" && read_line_skt_line_source(source, line, terms) == 1) {
    }
    finish_skt_line_source(source);
    if (skt_read_until_quiet(body, ends[0], terms, 26'000) != 26'000) {
      return state.SkipWithError("short");
    }
  }
  skt_close(ends[0]);
  skt_close(ends[1]);
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * answer.size()));
}
BENCHMARK(read_an_answer);

}  // namespace
}  // namespace wk
