#include "crawler/output/link_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/full_disk.h"
#include "tests/support/temp_directory.h"

namespace wk {
namespace {

const std::vector<std::string> NO_LINKS;

std::string build_record(const std::string& url) { return "\n" + url + "\n0\n"; }

TEST(link_file, writes_records_byte_for_byte) {
  const temp_directory directory;
  const std::string base = directory.path + "/links";
  const std::vector<std::string> urls = {"http://h/a", "", "http://h/%s"};
  for (int opening = 0; opening < 2; ++opening) {
    const link_file_ptr links = open_link_file(base);
    ASSERT_NE(links, nullptr);
    write_link_record(*links, "http://h/", urls);
    write_link_record(*links, "http://h/none", NO_LINKS);
    EXPECT_TRUE(flush_link_file(*links));
  }
  const std::string once = "\nhttp://h/\n3\nhttp://h/a\n\nhttp://h/%s\n\nhttp://h/none\n0\n";
  EXPECT_EQ(read_test_file(base + ".1"), once + once);
  struct stat facts {};
  ASSERT_EQ(::stat((base + ".1").c_str(), &facts), 0);
  EXPECT_EQ(facts.st_mode & 0777, 0600u);
}

TEST(open_link_file, takes_the_first_file_that_may_be_continued) {
  const temp_directory directory;
  const std::string base = directory.path + "/links";
  const off_t limit = 2'147'483'648;
  const std::pair<const char*, off_t> files[] = {
      {".1", 0}, {".3", limit}, {".4", limit + 5'000}, {".5", limit - 1}, {".8", limit}};
  for (const auto& [suffix, size] : files) {  // sparse: they take no room
    write_test_file(base + suffix, "");
    ASSERT_EQ(::truncate((base + suffix).c_str(), size), 0);
  }
  const std::pair<uint32_t, uint32_t> cases[] = {{0, 1}, {1, 2}, {2, 5}, {5, 6}, {7, 9}};
  for (const auto& [counter, expected] : cases) {
    const link_file_ptr links = open_link_file(base, counter);
    ASSERT_NE(links, nullptr);
    EXPECT_EQ(links->counter, expected) << "behind " << counter;
  }
  testing::internal::CaptureStderr();
  EXPECT_EQ(open_link_file(directory.path + "/none/links"), nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "The link file " + directory.path +
                "/none/links.1 cann't be opened to write. The links will not be stored.\n");
}

TEST(link_file, goes_on_to_the_next_file_during_a_crawl) {
  const temp_directory directory;
  const std::string base = directory.path + "/links";
  write_test_file(base + ".2", std::string(2'048, 'x'));  // full by the limit below
  std::filesystem::create_directory(base + ".4");
  const link_file_ptr links = open_link_file(base);
  links->max_bytes = 2'048;
  const std::string fill(2'040, 'u');
  const std::string last(3'000, 'v');
  testing::internal::CaptureStderr();
  for (const std::string& url : {fill, std::string("a"), std::string("b"), last, std::string("c")})
    write_link_record(*links, url, NO_LINKS);
  EXPECT_EQ(
      testing::internal::GetCapturedStderr(),
      "The link file " + base + ".4 cann't be opened to write. The links will not be stored.\n");
  write_link_record(*links, "dropped", NO_LINKS);
  EXPECT_FALSE(flush_link_file(*links));
  EXPECT_EQ(read_test_file(base + ".1"), build_record(fill) + build_record("a"));
  EXPECT_EQ(read_test_file(base + ".2"), std::string(2'048, 'x'));
  EXPECT_EQ(read_test_file(base + ".3"), build_record("b") + build_record(last));
}

TEST(link_file, drops_whole_records_when_the_disk_is_full) {
  const temp_directory directory;
  const std::string base = directory.path + "/links";
  const link_file_ptr links = open_link_file(base);
  write_link_record(*links, "before", NO_LINKS);
  testing::internal::CaptureStderr();
  {
    const full_disk disk(500);
    for (int i = 0; i < 3; ++i) write_link_record(*links, std::string(600, 'x'), NO_LINKS);
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "link file '" + base +
                ".1': File too large; records are lost until it can be written again\n");
  write_link_record(*links, "after", NO_LINKS);
  EXPECT_TRUE(flush_link_file(*links));
  EXPECT_EQ(read_test_file(base + ".1"), build_record("before") + build_record("after"));
}

TEST(link_file, keeps_records_of_many_threads_whole) {
  const temp_directory directory;
  const std::string base = directory.path + "/links";
  const link_file_ptr links = open_link_file(base);
  links->max_bytes = 4'096;
  {
    std::vector<std::jthread> threads;
    threads.reserve(4);
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([&links, t] {
        const std::vector<std::string> urls(3, std::string(10, static_cast<char>('a' + t)));
        for (int i = 0; i < 250; ++i) write_link_record(*links, "http://h/", urls);
      });
    }
  }
  std::string all;
  for (uint32_t i = 1; i <= links->counter; ++i) {
    const std::string bytes = read_test_file(base + "." + std::to_string(i));
    EXPECT_LT(bytes.size(), 4'096u + 100u);
    all += bytes;
  }
  size_t nb_records = 0;
  std::string_view rest(all);
  while (!rest.empty()) {
    ASSERT_TRUE(rest.starts_with("\nhttp://h/\n3\n")) << rest.substr(0, 100);
    std::string link(10, rest[13]);
    link += "\n";
    ASSERT_EQ(rest.substr(13, 11), link);
    ASSERT_EQ(rest.substr(24, 11), link);
    ASSERT_EQ(rest.substr(35, 11), link);
    rest.remove_prefix(46);
    ++nb_records;
  }
  EXPECT_EQ(nb_records, 1'000u);
}

}  // namespace
}  // namespace wk
