#include "crawler/horizon/url_cache.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <optional>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <tuple>

#include "tests/crawler/horizon/test_horizon.h"

namespace wk {
namespace {

strings read_disk_cache(const test_horizon& h) {
  std::istringstream text(read_test_file(h.directory.path + "/ndue_disk_cache.txt"));
  strings lines;
  for (std::string line; std::getline(text, line);) lines.push_back(line);
  return lines;
}

// Takes what is left: each URL was handed out once, and each is known, in a sorted disk cache.
void expect_each_once(test_horizon& h, strings handed_out, const std::set<std::string>& added) {
  const strings rest = drain(h);
  handed_out.insert(handed_out.end(), rest.begin(), rest.end());
  std::sort(handed_out.begin(), handed_out.end());
  EXPECT_EQ(handed_out.size(), added.size());
  EXPECT_TRUE(std::equal(handed_out.begin(), handed_out.end(), added.begin(), added.end()));
  EXPECT_TRUE(h.ops->is_exhausted(*h.ops));
  const strings on_disk = read_disk_cache(h);
  EXPECT_EQ(on_disk.size(), h.ops->self->cache.on_disk.count);
  const auto falls = std::greater_equal<>();
  EXPECT_EQ(std::adjacent_find(on_disk.begin(), on_disk.end(), falls), on_disk.end());
  EXPECT_EQ(on_disk.size() + h.ops->self->cache.known.count, added.size());
}

TEST(url_cache, flushes_ten_thousand_known_urls_and_merges_as_many_doubtful_ones) {
  for (const uint32_t memory_bytes : {0U, 1U << 20}) {
    test_horizon h({.memory_bytes = memory_bytes});
    add_urls(h, 9'999);
    EXPECT_FALSE(std::filesystem::exists(h.directory.path + "/ndue_disk_cache.txt"));
    add_urls(h, 10'000);
    EXPECT_EQ(read_test_file(h.directory.path + "/ndue_cache.txt"), "");
    EXPECT_EQ(read_disk_cache(h).size(), 10'000u);
    add_urls(h, 10'000);
    const url_cache_counts counts = get_counts_horizon(*h.ops->self);
    EXPECT_EQ(
        std::tie(counts.nb_added, counts.nb_flushes, counts.nb_doubtful, counts.nb_merges),
        std::tuple(29'999u, 1u, memory_bytes == 0 ? 10'000u : 0u, memory_bytes == 0 ? 1u : 0u));
    EXPECT_EQ(h.ops->count_urls(*h.ops), 10'000u);
  }
}

// A filter of one bit is always set, so every URL is doubtful once something is on disk.
TEST(url_cache, asks_the_disk_about_doubtful_urls_when_the_queues_run_empty) {
  test_horizon h({.filter_bits = 1});
  add_urls(h, 10'000);
  EXPECT_EQ(drain(h).size(), 10'000u);
  clear_fingerprint_set(h.ops->self->cache.settled);
  const strings before = read_disk_cache(h);
  h.ops->add_urls(*h.ops, strings{build_url(17), "http://new/1", "http://new/1"});
  EXPECT_EQ(h.ops->self->cache.unknown.count, 2u);
  EXPECT_EQ(h.ops->count_urls(*h.ops), 0u);
  testing::internal::CaptureStderr();
  {
    const full_disk disk(10'000);
    EXPECT_EQ(take(h).answer, FRONTIER_EMPTY);
    EXPECT_EQ(take(h).answer, FRONTIER_EMPTY);  // too soon for another try
    EXPECT_FALSE(h.ops->is_exhausted(*h.ops));
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            h.directory.path +
                "/ndue_unknown.txt can't be merged into the disk cache, 2 URLs are kept\n");
  EXPECT_EQ(read_disk_cache(h), before);
  add(h, "http://new/2");
  test_time_us += SECOND;
  EXPECT_EQ(drain(h), (strings{"http://new/1", "http://new/2"}));
  EXPECT_TRUE(h.ops->is_exhausted(*h.ops));
  EXPECT_EQ(read_disk_cache(h).size(), 10'002u);
}

struct crawl_case {
  const char* name;
  uint32_t nb_bits;      // of the filter
  size_t nb_remembered;  // URLs in the memory of known ones
  uint32_t nb_distinct;  // URLs; three times as many are added
  uint32_t take_every;   // so many additions one is taken
  uint64_t max_bytes;    // no file may grow beyond it in the middle third; 0: no limit
};

// Adds, new ones most of the time at first, old ones later, and takes between.
void crawl(test_horizon& h, const crawl_case& c, std::set<std::string>& added, strings& taken) {
  std::mt19937 random(7);
  std::optional<full_disk> disk;
  for (uint32_t i = 0; i < 3 * c.nb_distinct; ++i) {
    if (i == c.nb_distinct && c.max_bytes > 0) disk.emplace(c.max_bytes);
    if (i == 2 * c.nb_distinct) disk.reset();
    const std::string url =
        build_url(static_cast<uint32_t>(random() % (1 + std::min(i, c.nb_distinct))));
    added.insert(url);
    ASSERT_EQ(add(h, url), 1u);
    // 64 at once, so that not every URL costs a merge where all are doubtful.
    for (uint32_t k = 0; k < 64 && i % (c.take_every * 64) == 0; ++k) {
      const taken_url next = take(h);
      if (next.answer != FRONTIER_URL) break;
      h.ops->end_url(*h.ops, next.url);
      taken.push_back(next.url);
    }
  }
}

TEST(url_cache, hands_out_each_distinct_url_once_whatever_the_disk_refuses) {
  const crawl_case cases[] = {
      {"everything is doubtful", 1, 1'024, 12'000, 3, 0},
      {"many false positives, little memory", 3'000, 1'024, 40'000, 2, 0},
      {"the usual settings", 100'000'000, size_t{1} << 21, 40'000, 5, 0},
      {"the queues run empty all the time", 64, 2'048, 10'300, 1, 0},
      {"nothing is remembered", 3'000, 0, 25'000, 3, 0},
      // Each limit lets another file be the first that the disk refuses.
      {"no byte", 1, 1'024, 25'000, 2, 1},
      {"no spill file", 1'000'000, 1'024, 25'000, 2, 5'000},
      {"no list", 1, 1'024, 25'000, 2, 150'000},
      {"no sorted list", 1'000'000, 1'024, 25'000, 2, 290'000},
      {"no merged file", 1, 1'024, 25'000, 2, 500'000},
  };
  for (const crawl_case& c : cases) {
    SCOPED_TRACE(c.name);
    test_horizon h({.nb_queues = 5, .buffer_size = 300, .filter_bits = c.nb_bits});
    h.ops->self->cache.settled.max_slots = c.nb_remembered;
    std::set<std::string> added;
    strings taken;
    testing::internal::CaptureStderr();
    crawl(h, c, added, taken);
    EXPECT_FALSE(std::filesystem::exists(h.directory.path + "/ndue_disk_cache.txt.new"));
    test_time_us += 10 * SECOND;
    expect_each_once(h, taken, added);
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_EQ(said.find(" URLs ") != std::string::npos, c.max_bytes > 1) << said;  // or cut
  }
}

TEST(url_cache, says_which_urls_it_cannot_take_without_its_directory) {
  test_horizon h;
  std::filesystem::remove(h.directory.path);
  testing::internal::CaptureStderr();
  for (int i = 0; i < 2; ++i) EXPECT_EQ(add(h, "http://a/1"), 1u);
  EXPECT_EQ(h.ops->count_urls(*h.ops), 0u);
  const std::string said = testing::internal::GetCapturedStderr();
  EXPECT_NE(said.find("2 URLs were not taken so far\n"), std::string::npos) << said;
  std::filesystem::create_directory(h.directory.path);
  add(h, "http://a/1");
  EXPECT_EQ(drain(h).size(), 1u);
}

}  // namespace
}  // namespace wk
