// The table of strings, the heap, and the sort of files.
#include <gtest/gtest.h>

#include <random>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "tests/support/full_disk.h"
#include "tests/support/temp_directory.h"
#include "wkdt/hash_string.h"
#include "wkdt/hash_string_file.h"
#include "wkdt/hash_string_record.h"
#include "wkdt/heap.h"
#include "wkdt/t_sort.h"
#include "wkstd/directory.h"
#include "wkstd/state_stream.h"

namespace wk {
namespace {

TEST(hash_string, hashes_every_byte_below_the_first_prime_above_its_size) {
  const std::pair<uint32_t, uint32_t> sizes[] = {
      {0, 11}, {11, 19}, {100'000, 106'721}, {13'845'163, 13'845'163}, {UINT32_MAX, 13'845'163}};
  std::string key;
  for (int i = 0; i < 100; ++i) key += static_cast<char>(i * 89);
  for (const auto& [size, nb_buckets] : sizes) {
    const hash_string_ptr table = create_hash_string(size);
    EXPECT_EQ(table->nb_buckets, nb_buckets) << size;
    uint32_t hash = 0;
    for (size_t length = 0; length < key.size(); ++length) {
      EXPECT_EQ(hash_key(*table, key.substr(0, length)), hash) << length;
      hash = (static_cast<uint8_t>(key[length]) + hash * 128) % nb_buckets;
    }
  }
}

TEST(hash_string, agrees_with_a_map_over_clears) {
  const hash_string_ptr table = create_hash_string(5, true);
  std::mt19937 random(11);
  for (int round = 0; round < 3; ++round) {
    std::unordered_map<std::string, uint32_t> map;
    for (uint32_t i = 0; i < 3'000; ++i) {
      const std::string key = std::to_string(random() % 1'000) + std::string(random() % 3, '\0');
      map[key] = i;
      EXPECT_EQ(insert_hash_string(*table, key, i), map.size());
    }
    for (const auto& [key, value] : map) EXPECT_EQ(lookup_hash_string(key, *table), value);
    EXPECT_EQ(lookup_hash_string("absent", *table), HASH_STRING_NOT_FOUND);
    EXPECT_EQ(table->key_log.size(), map.size());
    clear_hash_string(*table);
    EXPECT_EQ(count_hash_string(*table), 0u);
    EXPECT_EQ(lookup_hash_string("1", *table), HASH_STRING_NOT_FOUND);
    EXPECT_EQ(table->used_buckets, std::vector<uint32_t>{HASH_STRING_LIST_END});
  }
}

TEST(hash_string, keeps_its_two_reserved_answers) {
  const hash_string_ptr table = create_hash_string(5);
  EXPECT_EQ(insert_hash_string(*table, "", 3), 1u);
  EXPECT_EQ(lookup_hash_string("", *table), HASH_STRING_NOT_FOUND);
  testing::internal::CaptureStderr();
  insert_hash_string(*table, "big", 100'000'000);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "number is too big");
  EXPECT_EQ(count_hash_string(*table), 2u) << "it is stored anyway";
}

std::string write(const hash_string& table) {
  std::string stream;
  write_hash_string(table, stream);
  return stream;
}

TEST(hash_string_file, comes_back_as_it_was_and_believes_no_number) {
  const hash_string_ptr table = create_hash_string(5);
  for (uint32_t i = 0; i < 40; ++i) insert_hash_string(*table, "key" + std::to_string(i), i);
  const std::string stream = write(*table);
  std::string_view bytes = stream;
  const hash_string_ptr again = read_hash_string(bytes);
  ASSERT_NE(again, nullptr);
  EXPECT_TRUE(bytes.empty());
  EXPECT_EQ(write(*again), stream) << "chains keep their order";
  for (size_t length = 0; length < stream.size(); ++length) {
    std::string_view cut = std::string_view(stream).substr(0, length);
    EXPECT_EQ(read_hash_string(cut), nullptr) << length;
  }
  const hash_string_ptr one = create_hash_string(5);
  insert_hash_string(*one, "key", 7);
  const std::string small = write(*one);
  // Offsets: magic 0, version 4, count 8, nb_buckets 12, bucket 16, key length 20.
  for (const size_t offset : {0u, 4u, 8u, 12u, 16u, 20u}) {
    for (const uint32_t number : {0u, 3'000'000'000u, 0xffffffffu}) {
      std::string damaged = small.substr(0, offset);
      append_u32(damaged, number);
      damaged += small.substr(offset + 4);
      bytes = damaged;
      testing::internal::CaptureStderr();
      EXPECT_EQ(read_hash_string(bytes), nullptr) << offset << " " << number;
      const bool warned = !testing::internal::GetCapturedStderr().empty();
      EXPECT_EQ(warned, offset == 4) << "a foreign version is said";
    }
  }
}

bool is_greater(uint64_t a, uint64_t b) { return a > b; }

TEST(heap, gives_keys_in_order) {
  heap h{is_greater, {}};
  std::mt19937 random(3);
  std::multiset<uint64_t> keys;
  heap_entry least;
  for (uint32_t i = 0; i < 4'000; ++i) {
    if (i < 2'000) insert_heap(h, {*keys.insert(random() % 300), i});
    if (i < 2'000 && random() % 3 != 0) continue;
    ASSERT_EQ(remove_min_heap(h, least), !keys.empty());
    if (keys.empty()) break;
    EXPECT_EQ(least.key, *keys.begin());
    keys.erase(keys.begin());
  }
  EXPECT_TRUE(keys.empty());
}

TEST(heap, breaks_ties_by_its_shape) {
  heap h{is_greater, {}};
  for (uint32_t value = 0; value < 6; ++value) insert_heap(h, {7, value});
  std::vector<uint32_t> order;
  heap_entry least;
  while (remove_min_heap(h, least)) order.push_back(least.value);
  EXPECT_EQ(order, (std::vector<uint32_t>{0, 5, 4, 3, 2, 1})) << "an equal child never moves";
}

std::string sort_text(const std::string& input, t_sort_options options) {
  const temp_directory directory;
  const std::string chunks = make_directory(directory, "chunks");
  options.directory = chunks;
  write_test_file(directory.path + "/in", input);
  EXPECT_EQ(t_sort(directory.path + "/in", directory.path + "/out", options), T_SORT_OK);
  std::vector<std::string> left;
  EXPECT_TRUE(list_files(chunks, left));
  EXPECT_TRUE(left.empty()) << "temporary files stay";
  return read_test_file(directory.path + "/out");
}

TEST(t_sort, sorts_in_every_order_whatever_the_chunks) {
  const std::tuple<const char*, t_sort_options, std::string, std::string> cases[] = {
      {"nothing", {}, "", ""},
      {"bytes", {}, "b\na\nab\n\xff\n\nA\na", "A\na\na\nab\nb\n\xff\n"},
      {"bytes reversed", {.reverse = true}, "b\na\nab\n", "b\nab\na\n"},
      {"unique", {.unique = true}, "a\nb\na\nb\na\n", "a\nb\n"},
      {"numbers in base 11", {.order = 1}, "20\n19\n10\n9\nx\n", "x\n9\n10\n19\n20\n"},
      {"numbers reversed", {.order = 2, .reverse = true}, "9\n10\n1\n", "10\n9\n1\n"},
      {"equal numbers, unique", {.order = 1, .unique = true}, "7\n7a\n8\n", "7\n8\n"},
      {"comma fields", {.order = 3}, "b,1\na,2\na,1\n", "a,1\na,2\nb,1\n"},
      {"comma fields, no comma goes last", {.order = 3}, "a\nab,2\n", "ab,2\na\n"},
  };
  for (const auto& [name, options, input, output] : cases) {
    for (const uint64_t chunk_bytes : {1'000'000u, 4u, 1u}) {
      SCOPED_TRACE(std::string(name) + " in chunks of " + std::to_string(chunk_bytes));
      t_sort_options with = options;
      with.chunk_bytes = chunk_bytes;
      EXPECT_EQ(sort_text(input, with), output);
    }
  }
}

// Hundreds of chunks, lines longer than one, and an order by fields that contradicts itself.
TEST(t_sort, merges_many_chunks) {
  std::set<std::string> lines;
  std::string input, expected, twisted;
  for (uint32_t i = 0; i < 10'000; ++i) {
    const std::string line = "http://h" + std::to_string(i * 7'919 % 3'000) + "/" +
                             std::string(i % 5'000 == 0 ? 70'000 : 0, 'x');
    lines.insert(line);
    input += line + "\n";
    if (i % 10 == 0) twisted += "a\na,\nab\n";
  }
  for (const std::string& line : lines) expected += line + "\n";
  for (const uint64_t chunk_bytes : {100'000'000u, 1'000u}) {
    EXPECT_TRUE(sort_text(input, {.unique = true, .chunk_bytes = chunk_bytes}) == expected);
  }
  EXPECT_EQ(sort_text(twisted, {.order = 3}).size(), twisted.size());
}

TEST(t_sort, tells_what_it_could_not_do_and_leaves_nothing_behind) {
  const temp_directory directory;
  const std::string in = directory.path + "/in";
  const std::string out = directory.path + "/out";
  EXPECT_EQ(t_sort(in, out, {}), T_SORT_NO_INPUT);
  write_test_file(in, std::string(60'000, 'x') + "\n" + std::string(60'000, 'y') + "\n");
  testing::internal::CaptureStderr();
  EXPECT_EQ(t_sort(in, directory.path + "/none/out", {}), T_SORT_WRITE_ERROR);
  EXPECT_NE(testing::internal::GetCapturedStderr().find("tsort: t_sort: "), std::string::npos);

  for (const rlim_t max_bytes : {50'000u, 100'000u}) {  // the first chunk fails; the merge fails
    const full_disk disk(max_bytes);
    testing::internal::CaptureStderr();
    const t_sort_status status =
        t_sort(in, out, {.chunk_bytes = 70'000, .directory = directory.path});
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(status, T_SORT_WRITE_ERROR);
    std::vector<std::string> left;
    ASSERT_TRUE(list_files(directory.path, left));
    EXPECT_EQ(left, std::vector<std::string>{"in"});
  }
}

}  // namespace
}  // namespace wk
