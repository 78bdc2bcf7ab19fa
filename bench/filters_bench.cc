// What a long filter list costs: sets up the excluded side of a URL filter with many entries of the
// kinds that profiles hold, tests made up URLs against it, and does the same with a loop over one
// compiled expression an entry.
//
// Usage: filters [NUMBER OF ENTRIES]   10,000 when not given
//
// One thread. A third of the entries are prefixes, a third extensions behind a host, a third
// expressions. One URL in ten is refused; both ways must refuse the same ones. Exit code 1 when
// they differ, or when set-up takes 2 s or a test 2 us.
#include <malloc.h>
#include <re2/re2.h>

#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "crawler/url/url_filter.h"

namespace wk {
namespace {

constexpr double MAX_SET_UP_MS = 2'000;
constexpr double MAX_TEST_NS = 2'000;
constexpr uint32_t NB_URLS = 1'000'000;
constexpr uint32_t NB_LOOP_URLS = 2'000;  // the loop is too slow for more

double read_clock_ms() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<double>(std::chrono::nanoseconds(now).count()) / 1e6;
}

size_t count_allocated_bytes() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

std::string make_entry(uint32_t i) {
  const std::string number = std::to_string(i);
  switch (i % 3) {
    case 0:
      return "http://www\\.shop-" + number + "\\.example/basket/.*";
    case 1:
      return "http://[^/]*\\.news-" + number + "\\.example/.*\\.(gif|jpg)";
    default:
      return ".*[?&](sid|session)-" + number + "=[0-9a-f]*(&.*)?";
  }
}

std::vector<std::string> make_entries(uint32_t count) {
  std::vector<std::string> entries;
  for (uint32_t i = 0; i < count; ++i) entries.push_back(make_entry(i));
  return entries;
}

// One in ten meets an entry; the others come close.
std::string make_url(uint32_t i, uint32_t nb_entries) {
  const std::string number = std::to_string(i * 7'919u % nb_entries);
  const std::string page = "article-" + std::to_string(i) + ".html";
  switch (i % 30) {
    case 0:
      return "http://www.shop-" + std::to_string(i / 30 * 3 % nb_entries) + ".example/basket/a";
    case 10:
      return "http://a.news-" + std::to_string(i / 30 * 3 % nb_entries + 1) + ".example/x.gif";
    case 20:
      return "http://b.example/?a=1&sid-" + std::to_string(i / 30 * 3 % nb_entries + 2) + "=0f";
    default:
      break;
  }
  switch (i % 3) {
    case 0:
      return "http://www.shop-" + number + ".example/goods/" + page;
    case 1:
      return "http://b.news-" + number + ".example/2026/11/" + page;
    default:
      return "http://www.site-" + number + ".example/a/b/" + page + "?page=3&id=17";
  }
}

using expressions = std::vector<std::unique_ptr<re2::RE2>>;

expressions compile_one_by_one(const std::vector<std::string>& entries) {
  re2::RE2::Options options;
  options.set_encoding(re2::RE2::Options::EncodingLatin1);
  expressions compiled;
  for (const std::string& entry : entries) {
    compiled.push_back(std::make_unique<re2::RE2>(entry, options));
  }
  return compiled;
}

bool is_refused(const expressions& compiled, const std::string& url) {
  for (const auto& expression : compiled) {
    if (re2::RE2::FullMatch(url, *expression)) return true;
  }
  return false;
}

bool measure(uint32_t nb_entries) {
  const std::vector<std::string> entries = make_entries(nb_entries);
  std::vector<std::string> urls;
  for (uint32_t i = 0; i < NB_URLS; ++i) urls.push_back(make_url(i, nb_entries));

  size_t bytes = count_allocated_bytes();
  double start = read_clock_ms();
  url_filter filter;
  uint32_t nb_added = 0;
  if (!add_list_url_filter(filter, URL_FILTER_EXCLUDED, URL_FILTER_REGEX, entries, nb_added)) {
    return false;
  }
  (void)is_allowed_url_filter(filter, urls[0]);
  const double set_up_ms = read_clock_ms() - start;

  start = read_clock_ms();
  uint64_t nb_refused = 0;
  for (const std::string& url : urls) nb_refused += is_allowed_url_filter(filter, url) ? 0 : 1;
  const double test_ns = (read_clock_ms() - start) * 1e6 / NB_URLS;
  std::printf("one set: %u of %u entries, set-up %.0f ms, test %.0f ns, %" PRIu64
              " of %u URLs refused, %.1f MB\n",
              nb_added, nb_entries, set_up_ms, test_ns, nb_refused, NB_URLS,
              static_cast<double>(count_allocated_bytes() - bytes) / 1e6);

  bytes = count_allocated_bytes();
  start = read_clock_ms();
  const expressions compiled = compile_one_by_one(entries);
  const double loop_set_up_ms = read_clock_ms() - start;
  bool same = true;
  start = read_clock_ms();
  for (uint32_t i = 0; i < NB_LOOP_URLS; ++i) {
    same = is_refused(compiled, urls[i]) != is_allowed_url_filter(filter, urls[i]) && same;
  }
  std::printf("one by one: set-up %.0f ms, test %.0f ns, %.1f MB; %s\n", loop_set_up_ms,
              (read_clock_ms() - start) * 1e6 / NB_LOOP_URLS,
              static_cast<double>(count_allocated_bytes() - bytes) / 1e6,
              same ? "both refuse the same URLs" : "THE TWO DIFFER");
  return same && nb_added == nb_entries && set_up_ms < MAX_SET_UP_MS && test_ns < MAX_TEST_NS;
}

}  // namespace
}  // namespace wk

int main(int nb_arguments, char** arguments) {
  const uint64_t nb_entries = nb_arguments > 1 ? std::strtoull(arguments[1], nullptr, 10) : 10'000;
  if (nb_entries < 3 || nb_entries > 1'000'000) return 2;
  return wk::measure(static_cast<uint32_t>(nb_entries)) ? 0 : 1;
}
