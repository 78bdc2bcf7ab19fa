// What a horizon saves into its files, and what comes back from them.
#include "crawler/horizon/horizon.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <string>
#include <tuple>

#include "tests/crawler/horizon/test_horizon.h"

namespace wk {
namespace {

strings sorted(strings list) {
  std::sort(list.begin(), list.end());
  return list;
}

strings list_directory(const test_horizon& h) {
  strings names;
  for (const auto& entry : std::filesystem::directory_iterator(h.directory.path)) {
    names.push_back(entry.path().filename());
  }
  return sorted(names);
}

constexpr horizon_shape SMALL = {.nb_queues = 3, .buffer_size = 4, .filter_bits = 1'000};

// Every number of URLs from none on: among them are buffers that are empty, half full and exactly
// full, with and without spill files.
TEST(save_and_restore, loses_no_url) {
  for (uint32_t nb_urls = 0; nb_urls <= 70; ++nb_urls) {
    for (const uint32_t nb_taken : {0u, 1u, 5u}) {
      SCOPED_TRACE(std::to_string(nb_urls) + " added, " + std::to_string(nb_taken) + " taken");
      test_horizon h(SMALL), second(SMALL);
      const strings all = add_urls(h, nb_urls);
      strings expected = sorted(all);
      for (uint32_t k = 0; k < nb_taken; ++k) {
        const std::string url = take(h).url;
        if (k != 1 && k != 2) continue;  // the others stay in hands
        (k == 1 ? h.ops->end_url : h.ops->refuse_url)(*h.ops, url);
        std::erase(expected, url);
      }
      ASSERT_EQ(save(h), HORIZON_OK);
      std::filesystem::copy(h.directory.path, second.directory.path);
      for (test_horizon* each : {&second, &h}) {  // the first one takes up its own files too
        testing::internal::CaptureStderr();
        ASSERT_EQ(restore(*each), HORIZON_OK);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
        EXPECT_EQ(each->ops->count_urls(*each->ops), expected.size());
        each->ops->add_urls(*each->ops, all);
        EXPECT_EQ(sorted(drain(*each)), expected);
      }
    }
  }
}

TEST(save_and_restore, keeps_order_makes_every_queue_due_and_leaves_no_stale_file) {
  test_horizon h({.nb_queues = 3, .buffer_size = 4, .filter_bits = 1'000, .interval_seconds = 100});
  for (uint32_t n = 0; n < 70; ++n) add(h, "http://a/" + std::to_string(n));
  h.ops->end_url(*h.ops, take(h).url);
  EXPECT_EQ(take(h).answer, FRONTIER_WAIT);
  for (int i = 0; i < 2; ++i) {
    ASSERT_EQ(save(h), HORIZON_OK);
    EXPECT_GT(list_directory(h).size(), 5u);
    ASSERT_EQ(restore(h), HORIZON_OK);
  }
  for (uint32_t n = 1; n < 70; ++n) {
    const taken_url taken = take(h);
    EXPECT_EQ(taken.url, "http://a/" + std::to_string(n));
    EXPECT_EQ(taken.time, n == 1 ? 0 : test_time_us / SECOND);
    EXPECT_EQ(take(h).answer, n == 69 ? FRONTIER_EMPTY : FRONTIER_WAIT);
    h.ops->end_url(*h.ops, taken.url);
    test_time_us += 100 * SECOND;
  }
  ASSERT_EQ(save(h), HORIZON_OK);
  EXPECT_EQ(list_directory(h), (strings{"ndue_cache.txt", "ndue_mhash.txt"}));
  ASSERT_EQ(restore(h), HORIZON_OK);
  EXPECT_TRUE(h.ops->is_exhausted(*h.ops));
}

TEST(restore, trusts_no_file_name_and_no_number) {
  const std::string first = "http://a/1\n", two = first + "http://a/2\n";
  const std::string four = two + "\nhttp://a/3\nhttp://a/4\n", five = four + "http://a/5\n";
  const std::tuple<const char*, std::map<std::string, std::string>, size_t> cases[] = {
      // name, files, number of their URLs
      {"a queue that does not exist", {{"3.tail.txt", first}}, 1},
      {"a queue number beyond 32 bits", {{"99999999999.2.txt", two}}, 2},
      {"no numbers at all", {{"", first}, {"x.y.z", "http://a/2"}}, 2},
      {"a file number that does not fit", {{"1.4294967295.txt", first}}, 1},
      {"gaps between file numbers", {{"1.2147483646.txt", "http://a/2\n"}, {"1.9.txt", first}}, 2},
      {"a buffer of exactly its capacity", {{"1.head.txt", four}}, 4},
      {"a buffer of more", {{"1.head.txt", five}, {"1.tail.txt", "http://a/6\n"}}, 6},
      {"lines that are no URL", {{"0.tail.txt", "a\x01\n\n" + first}, {"7.1.txt", "\x7f\n"}}, 1},
  };
  for (const auto& [name, files, nb_urls] : cases) {
    SCOPED_TRACE(name);
    test_horizon h(SMALL);
    for (const auto& [file, text] : files) {
      write_test_file(h.directory.path + "/nfrontier" + (file.empty() ? "" : "." + file), text);
    }
    write_test_file(h.directory.path + "/ndue_pending.txt", "\t\nhttp://a/9");
    strings expected = {"http://a/9"};
    for (size_t n = nb_urls; n > 0; --n) {
      expected.insert(expected.begin(), "http://a/" + std::to_string(n));
    }
    testing::internal::CaptureStderr();
    EXPECT_EQ(restore(h), HORIZON_OK);
    for (const auto& [number, queue] : h.ops->self->frontier.queues) EXPECT_LT(number, 3u);
    EXPECT_EQ(sorted(drain(h)), expected);
    testing::internal::GetCapturedStderr();  // tells of files that do not fit, one by one
    for (const std::string& left : list_directory(h)) {
      EXPECT_FALSE(left.starts_with("nfrontier")) << left;
    }
  }
}

TEST(restore, takes_up_lists_without_a_last_line_end_and_says_when_they_are_too_long) {
  const std::string no_filter = "The ndue_mhash.txt can't be open to read!\n";
  test_horizon h({.filter_bits = 1});  // with something on disk every URL is doubtful
  write_test_file(h.directory.path + "/ndue_disk_cache.txt", "http://a/1\n");
  write_test_file(h.directory.path + "/ndue_unknown.txt",
                  "http://a/1\nhttp://a/2\nhttp://a/1\nhttp://a/2");
  testing::internal::CaptureStderr();
  EXPECT_EQ(restore(h), HORIZON_OK);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), no_filter);
  add(h, "http://a/3");
  EXPECT_EQ(drain(h), (strings{"http://a/2", "http://a/3"}));

  std::string lines;
  for (uint32_t n = 0; n < 10'001; ++n) lines += build_url(n) + "\n";
  for (const char* name : {"/ndue_cache.txt", "/ndue_unknown.txt"}) {
    write_test_file(h.directory.path + name, lines);
  }
  testing::internal::CaptureStderr();
  EXPECT_EQ(restore(h), HORIZON_OK);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "too many cache urls in the filethere are too many unknowns in the file\n" + no_filter);
  EXPECT_EQ(h.ops->self->cache.known.count, 10'001u);
}

TEST(restore, knows_what_was_known_whatever_became_of_the_filter) {
  test_horizon h({.filter_bits = 100'000});
  const strings all = add_urls(h, 10'500);
  drain(h);
  ASSERT_EQ(save(h), HORIZON_OK);
  const std::string sound = read_test_file(h.directory.path + "/ndue_mhash.txt");
  ASSERT_EQ(sound.size(), 4u + 4 * (100'000 / 16 + 1));
  const std::tuple<const char*, uint32_t, std::string> cases[] = {
      // name, bits of the horizon that restores, bytes of the file
      {"as it was", 100'000, sound},
      {"another size", 50'000, sound},
      {"another size in as many words", 100'003, sound},
      {"missing", 100'000, "missing"},
      {"cut", 100'000, sound.substr(0, 20)},
      {"empty", 100'000, ""},
      {"of nothing", 100'000, std::string(sound.size(), '\0')},
      {"without a bit", 100'000, sound.substr(0, 4) + std::string(sound.size() - 4, '\0')},
  };
  for (const auto& [name, nb_bits, filter] : cases) {
    SCOPED_TRACE(name);
    test_horizon second({.filter_bits = nb_bits});
    std::filesystem::copy(h.directory.path, second.directory.path);
    const std::string path = second.directory.path + "/ndue_mhash.txt";
    write_test_file(path, filter);
    if (filter == "missing") std::filesystem::remove(path);
    testing::internal::CaptureStderr();
    EXPECT_EQ(restore(second), HORIZON_OK);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              filter == "missing" ? "The ndue_mhash.txt can't be open to read!\n" : "");
    const url_cache& cache = second.ops->self->cache;
    EXPECT_GE(cache.on_disk.count, 10'000u);
    EXPECT_EQ(cache.on_disk.count + cache.known.count, 10'500u);
    second.ops->add_urls(*second.ops, all);
    EXPECT_EQ(drain(second).size(), 0u);
    EXPECT_TRUE(second.ops->is_exhausted(*second.ops));
  }
}

}  // namespace
}  // namespace wk
