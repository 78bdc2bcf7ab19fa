#include "wkdt/hash_string.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "wkdt/hash_string_file.h"
#include "wkdt/hash_string_record.h"
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

}  // namespace
}  // namespace wk
