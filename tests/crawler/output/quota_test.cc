#include "crawler/output/quota.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace wk {
namespace {

constexpr uint32_t MEGABYTE = 1'048'576;

std::string get_image(const quota& record) {
  std::string stream;
  save_quota(record, stream);
  return stream;
}

std::string build_image(std::initializer_list<uint32_t> words) {
  std::string image;
  for (const uint32_t word : words) {
    for (int shift = 0; shift < 32; shift += 8) image.push_back(static_cast<char>(word >> shift));
  }
  return image;
}

TEST(quota, counts_pages_and_megabytes_with_carry) {
  quota record;
  add_document_quota(record, 5 * MEGABYTE);
  EXPECT_FALSE(is_exceeded_quota(record));
  EXPECT_EQ(get_image(record), build_image({1, 0, 0, 0, 0, 0, 0, 0})) << "nothing is limited";

  set_mb_limit_quota(record, 3);
  set_page_limit_quota(record, 100);
  add_document_quota(record, MEGABYTE - 1);
  add_document_quota(record, 2);
  EXPECT_EQ(get_image(record), build_image({1, 1, 1, 1, 3, 1, 2, 100}));
  add_document_quota(record, 2 * MEGABYTE - 2);
  EXPECT_FALSE(is_exceeded_quota(record)) << "one byte below the limit";
  add_document_quota(record, 1);
  EXPECT_TRUE(is_exceeded_quota(record));
  add_document_quota(record, 0xffffffff);  // the sum passes 32 bits with any remainder
  EXPECT_EQ(get_image(record), build_image({1, 1, 4098, MEGABYTE - 1, 3, 1, 5, 100}));
  add_document_quota(record, 0xffffffff);
  EXPECT_EQ(get_image(record), build_image({1, 1, 8194, MEGABYTE - 2, 3, 1, 6, 100}));
  reset_quota(record);
  EXPECT_EQ(get_image(record), build_image({1, 1, 0, 0, 3, 1, 0, 100}));
}

TEST(quota, is_exceeded_by_either_limit) {
  quota pages;
  set_page_limit_quota(pages, 2);
  set_mb_limit_quota(pages, 10);
  add_document_quota(pages, 0);
  EXPECT_FALSE(is_exceeded_quota(pages));
  add_document_quota(pages, 0);
  EXPECT_TRUE(is_exceeded_quota(pages));
}

TEST(load_quota, takes_its_image_and_nothing_else) {
  const std::string image = build_image({1, 1, 2, 3, 4, 5, 6, 7});
  quota record;
  std::string_view stream = image;
  for (size_t length = 0; length < image.size(); ++length) {
    stream = std::string_view(image).substr(0, length);
    EXPECT_FALSE(load_quota(stream, record));
  }
  for (const auto& words :
       {build_image({2, 1, 2, 3, 4, 5, 6, 7}), build_image({1, 1, 2, MEGABYTE, 4, 5, 6, 7})}) {
    stream = words;
    EXPECT_FALSE(load_quota(stream, record));
  }
  EXPECT_EQ(get_image(record), build_image({1, 0, 0, 0, 0, 0, 0, 0}));
  const std::string with_rest = image + "rest";
  stream = with_rest;
  EXPECT_TRUE(load_quota(stream, record));
  EXPECT_EQ(stream, "rest");
  EXPECT_EQ(get_image(record), image);
}

TEST(quota, loses_no_count_of_many_threads) {
  quota record;
  set_page_limit_quota(record, 0xffffffff);
  set_mb_limit_quota(record, 0xffffffff);
  {
    std::vector<std::jthread> threads;
    threads.reserve(4);
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([&record] {
        for (uint32_t i = 0; i < 100'000 && !is_exceeded_quota(record); ++i) {
          add_document_quota(record, MEGABYTE / 4);
        }
      });
    }
  }
  EXPECT_EQ(get_image(record), build_image({1, 1, 100'000, 0, 0xffffffff, 1, 400'000, 0xffffffff}));
}

}  // namespace
}  // namespace wk
