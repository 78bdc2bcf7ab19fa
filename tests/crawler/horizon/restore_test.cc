#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/crawler/horizon/test_horizon.h"

namespace wk {
namespace {

std::vector<std::string> sorted(std::vector<std::string> urls) {
  std::sort(urls.begin(), urls.end());
  return urls;
}

std::vector<std::string> drain_sorted(test_horizon& h) { return sorted(drain(h)); }

void copy_files(const test_horizon& from, const test_horizon& to) {
  std::filesystem::copy(from.directory.path, to.directory.path);
}

std::vector<std::string> list_directory(const test_horizon& h) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(h.directory.path)) {
    names.push_back(entry.path().filename());
  }
  return sorted(names);
}

void make_small_horizon(test_horizon& h) {
  h.settings.nb_queues = 3;
  h.settings.queue_buffer_size = 4;
  h.settings.disk_cache_size = 1'000;
  create_test_horizon(h);
}

// Every number of URLs from none on: among them are buffers that are empty, half full and exactly
// full, with and without spill files.
TEST(save_and_restore, loses_no_url) {
  for (uint32_t nb_urls = 0; nb_urls <= 70; ++nb_urls) {
    for (const uint32_t nb_taken : {0u, 1u, 5u}) {
      SCOPED_TRACE(std::to_string(nb_urls) + " added, " + std::to_string(nb_taken) + " taken");
      test_horizon h;
      make_small_horizon(h);
      std::vector<std::string> expected;
      for (uint32_t n = 0; n < nb_urls; ++n) add(h, build_url(n));
      for (uint32_t n = 0; n < nb_urls; ++n) expected.push_back(build_url(n));
      for (uint32_t k = 0; k < nb_taken; ++k) {
        const taken_url taken = take(h);
        if (k != 1 && k != 2) continue;  // the others stay in hands
        if (k == 1) h.ops->end_url(*h.ops, taken.url);
        if (k == 2) h.ops->refuse_url(*h.ops, taken.url);
        std::erase(expected, taken.url);
      }
      ASSERT_EQ(save(h), HORIZON_OK);

      test_horizon second;
      make_small_horizon(second);
      copy_files(h, second);
      testing::internal::CaptureStderr();
      ASSERT_EQ(restore(second), HORIZON_OK);
      EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
      EXPECT_EQ(second.ops->count_urls(*second.ops), expected.size());
      for (uint32_t n = 0; n < nb_urls; ++n) add(second, build_url(n));
      EXPECT_EQ(drain_sorted(second), sorted(expected));

      ASSERT_EQ(restore(h), HORIZON_OK);  // the first one takes up its own files too
      EXPECT_EQ(drain_sorted(h), sorted(expected));
    }
  }
}

TEST(save_and_restore, keeps_order_and_makes_every_queue_due) {
  test_horizon h;
  make_small_horizon(h);
  h.ops.reset();
  h.settings.interval_seconds = 100;
  create_test_horizon(h);
  for (uint32_t n = 0; n < 30; ++n) add(h, "http://a/" + std::to_string(n));
  EXPECT_EQ(take(h).url, "http://a/0");
  h.ops->end_url(*h.ops, "http://a/0");
  EXPECT_EQ(take(h).answer, FRONTIER_WAIT);
  ASSERT_EQ(save(h), HORIZON_OK);
  ASSERT_EQ(restore(h), HORIZON_OK);
  for (uint32_t n = 1; n < 30; ++n) {
    const taken_url taken = take(h);
    EXPECT_EQ(taken.url, "http://a/" + std::to_string(n));
    EXPECT_EQ(taken.time, n == 1 ? 0 : test_time_us / SECOND);
    EXPECT_EQ(take(h).answer, n == 29 ? FRONTIER_EMPTY : FRONTIER_WAIT);
    test_time_us += 100 * SECOND;
  }
}

