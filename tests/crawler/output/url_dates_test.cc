#include "crawler/output/url_dates.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
#include <tuple>

#include "tests/support/temp_directory.h"

namespace wk {
namespace {

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
