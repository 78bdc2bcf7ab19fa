// What the robots cache of a large crawl costs: asks about the hosts of a made up web, none of
// which has rules, and prints the memory a host takes and the time of a question; then the memory
// of hosts with large files, and the time of reading and of asking the largest ones.
//
// Usage: robots [NUMBER OF HOSTS]   1,000,000 when not given
//
// No network: every fetch is answered 404 at once. Memory is what the allocator has handed out. One
// thread. Exit code 1 when a host takes 200 bytes or more.
#include <malloc.h>

#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "crawler/fetch/robots_cache.h"

namespace wk {
namespace {

constexpr double MAX_BYTES_A_HOST = 200;
constexpr uint32_t NB_QUESTIONS = 1'000'000;
constexpr uint32_t NB_LARGE_HOSTS = 250;
constexpr size_t LARGE_FILE_BYTES = 1'400'000;

uint64_t read_clock_ns() {
  return static_cast<uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
}

size_t count_allocated_bytes() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

uint32_t answer_not_found(http_request&, http_response& response, const http_surroundings&, void*) {
  return response.status = 404;
}

// 14 to 27 bytes of host: "www.site-1.example" and so on. The numbers come in a scattered order.
std::string make_url(uint64_t i, uint64_t nb_hosts) {
  return "http://www.site-" + std::to_string(i * 7'919 % nb_hosts) + ".example/page.html";
}

bool measure_hosts(uint64_t nb_hosts) {
  const fetch_settings settings;
  http_transport transport;
  transport.get = answer_not_found;
  const http_fetcher_ptr fetcher = create_http_fetcher(settings);
  fetcher->transport = &transport;
  const robots_cache_ptr cache = create_robots_cache(settings);
  if (robots_allowed(*cache, "http://first.example/", *fetcher) == 0) return false;

  const size_t bytes_before = count_allocated_bytes();
  uint64_t start_ns = read_clock_ns();
  for (uint64_t i = 0; i < nb_hosts; ++i) {
    if (robots_allowed(*cache, make_url(i, nb_hosts), *fetcher) == 0) return false;
  }
  const uint64_t first_ns = read_clock_ns() - start_ns;
  const uint64_t nb_held = get_counts_robots_cache(*cache).nb_hosts - 1;
  const double bytes =
      static_cast<double>(count_allocated_bytes() - bytes_before) / static_cast<double>(nb_held);

  start_ns = read_clock_ns();
  for (uint64_t i = 0; i < NB_QUESTIONS; ++i) {
    if (robots_allowed(*cache, make_url(i * 31, nb_hosts), *fetcher) == 0) return false;
  }
  const uint64_t known_ns = read_clock_ns() - start_ns;
  std::printf("%" PRIu64 " hosts without rules: %.1f bytes a host\n", nb_held, bytes);
  std::printf("question about a new host %" PRIu64 " ns, about a known one %" PRIu64 " ns\n",
              first_ns / nb_hosts, known_ns / NB_QUESTIONS);
  return bytes < MAX_BYTES_A_HOST;
}

void measure_file(const char* name, std::string text) {
  const size_t nb_bytes = text.size();
  uint64_t start_ns = read_clock_ns();
  const robots_rules_ptr rules = robots_parse(text, "h", "bot");
  const uint64_t parse_ns = read_clock_ns() - start_ns;
  uint64_t nb_refused = 0;
  start_ns = read_clock_ns();
  for (uint32_t i = 0; rules != nullptr && i < NB_QUESTIONS; ++i) {
    nb_refused += robots_match(*rules, "http://h/dir-" + std::to_string(i) + "/x") == 0 ? 1 : 0;
  }
  const uint64_t match_ns = (read_clock_ns() - start_ns) / NB_QUESTIONS;
  std::printf("%s: %zu bytes read in %" PRIu64 " us, %u rules kept, question %" PRIu64
              " ns, %" PRIu64 " refused\n",
              name, nb_bytes, parse_ns / 1000, rules == nullptr ? 0 : rules->paths->nb_paths,
              match_ns, nb_refused);
}

std::string make_rules(uint32_t nb_rules) {
  std::string text = "User-agent: *\n";
  for (uint32_t i = 0; i < nb_rules; ++i) text += "Disallow: /dir-" + std::to_string(i) + "/\n";
  return text;
}

// A page of an archive for each rule, the numbers scattered; nb_files hosts have each their own.
uint32_t answer_large_file(http_request& request, http_response& response, const http_surroundings&,
                           void* nb_files) {
  uint64_t number = std::strtoull(request.target.host.c_str(), nullptr, 10);
  number = number % *static_cast<const uint64_t*>(nb_files) * 0x9E37'79B9'7F4A'7C15;
  response.body = "User-agent: *\n";
  while (response.body.size() < LARGE_FILE_BYTES) {
    number += 6'364'136'223'846'793'005;
    response.body += "Disallow: /archive/" + std::to_string(number >> 40) + "/\n";
  }
  return response.status = 200;
}

void measure_large_files(uint64_t nb_files) {
  const fetch_settings settings;
  http_transport transport;
  transport.get = answer_large_file;
  transport.get_context = &nb_files;
  const http_fetcher_ptr fetcher = create_http_fetcher(settings);
  fetcher->transport = &transport;
  const robots_cache_ptr cache = create_robots_cache(settings);
  (void)robots_allowed(*cache, "http://0.example/", *fetcher);  // the fetcher's own memory
  const size_t bytes_before = count_allocated_bytes();
  for (uint32_t i = 1; i <= NB_LARGE_HOSTS; ++i) {
    (void)robots_allowed(*cache, "http://" + std::to_string(i) + ".example/", *fetcher);
  }
  std::printf("%u hosts with files of %zu bytes, %" PRIu64 " different ones: %zu bytes a host\n",
              NB_LARGE_HOSTS, LARGE_FILE_BYTES, nb_files,
              (count_allocated_bytes() - bytes_before) / NB_LARGE_HOSTS);
}

}  // namespace
}  // namespace wk

int main(int nb_arguments, char** arguments) {
  const uint64_t nb_hosts = nb_arguments > 1 ? std::strtoull(arguments[1], nullptr, 10) : 1'000'000;
  if (nb_hosts == 0) return 2;
  wk::measure_file("10 rules", wk::make_rules(10));
  wk::measure_file("100,000 rules", wk::make_rules(100'000));
  wk::measure_file("5 MB of one line", std::string(5'000'000, 'a'));
  wk::measure_large_files(1);
  wk::measure_large_files(wk::NB_LARGE_HOSTS);
  return wk::measure_hosts(nb_hosts) ? 0 : 1;
}
