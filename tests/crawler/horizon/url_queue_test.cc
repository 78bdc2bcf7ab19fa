#include "crawler/horizon/url_queue.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <tuple>
#include <utility>

#include "crawler/horizon/queue_file_name.h"
#include "tests/crawler/horizon/test_horizon.h"

namespace wk {
namespace {

struct queue_in_directory {
  temp_directory directory;
  url_queue queue;
  std::string first_file = directory.path + "/nfrontier.0.0.txt";

  explicit queue_in_directory(uint32_t capacity) {
    init_url_queue(queue, directory.path, 0, capacity);
  }
};

void push(queue_in_directory& q, uint32_t first, uint32_t last) {
  for (uint32_t n = first; n <= last; ++n) {
    push_url_queue(q.queue, "http://a/" + std::to_string(n));
  }
}

// Pops up to nb_urls; the numbers, blank-separated.
std::string pop(queue_in_directory& q, uint32_t nb_urls) {
  std::string numbers, url;
  for (uint32_t i = 0; i < nb_urls && pop_url_queue(url, q.queue); ++i) {
    numbers += (i == 0 ? "" : " ") + url.substr(9);
  }
  return numbers;
}

std::string count_up(uint32_t first, uint32_t last) {
  std::string numbers;
  for (uint32_t n = first; n <= last; ++n) numbers += (n == first ? "" : " ") + std::to_string(n);
  return numbers;
}

size_t count_files(const queue_in_directory& q) {
  const std::filesystem::directory_iterator files(q.directory.path);
  return static_cast<size_t>(std::distance(begin(files), end(files)));
}

TEST(url_queue, keeps_the_order_for_every_capacity_and_rhythm) {
  for (uint32_t capacity = 1; capacity <= 5; ++capacity) {
    for (uint32_t nb_in = 2; nb_in <= 12; ++nb_in) {
      SCOPED_TRACE(testing::PrintToString(std::pair(capacity, nb_in)));
      queue_in_directory q(capacity);
      const uint32_t nb_out = nb_in - 1 - (nb_in - 1) / 3;
      for (uint32_t round = 0; round < 12; ++round) {
        push(q, round * nb_in + 1, round * nb_in + nb_in);
        ASSERT_EQ(pop(q, nb_out), count_up(round * nb_out + 1, round * nb_out + nb_out));
      }
      EXPECT_EQ(q.queue.count, 12 * (nb_in - nb_out));
      EXPECT_EQ(pop(q, 12 * nb_in), count_up(12 * nb_out + 1, 12 * nb_in));
      EXPECT_EQ(count_files(q), 0u);
    }
  }
}

TEST(url_queue, says_how_much_a_file_lacks_and_serves_what_there_is) {
  const std::tuple<const char*, const char*, const char*, const char*> cases[] = {
      {"gone", nullptr, "1 2 5", " gave 0 URLs instead of 2\n"},
      {"cut short", "http://a/3\n", "1 2 3 5", " gave 1 URLs instead of 2\n"},
      {"blank lines", "\nhttp://a/3\n\nhttp://a/4", "1 2 3 4 5", ""},
      {"longer", "http://a/3\nhttp://a/4\nhttp://a/6\nhttp://a/7\n", "1 2 3 4 5 6 7", ""},
      {"no URL", "http://a/\x01\nhttp://a/4\n", "1 2 4 5", " gave 1 URLs instead of 2\n"},
  };
  for (const auto& [name, contents, order, message] : cases) {
    SCOPED_TRACE(name);
    queue_in_directory q(2);
    push(q, 1, 5);
    EXPECT_EQ(read_test_file(q.first_file), "http://a/3\nhttp://a/4\n");
    std::filesystem::remove(q.first_file);
    if (contents != nullptr) write_test_file(q.first_file, contents);
    testing::internal::CaptureStderr();
    EXPECT_EQ(pop(q, 9), order);
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_EQ(said, *message == '\0' ? "" : q.first_file + message);
    EXPECT_EQ(q.queue.count, 0u);
    EXPECT_EQ(count_files(q), 0u);
  }
}

TEST(queue_file_name, is_taken_only_in_its_one_spelling) {
  const std::tuple<const char*, queue_file_kind, uint32_t, uint32_t> cases[] = {
      {"nfrontier.3.head.txt", QUEUE_FILE_HEAD, 3, 0},
      {"nfrontier.0.tail.txt", QUEUE_FILE_TAIL, 0, 0},
      {"nfrontier.12.2147483646.txt", QUEUE_FILE_SPILL, 12, 2'147'483'646},
      {"nfrontier", QUEUE_FILE_FOREIGN, 0, 0},
      {"ndue_cache.txt", QUEUE_FILE_NONE, 0, 0},
  };
  for (const auto& [name, kind, queue, number] : cases) {
    const queue_file_name parsed = parse_queue_file_name(name);
    EXPECT_EQ(std::tuple(parsed.kind, parsed.queue, parsed.number),
              std::tuple(kind, queue, number));
  }
  for (const std::string name :
       {"12.2147483647.txt", "99999999999999999999.1.txt", "1.07.txt", "-1.7.txt", "1.7.txt.bak",
        "1..txt", ".1.txt", "x.1.1.txt", "1", "1.1", "+1.1.txt"}) {
    EXPECT_EQ(parse_queue_file_name("nfrontier." + name).kind, QUEUE_FILE_FOREIGN) << name;
  }
}

}  // namespace
}  // namespace wk