TEST(save_and_restore, leaves_no_stale_file) {
  test_horizon h;
  make_small_horizon(h);
  for (uint32_t n = 0; n < 40; ++n) add(h, build_url(n));
  ASSERT_EQ(save(h), HORIZON_OK);
  EXPECT_GT(list_directory(h).size(), 5u);
  drain(h);
  ASSERT_EQ(save(h), HORIZON_OK);
  EXPECT_EQ(list_directory(h), (std::vector<std::string>{"ndue_cache.txt", "ndue_mhash.txt"}));
  ASSERT_EQ(restore(h), HORIZON_OK);
  EXPECT_TRUE(h.ops->is_exhausted(*h.ops));
}

TEST(save, says_when_the_disk_refuses) {
  test_horizon h;
  h.settings.disk_cache_size = 100'000;  // whose file takes 25,008 bytes
  create_test_horizon(h);
  for (uint32_t n = 0; n < 20; ++n) add(h, build_url(n));
  testing::internal::CaptureStderr();
  for (const uint64_t max_bytes : {0, 60, 400, 4'096}) {
    const full_disk disk(max_bytes);
    EXPECT_EQ(save(h), HORIZON_IO_ERROR) << max_bytes;
  }
  EXPECT_NE(testing::internal::GetCapturedStderr().find("can't be written\n"), std::string::npos);
  EXPECT_EQ(save(h), HORIZON_OK);
  ASSERT_EQ(restore(h), HORIZON_OK);
  EXPECT_EQ(drain(h).size(), 20u);
}

TEST(restore, trusts_no_file_name_and_no_number) {
  using names = std::vector<std::pair<const char*, const char*>>;
  const std::tuple<const char*, names, std::vector<std::string>> cases[] = {
      {"a queue that does not exist", {{"nfrontier.3.tail.txt", "http://a/1\n"}}, {"http://a/1"}},
      {"a queue number beyond 32 bits",
       {{"nfrontier.99999999999.2.txt", "http://a/1\nhttp://a/2"}},
       {"http://a/1", "http://a/2"}},
      {"no numbers at all",
       {{"nfrontier", "http://a/1\n"}, {"nfrontier.x.y.z", "http://a/2\n"}},
       {"http://a/1", "http://a/2"}},
      {"a file number that does not fit",
       {{"nfrontier.1.4294967295.txt", "http://a/1\n"}},
       {"http://a/1"}},
      {"gaps between file numbers",
       {{"nfrontier.1.2147483646.txt", "http://a/3\n"}, {"nfrontier.1.9.txt", "http://a/1\n"}},
       {"http://a/1", "http://a/3"}},
      {"a buffer of exactly its capacity",
       {{"nfrontier.1.head.txt", "http://a/1\nhttp://a/2\n\nhttp://a/3\nhttp://a/4\n"}},
       {"http://a/1", "http://a/2", "http://a/3", "http://a/4"}},
      {"a buffer of more than its capacity",
       {{"nfrontier.1.head.txt", "http://a/1\nhttp://a/2\nhttp://a/3\nhttp://a/4\nhttp://a/5\n"},
        {"nfrontier.1.tail.txt", "http://a/6\n"}},
       {"http://a/1", "http://a/2", "http://a/3", "http://a/4", "http://a/5", "http://a/6"}},
      {"lines that are no URL",
       {{"nfrontier.0.tail.txt", "http://a/\x01\n\nhttp://a/1\n"},
        {"nfrontier.7.1.txt", "\x7f\nhttp://a/2\n"},
        {"ndue_pending.txt", "\t\nhttp://a/3"}},
       {"http://a/1", "http://a/2", "http://a/3"}},
  };
  for (const auto& [name, files, urls] : cases) {
    SCOPED_TRACE(name);
    test_horizon h;
    make_small_horizon(h);
    for (const auto& [file, text] : files) write_test_file(h.directory.path + "/" + file, text);
    testing::internal::CaptureStderr();
    EXPECT_EQ(restore(h), HORIZON_OK);
    EXPECT_EQ(drain_sorted(h), urls);
    testing::internal::GetCapturedStderr();
    for (const std::string& left : list_directory(h)) {
      EXPECT_FALSE(left.starts_with("nfrontier")) << left;
    }
  }
}

TEST(restore, takes_up_a_list_whose_last_line_has_no_end) {
  test_horizon h;
  h.settings.disk_cache_size = 1;  // with something on disk every URL is doubtful
  create_test_horizon(h);
  write_test_file(h.directory.path + "/ndue_disk_cache.txt", "http://a/1\n");
  write_test_file(h.directory.path + "/ndue_unknown.txt",
                  "http://a/1\nhttp://a/2\nhttp://a/1\nhttp://a/2");
  testing::internal::CaptureStderr();
  EXPECT_EQ(restore(h), HORIZON_OK);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "The ndue_mhash.txt can't be open to read!\n");
  add(h, "http://a/3");
  EXPECT_EQ(drain(h), (std::vector<std::string>{"http://a/2", "http://a/3"}));
}

