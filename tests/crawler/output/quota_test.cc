#include "crawler/output/quota.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "wkstd/state_stream.h"

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
  for (const uint32_t word : words) append_u32(image, word);
  return image;
}

TEST(quota, counts_pages_and_megabytes_with_carry_and_is_exceeded_by_either) {
  quota record;
  add_document_quota(record, 5 * MEGABYTE);
  EXPECT_EQ(get_image(record), build_image({1, 0, 0, 0, 0, 0, 0, 0})) << "nothing is limited";
  set_mb_limit_quota(record, 3);
  set_page_limit_quota(record, 5);
  const std::tuple<uint32_t, bool, uint32_t, uint32_t> cases[] = {
      // length of the next document, then: exceeded, megabytes, bytes
      {MEGABYTE - 1, false, 0, MEGABYTE - 1},
      {2, false, 1, 1},
      {2 * MEGABYTE - 2, false, 2, MEGABYTE - 1},
      {1, true, 3, 0},
      {0xffffffff, true, 4098, MEGABYTE - 1},
      {0xffffffff, true, 8194, MEGABYTE - 2},  // the sum passes 32 bits
  };
  uint32_t pages = 0;
  for (const auto& [length, is_exceeded, megabytes, bytes] : cases) {
    add_document_quota(record, length);
    EXPECT_EQ(is_exceeded_quota(record), is_exceeded) << length;
    EXPECT_EQ(get_image(record), build_image({1, 1, megabytes, bytes, 3, 1, ++pages, 5}));
  }
  reset_quota(record);
  for (pages = 0; pages < 5; ++pages) {
    EXPECT_FALSE(is_exceeded_quota(record)) << pages;
    add_document_quota(record, 0);
  }
  EXPECT_TRUE(is_exceeded_quota(record));
  EXPECT_EQ(get_image(record), build_image({1, 1, 0, 0, 3, 1, 5, 5}));
  const std::string image = build_image({1, 1, 2, 3, 4, 5, 6, 7});
  for (const std::string& bytes : {build_image({2, 1, 2, 3, 4, 5, 6, 7}), image.substr(0, 31),
                                   build_image({1, 1, 2, MEGABYTE, 4, 5, 6, 7}), image}) {
    quota loaded;
    std::string_view stream = bytes;
    EXPECT_EQ(load_quota(stream, loaded), bytes == image);
    EXPECT_EQ(stream, bytes == image ? "" : bytes);
    EXPECT_EQ(get_image(loaded), bytes == image ? image : get_image(quota()));
  }
}

}  // namespace
}  // namespace wk
