#include "crawler/horizon/url_queue.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "crawler/horizon/queue_file_name.h"
#include "tests/crawler/horizon/test_horizon.h"

namespace wk {
namespace {

struct queue_in_directory {
  temp_directory directory;
  url_queue queue;
};

void make_queue(queue_in_directory& q, uint32_t capacity) {
  init_url_queue(q.queue, q.directory.path, 0, capacity);
}

std::string name_url(uint32_t n) { return "http://a/" + std::to_string(n); }

void push(queue_in_directory& q, uint32_t first, uint32_t last) {
  for (uint32_t n = first; n <= last; ++n) push_url_queue(q.queue, name_url(n));
}

// Pops up to nb_urls; the numbers, blank-separated.
std::string pop(queue_in_directory& q, uint32_t nb_urls) {
  std::string numbers;
  std::string url;
  for (uint32_t i = 0; i < nb_urls && pop_url_queue(url, q.queue); ++i) {
    numbers += (i == 0 ? "" : " ") + url.substr(9);
  }
  return numbers;
}

size_t count_files(const queue_in_directory& q) {
  const std::filesystem::directory_iterator files(q.directory.path);
  return static_cast<size_t>(std::distance(begin(files), end(files)));
}

TEST(url_queue, keeps_the_order_through_its_spill_files) {
  queue_in_directory q;
  make_queue(q, 2);
  push(q, 1, 7);
  EXPECT_EQ(read_test_file(q.directory.path + "/nfrontier.0.0.txt"), "http://a/3\nhttp://a/4\n");
  EXPECT_EQ(read_test_file(q.directory.path + "/nfrontier.0.1.txt"), "http://a/5\nhttp://a/6\n");
  EXPECT_EQ(q.queue.count, 7u);
  EXPECT_EQ(pop(q, 3), "1 2 3");
  EXPECT_EQ(count_files(q), 1u);
  push(q, 8, 9);
  EXPECT_EQ(pop(q, 10), "4 5 6 7 8 9");
  EXPECT_EQ(count_files(q), 0u);
  EXPECT_EQ(q.queue.count, 0u);
}

TEST(url_queue, keeps_the_order_for_every_capacity_and_rhythm) {
  for (uint32_t capacity = 1; capacity <= 5; ++capacity) {
    for (uint32_t rhythm = 1; rhythm <= 11; ++rhythm) {
      queue_in_directory q;
      make_queue(q, capacity);
      uint32_t next_in = 1, next_out = 1;
      for (uint32_t round = 0; round < 12; ++round) {
        push(q, next_in, next_in + rhythm);
        next_in += rhythm + 1;
        for (uint32_t i = 0; i < rhythm - rhythm / 3; ++i) {
          ASSERT_EQ(pop(q, 1), std::to_string(next_out++)) << capacity << ' ' << rhythm;
        }
        ASSERT_EQ(q.queue.count, next_in - next_out);
      }
      while (next_out < next_in) ASSERT_EQ(pop(q, 1), std::to_string(next_out++));
      EXPECT_EQ(pop(q, 1), "");
      EXPECT_EQ(count_files(q), 0u);
    }
  }
}

TEST(url_queue, keeps_in_memory_what_the_disk_refuses) {
  queue_in_directory q;
  make_queue(q, 3);
  testing::internal::CaptureStderr();
  {
    const full_disk disk(5);
    push(q, 1, 20);
  }
  EXPECT_EQ(count_files(q), 0u);
  EXPECT_EQ(q.queue.count, 20u);
  push(q, 21, 30);
  EXPECT_GT(count_files(q), 0u);
  EXPECT_LE(q.queue.tail.count, 4u);
  EXPECT_EQ(pop(q, 40),
            "1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20 21 22 23 24 25 26 27 28 29 30");
  EXPECT_EQ(count_files(q), 0u);
  testing::internal::GetCapturedStderr();  // tells of refusals, which other cases read
}

TEST(url_queue, says_how_much_a_file_lacks_and_serves_what_there_is) {
  const std::tuple<const char*, const char*, const char*, const char*> cases[] = {
      {"gone", nullptr, "1 2 5", "gave 0 URLs instead of 2\n"},
      {"cut short", "http://a/3\n", "1 2 3 5", "gave 1 URLs instead of 2\n"},
      {"blank lines", "\nhttp://a/3\n\nhttp://a/4", "1 2 3 4 5", ""},
      {"longer", "http://a/3\nhttp://a/4\nhttp://a/6\nhttp://a/7\n", "1 2 3 4 5 6 7", ""},
      {"bytes that no URL has", "http://a/\x01\nhttp://a/4\n", "1 2 4 5", "gave 1 URLs instead"},
  };
  for (const auto& [name, contents, order, message] : cases) {
    SCOPED_TRACE(name);
    queue_in_directory q;
    make_queue(q, 2);
    push(q, 1, 5);
    const std::string path = q.directory.path + "/nfrontier.0.0.txt";
    std::filesystem::remove(path);
    if (contents != nullptr) write_test_file(path, contents);
    testing::internal::CaptureStderr();
    EXPECT_EQ(pop(q, 9), order);
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_EQ(said.empty(), *message == '\0') << said;
    EXPECT_NE(said.find(message), std::string::npos) << said;
    EXPECT_EQ(q.queue.count, 0u);
    EXPECT_EQ(count_files(q), 0u);
  }
}

TEST(url_queue, waits_for_a_file_that_cannot_be_opened_at_the_moment) {
  queue_in_directory q;
  make_queue(q, 2);
  push(q, 1, 5);
  const std::string path = q.directory.path + "/nfrontier.0.0.txt";
  std::filesystem::rename(path, path + ".away");
  std::filesystem::create_symlink(path, path);  // a link to itself: ELOOP
  testing::internal::CaptureStderr();
  EXPECT_EQ(pop(q, 9), "1 2 5");
  EXPECT_EQ(q.queue.count, 2u);
  EXPECT_EQ(pop(q, 1), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), path + " can't be read, its URLs wait\n" +
                                                        path + " can't be read, its URLs wait\n" +
                                                        path + " can't be read, its URLs wait\n");
  std::filesystem::rename(path + ".away", path);
  EXPECT_EQ(pop(q, 9), "3 4");
}

TEST(queue_file_name, is_taken_only_in_its_one_spelling) {
  const std::tuple<const char*, queue_file_kind, uint32_t, uint32_t> cases[] = {
      {"nfrontier.3.head.txt", QUEUE_FILE_HEAD, 3, 0},
      {"nfrontier.0.tail.txt", QUEUE_FILE_TAIL, 0, 0},
      {"nfrontier.12.2147483646.txt", QUEUE_FILE_SPILL, 12, 2'147'483'646},
      {"nfrontier.12.2147483647.txt", QUEUE_FILE_FOREIGN, 0, 0},
      {"nfrontier.99999999999999999999.1.txt", QUEUE_FILE_FOREIGN, 0, 0},
      {"nfrontier.1.07.txt", QUEUE_FILE_FOREIGN, 0, 0},
      {"nfrontier.-1.7.txt", QUEUE_FILE_FOREIGN, 0, 0},
      {"nfrontier.1.7.txt.bak", QUEUE_FILE_FOREIGN, 0, 0},
      {"nfrontier.1..txt", QUEUE_FILE_FOREIGN, 0, 0},
      {"nfrontier..1.txt", QUEUE_FILE_FOREIGN, 0, 0},
      {"nfrontierx.1.1.txt", QUEUE_FILE_FOREIGN, 0, 0},
      {"nfrontier", QUEUE_FILE_FOREIGN, 0, 0},
      {"ndue_cache.txt", QUEUE_FILE_NONE, 0, 0},
  };
  for (const auto& [name, kind, queue, number] : cases) {
    const queue_file_name parsed = parse_queue_file_name(name);
    EXPECT_EQ(parsed.kind, kind) << name;
    if (kind < QUEUE_FILE_HEAD) continue;
    EXPECT_EQ(parsed.queue, queue) << name;
    EXPECT_EQ(parsed.number, number) << name;
  }
}

}  // namespace
}  // namespace wk