TEST(restore, knows_what_was_known_whatever_became_of_the_filter) {
  const std::tuple<const char*, uint32_t, const char*> cases[] = {
      {"as it was", 100'000, nullptr},
      {"another size", 50'000, nullptr},
      {"another size in as many words", 100'003, nullptr},
      {"missing", 100'000, "missing"},
      {"cut", 100'000, "\1\0\0\0 and too short"},
      {"empty", 100'000, ""},
      {"of nothing", 100'000, nullptr},
  };
  test_horizon h;
  h.settings.disk_cache_size = 100'000;
  create_test_horizon(h);
  for (uint32_t n = 0; n < 10'500; ++n) add(h, build_url(n));
  drain(h);
  ASSERT_EQ(save(h), HORIZON_OK);
  for (const auto& [name, nb_bits, filter] : cases) {
    SCOPED_TRACE(name);
    test_horizon second;
    second.settings.disk_cache_size = nb_bits;
    create_test_horizon(second);
    copy_files(h, second);
    const std::string path = second.directory.path + "/ndue_mhash.txt";
    ASSERT_EQ(std::filesystem::file_size(path), 4 + 4 * (100'000 / 16 + 1));
    if (filter != nullptr) write_test_file(path, filter);
    if (std::string(name) == "missing") std::filesystem::remove(path);
    if (std::string(name) == "of nothing") write_test_file(path, std::string(25'008, '\0'));
    testing::internal::CaptureStderr();
    EXPECT_EQ(restore(second), HORIZON_OK);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              std::string(name) == "missing" ? "The ndue_mhash.txt can't be open to read!\n" : "");
    EXPECT_GE(second.ops->self->cache.on_disk.count, 10'000u);
    EXPECT_EQ(second.ops->self->cache.on_disk.count + second.ops->self->cache.known.count, 10'500u);
    for (uint32_t n = 0; n < 10'500; ++n) add(second, build_url(n));
    EXPECT_EQ(drain(second).size(), 0u);
    EXPECT_TRUE(second.ops->is_exhausted(*second.ops));
  }
}

TEST(restore, says_when_a_list_holds_too_many) {
  test_horizon h;
  create_test_horizon(h);
  std::string lines;
  for (uint32_t n = 0; n < 10'001; ++n) lines += build_url(n) + "\n";
  write_test_file(h.directory.path + "/ndue_cache.txt", lines);
  write_test_file(h.directory.path + "/ndue_unknown.txt", lines);
  testing::internal::CaptureStderr();
  EXPECT_EQ(restore(h), HORIZON_OK);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "too many cache urls in the filethere are too many unknowns in the file\n"
            "The ndue_mhash.txt can't be open to read!\n");
  EXPECT_EQ(h.ops->self->cache.known.count, 10'001u);
}

}  // namespace
}  // namespace wk
