// What bounds a store, and what an earlier crawl's store tells.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
#include <tuple>

#include "crawler/output/quota.h"
#include "crawler/output/url_dates.h"
#include "tests/support/temp_directory.h"
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

const std::string START = "FLATSITE_START\nDB_DOC_URL=a\n";

std::string build(const std::string& url, const std::string& date, const char* content = "x") {
  return "FLATSITE_START\nDB_DOC_URL=" + url + "\nWK_CRAWLER_DATE=" + date + "\nDB_DOC_LEN=1\n" +
         content + "\nFLATSITE_END\n";
}

void list_date(std::string_view url, uint32_t date, void* listed) {
  static_cast<std::string*>(listed)->append(url).append("=" + std::to_string(date) + " ");
}

TEST(url_dates, are_read_line_by_line) {
  const std::string long_url(60'000, 'u'), longer_url(65'600, 'u');
  const std::tuple<std::string, std::string> cases[] = {
      {build("a", "951782400") + build("b", "7"), "a=951782400 b=7 "},
      {build("a", "1") + build("a", "4294967295"), "a=4294967295 "},
      {START + "FLATSITE_END\n" + build("b", "0") + build("", "5"), ""},
      {build("a", " 12x3") + build("b", "x"), "a=12 "},
      {build("a", "5", "DB_DOC_URL=b\nWK_CRAWLER_DATE=6"), "b=6 "},
      {build("a", "5", "FLATSITE_END\nDB_DOC_URL=b"), "a=5 "},
      {"DB_DOC_URL=z\n" + build("a", "5") + "WK_CRAWLER_DATE=9\n", "a=5 "},
      {START + "WK_CRAWLER_DATE=5\n" + build("b", "0"), ""},
      {START + "WK_CRAWLER_DATE=5\nFLATSITE_END", "a=5 "},
      {build(long_url, "5", std::string(200'000, 'x').c_str()), long_url + "=5 "},
      {build(longer_url, "5") + build("a", "6", "FLATSITE_END\r"), "a=6 "},
  };
  const temp_directory directory;
  const std::string base = directory.path + "/", list = base + "list";
  ASSERT_EQ(::mkfifo((base + "pipe").c_str(), 0600), 0);
  write_test_file(list, "\n" + base + "none\n" + base + "\n" + base + "pipe\n" + base + "store");
  for (const auto& [bytes, dates] : cases) {
    write_test_file(base + "store", bytes);
    uint32_t nb_skipped = 0;
    testing::internal::CaptureStderr();
    const hash_string_ptr table = read_url_dates(list, nb_skipped);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << "no number is too big";
    ASSERT_NE(table, nullptr);
    std::string listed;
    visit_hash_string(*table, list_date, &listed);
    EXPECT_EQ(listed, dates);
    EXPECT_EQ(nb_skipped, 2u) << "one that is not there, and a directory";
    EXPECT_EQ(read_url_dates(base + "none", nb_skipped), nullptr);
  }
}

}  // namespace
}  // namespace wk
