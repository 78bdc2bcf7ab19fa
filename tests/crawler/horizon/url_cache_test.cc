#include "crawler/horizon/url_cache.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/crawler/horizon/test_horizon.h"

namespace wk {
namespace {

std::vector<std::string> read_lines(const std::string& path) {
  std::istringstream text(read_test_file(path));
  std::vector<std::string> lines;
  for (std::string line; std::getline(text, line);) lines.push_back(line);
  return lines;
}

std::vector<std::string> read_disk_cache(const test_horizon& h) {
  return read_lines(h.directory.path + "/ndue_disk_cache.txt");
}

void expect_each_once(std::vector<std::string> handed_out, const std::set<std::string>& added) {
  EXPECT_EQ(handed_out.size(), added.size());
  std::sort(handed_out.begin(), handed_out.end());
  EXPECT_TRUE(std::equal(handed_out.begin(), handed_out.end(), added.begin(), added.end()));
}

TEST(url_cache, flushes_ten_thousand_known_urls) {
  test_horizon h;
  create_test_horizon(h);
  for (uint32_t n = 0; n < 9'999; ++n) add(h, build_url(n));
  EXPECT_FALSE(std::filesystem::exists(h.directory.path + "/ndue_disk_cache.txt"));
  EXPECT_EQ(h.ops->self->cache.known.count, 9'999u);
  add(h, build_url(9'999));
  EXPECT_EQ(h.ops->self->cache.known.count, 0u);
  EXPECT_EQ(h.ops->self->cache.on_disk.count, 10'000u);
  EXPECT_EQ(read_test_file(h.directory.path + "/ndue_cache.txt"), "");

  const std::vector<std::string> lines = read_disk_cache(h);
  ASSERT_EQ(lines.size(), 10'000u);
  EXPECT_TRUE(std::is_sorted(lines.begin(), lines.end()));
  for (uint32_t n = 0; n < 10'000; ++n) add(h, build_url(n));
  EXPECT_EQ(h.ops->count_urls(*h.ops), 10'000u);
  EXPECT_EQ(h.ops->self->cache.unknown.count, 0u);  // the memory of fingerprints knows them
}

// A filter of one bit is always set, so every URL is doubtful once something is on disk.
TEST(url_cache, asks_the_disk_about_doubtful_urls_when_the_queues_run_empty) {
  test_horizon h;
  h.settings.disk_cache_size = 1;
  create_test_horizon(h);
  for (uint32_t n = 0; n < 10'000; ++n) add(h, build_url(n));
  EXPECT_EQ(drain(h).size(), 10'000u);

  clear_fingerprint_set(h.ops->self->cache.settled);
  add(h, build_url(17));
  add(h, "http://new.example/");
  add(h, "http://new.example/");
  EXPECT_EQ(h.ops->self->cache.unknown.count, 2u);
  EXPECT_EQ(h.ops->count_urls(*h.ops), 0u);
  EXPECT_FALSE(h.ops->is_exhausted(*h.ops));
  EXPECT_EQ(drain(h), std::vector<std::string>{"http://new.example/"});
  EXPECT_TRUE(h.ops->is_exhausted(*h.ops));
  EXPECT_EQ(h.ops->self->cache.on_disk.count, 10'001u);
  EXPECT_EQ(read_disk_cache(h).size(), 10'001u);
}

TEST(url_cache, hands_out_each_distinct_url_once) {
  struct oracle_case {
    const char* name;
    uint32_t nb_bits;
    size_t nb_remembered;
    uint32_t nb_distinct;
    uint32_t take_every;
  };
  const oracle_case cases[] = {
      {"everything is doubtful", 1, 1'024, 12'000, 3},
      {"many false positives, little memory", 3'000, 1'024, 40'000, 2},
      {"the usual settings", 100'000'000, size_t{1} << 21, 40'000, 5},
      {"the queues run empty all the time", 64, 2'048, 10'300, 1},
      {"nothing is remembered", 3'000, 0, 25'000, 3},
  };
  for (const oracle_case& c : cases) {
    SCOPED_TRACE(c.name);
    test_horizon h;
    h.settings.disk_cache_size = c.nb_bits;
    h.settings.queue_buffer_size = 50;
    h.settings.nb_queues = 5;
    create_test_horizon(h);
    h.ops->self->cache.settled.max_slots = c.nb_remembered;
    std::mt19937 random(7);
    std::set<std::string> added;
    std::vector<std::string> handed_out;
    for (uint32_t i = 0; i < 3 * c.nb_distinct; ++i) {
      // New ones most of the time at first, old ones later.
      const std::string url =
          build_url(static_cast<uint32_t>(random() % (1 + std::min(i, c.nb_distinct))));
      added.insert(url);
      ASSERT_EQ(add(h, url), 1u);
      // One round in 64, so that not every URL costs a merge where all are doubtful.
      if (i % (c.take_every * 64) != 0) continue;
      for (uint32_t k = 0; k < 64; ++k) {
        const taken_url taken = take(h);
        if (taken.answer != FRONTIER_URL) break;
        handed_out.push_back(taken.url);
      }
    }
    const std::vector<std::string> rest = drain(h);
    handed_out.insert(handed_out.end(), rest.begin(), rest.end());
    expect_each_once(handed_out, added);
    const std::vector<std::string> on_disk = read_disk_cache(h);
    EXPECT_EQ(on_disk.size(), h.ops->self->cache.on_disk.count);
    EXPECT_TRUE(std::is_sorted(on_disk.begin(), on_disk.end()));
    EXPECT_EQ(std::adjacent_find(on_disk.begin(), on_disk.end()), on_disk.end());
    EXPECT_EQ(on_disk.size() + h.ops->self->cache.known.count, added.size());
  }
}

// Each limit lets another file be the first that the disk refuses: a spill, the list, its sorted
// form, the merged file. Whatever it is, nothing is lost and nothing comes twice.
TEST(url_cache, survives_a_full_disk) {
  for (const uint64_t max_bytes : {0, 5'000, 200'000, 310'000, 500'000, 530'000}) {
    for (const uint32_t nb_bits : {1u, 1'000'000u}) {
      SCOPED_TRACE(std::to_string(max_bytes) + " bytes, bits " + std::to_string(nb_bits));
      test_horizon h;
      h.settings.disk_cache_size = nb_bits;
      h.settings.queue_buffer_size = 300;
      h.settings.nb_queues = 7;
      create_test_horizon(h);
      h.ops->self->cache.settled.max_slots = 1'024;
      std::set<std::string> added;
      const auto add_range = [&h, &added](uint32_t first, uint32_t last) {
        for (uint32_t n = first; n < last; ++n) {
          added.insert(build_url(n));
          add(h, build_url(n));
          add(h, build_url(n / 2));
        }
      };
      testing::internal::CaptureStderr();
      add_range(0, 11'000);
      std::vector<std::string> handed_out;
      {
        const full_disk disk(max_bytes);
        add_range(11'000, 24'000);
        handed_out = drain(h);
      }
      EXPECT_FALSE(std::filesystem::exists(h.directory.path + "/ndue_disk_cache.txt.new"));
      add_range(24'000, 26'000);
      test_time_us += 10 * SECOND;
      const std::vector<std::string> rest = drain(h);
      handed_out.insert(handed_out.end(), rest.begin(), rest.end());
      const std::string said = testing::internal::GetCapturedStderr();
      expect_each_once(handed_out, added);
      EXPECT_TRUE(h.ops->is_exhausted(*h.ops));
      EXPECT_EQ(read_disk_cache(h).size() + h.ops->self->cache.known.count, added.size());
      EXPECT_TRUE(max_bytes < 4'096 || said.find("URLs") != std::string::npos) << said;
    }
  }
}

TEST(url_cache, counts_what_its_memory_spares) {
  constexpr uint32_t NB_URLS = 20'000;
  for (const uint32_t memory_bytes : {0U, 1U << 20}) {
    SCOPED_TRACE(memory_bytes);
    test_horizon h;
    h.settings.url_memory_bytes = memory_bytes;
    create_test_horizon(h);
    for (uint32_t n = 0; n < NB_URLS; ++n) add(h, build_url(n % (NB_URLS / 2)));
    const url_cache_counts counts = get_counts_horizon(*h.ops->self);
    EXPECT_EQ(counts.nb_added, NB_URLS);
    EXPECT_EQ(counts.nb_flushes, 1u);
    EXPECT_EQ(counts.nb_doubtful, memory_bytes == 0 ? NB_URLS / 2 : 0);
    EXPECT_EQ(counts.nb_merges, memory_bytes == 0 ? 1u : 0u);
    EXPECT_EQ(h.ops->count_urls(*h.ops), NB_URLS / 2);
  }
}

TEST(url_cache, keeps_doubtful_urls_while_a_merge_is_refused) {
  test_horizon h;
  h.settings.disk_cache_size = 1;
  create_test_horizon(h);
  for (uint32_t n = 0; n < 10'000; ++n) add(h, build_url(n));
  EXPECT_EQ(drain(h).size(), 10'000u);
  const std::string before = read_test_file(h.directory.path + "/ndue_disk_cache.txt");
  add(h, "http://new.example/1");
  testing::internal::CaptureStderr();
  {
    const full_disk disk(10'000);
    EXPECT_EQ(take(h).answer, FRONTIER_EMPTY);
    EXPECT_EQ(take(h).answer, FRONTIER_EMPTY);
    EXPECT_FALSE(h.ops->is_exhausted(*h.ops));
  }
  const std::string said = testing::internal::GetCapturedStderr();
  const std::string message = h.directory.path +
                              "/ndue_unknown.txt can't be merged into the disk cache, 1 URLs are "
                              "kept\n";
  EXPECT_EQ(said, message);  // once: the second look came too soon for another try
  EXPECT_EQ(read_test_file(h.directory.path + "/ndue_disk_cache.txt"), before);
  add(h, "http://new.example/2");
  test_time_us += SECOND;
  EXPECT_EQ(drain(h).size(), 2u);
}

TEST(url_cache, says_which_urls_it_cannot_take_without_its_directory) {
  test_horizon h;
  create_test_horizon(h);
  std::filesystem::remove(h.directory.path);
  testing::internal::CaptureStderr();
  EXPECT_EQ(add(h, "http://a/1"), 1u);
  EXPECT_EQ(add(h, "http://a/1"), 1u);
  EXPECT_EQ(h.ops->count_urls(*h.ops), 0u);
  const std::string said = testing::internal::GetCapturedStderr();
  EXPECT_NE(said.find("2 URLs were not taken so far\n"), std::string::npos) << said;
  std::filesystem::create_directory(h.directory.path);
  add(h, "http://a/1");
  EXPECT_EQ(drain(h).size(), 1u);
}

}  // namespace
}  // namespace wk
