// What is done to a URL: resolved, tested, asked for among the known ones.

#include <benchmark/benchmark.h>

#include <filesystem>
#include <string>

#include "bench/micro/real_pages.h"
#include "crawler/horizon/frontier.h"
#include "crawler/url/url_filter.h"
#include "crawler/url/url_form.h"
#include "crawler/url/url_resolve.h"
#include "wkdt/hash_string.h"

namespace wk {
namespace {

void set_items(benchmark::State& state, size_t a_round) {
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * a_round));
}

std::vector<std::string> resolve_all() {
  std::vector<std::string> urls;
  std::string url;
  for (const real_link& link : get_real_links()) {
    url.clear();
    if (build_absolute_url(url, link.value, link.base) == 0) continue;
    canonicalize_url(url);
    urls.push_back(url);
  }
  return urls;
}

void resolve_links(benchmark::State& state) {
  std::string url;
  for (auto _ : state) {
    for (const real_link& link : get_real_links()) {
      url.clear();
      benchmark::DoNotOptimize(build_absolute_url(url, link.value, link.base));
    }
  }
  set_items(state, get_real_links().size());
}
BENCHMARK(resolve_links);

void resolve_and_canonicalize_links(benchmark::State& state) {
  std::string url;
  for (auto _ : state) {
    for (const real_link& link : get_real_links()) {
      url.clear();
      if (build_absolute_url(url, link.value, link.base) == 1) canonicalize_url(url);
      benchmark::DoNotOptimize(url.data());
    }
  }
  set_items(state, get_real_links().size());
}
BENCHMARK(resolve_and_canonicalize_links);

void test_filter(benchmark::State& state) {
  const std::vector<std::string> urls = resolve_all();
  url_filter filter;
  add_url_filter(filter, URL_FILTER_RESTRICTED, URL_FILTER_URL, "http://127\\.0\\.0\\.1:8080/");
  add_url_filter(filter, URL_FILTER_EXCLUDED, URL_FILTER_EXTENSION, "zip");
  for (auto _ : state) {
    const url_filter_state now = get_state_url_filter(filter);
    for (const std::string& url : urls) {
      benchmark::DoNotOptimize(is_allowed_url_filter(now, url));
    }
  }
  set_items(state, urls.size());
}
BENCHMARK(test_filter);

// Hosts with dots as operators write them, in no order.
std::vector<std::string> make_hosts(size_t count) {
  std::vector<std::string> hosts;
  for (size_t i = 0; i < count; ++i) {
    const size_t n = i * 7'919 % count;
    hosts.push_back("http://www.site" + std::to_string(n) + (n % 2 == 0 ? ".test/" : "\\.test/"));
  }
  return hosts;
}

void add_hosts(url_filter& filter, const std::vector<std::string>& hosts) {
  uint32_t nb_added = 0;
  (void)add_list_url_filter(filter, URL_FILTER_RESTRICTED, URL_FILTER_URL, hosts, nb_added);
}

void set_up_filter_of_hosts(benchmark::State& state) {
  const std::vector<std::string> hosts = make_hosts(1'000'000);
  for (auto _ : state) {
    url_filter filter;
    add_hosts(filter, hosts);
  }
  set_items(state, hosts.size());
}
BENCHMARK(set_up_filter_of_hosts)->Iterations(1)->Unit(benchmark::kMillisecond);

// Half of the URLs are on the list; no two of them come near each other in it.
void test_filter_of_hosts(benchmark::State& state) {
  url_filter filter;
  add_hosts(filter, make_hosts(1'000'000));
  std::vector<std::string> urls;
  for (size_t i = 0; i < 200'000; ++i) {
    urls.push_back("http://www.site" + std::to_string(i * 104'729 % 2'000'000) + ".test/a/b.html");
  }
  for (auto _ : state) {
    const url_filter_state now = get_state_url_filter(filter);
    for (const std::string& url : urls) {
      benchmark::DoNotOptimize(is_allowed_url_filter(now, url));
    }
  }
  set_items(state, urls.size());
}
BENCHMARK(test_filter_of_hosts)->Unit(benchmark::kMillisecond);

void add_to_filter_of_hosts(benchmark::State& state) {
  url_filter filter;
  add_hosts(filter, make_hosts(1'000'000));
  uint64_t number = 0;
  for (auto _ : state) {
    add_url_filter(filter, URL_FILTER_RESTRICTED, URL_FILTER_REGEX,
                   "http://[^/]*\\.site" + std::to_string(number++) + "\\.test/.*");
  }
  set_items(state, 1);
}
BENCHMARK(add_to_filter_of_hosts)->Iterations(1'000)->Unit(benchmark::kMicrosecond);

struct horizon_place {
  std::string directory =
      (std::filesystem::temp_directory_path() / ("micro-" + std::to_string(::getpid()))).string() +
      "/";
  horizon_place() { std::filesystem::create_directory(directory); }
  ~horizon_place() { std::filesystem::remove_all(directory); }
};

frontier_ptr make_horizon(const horizon_place& place) {
  horizon_settings settings;
  settings.directory = place.directory;
  return create_frontier(settings);
}

// Flushes and merges included; each round adds other URLs.
void add_new_urls(benchmark::State& state) {
  const horizon_place place;
  const frontier_ptr horizon = make_horizon(place);
  std::vector<std::string> urls(1'000);
  uint64_t number = 0;
  for (auto _ : state) {
    state.PauseTiming();
    for (std::string& url : urls) {
      const uint64_t n = number++;
      url = "http://www.host" + std::to_string(n % 997) + ".example/a/" + std::to_string(n * 7919);
    }
    state.ResumeTiming();
    horizon->add_urls(*horizon, urls);
  }
  set_items(state, urls.size());
}
BENCHMARK(add_new_urls)->Iterations(200)->Unit(benchmark::kMicrosecond);

void add_known_urls(benchmark::State& state) {
  const horizon_place place;
  const frontier_ptr horizon = make_horizon(place);
  const std::vector<std::string> urls = resolve_all();
  horizon->add_urls(*horizon, urls);
  for (auto _ : state) horizon->add_urls(*horizon, urls);
  set_items(state, urls.size());
}
BENCHMARK(add_known_urls)->Unit(benchmark::kMillisecond);

void insert_into_hash_string(benchmark::State& state) {
  const std::vector<std::string> urls = resolve_all();
  const hash_string_ptr table = create_hash_string(static_cast<uint32_t>(urls.size()));
  for (auto _ : state) {
    clear_hash_string(*table);
    for (const std::string& url : urls) (void)insert_hash_string(*table, url, 1);
  }
  set_items(state, urls.size());
}
BENCHMARK(insert_into_hash_string)->Unit(benchmark::kMillisecond);

void look_up_in_hash_string(benchmark::State& state) {
  const std::vector<std::string> urls = resolve_all();
  const hash_string_ptr table = create_hash_string(static_cast<uint32_t>(urls.size()));
  for (const std::string& url : urls) (void)insert_hash_string(*table, url, 1);
  for (auto _ : state) {
    for (const std::string& url : urls) benchmark::DoNotOptimize(lookup_hash_string(url, *table));
  }
  set_items(state, urls.size());
}
BENCHMARK(look_up_in_hash_string)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace wk
