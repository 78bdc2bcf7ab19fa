#include "crawler/output/status_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
#include <thread>
#include <vector>

#include "tests/support/full_disk.h"
#include "tests/support/temp_directory.h"

namespace wk {
namespace {

TEST(status_file, appends_a_line_for_each_url) {
  const temp_directory directory;
  const std::string path = directory.path + "/status";
  write_test_file(path, "earlier\n");
  {
    const status_file_ptr status = open_status_file(path);
    ASSERT_NE(status, nullptr);
    write_status_file(*status, "http://h/a b", 200, 1);
    flush_status_file(*status);
    EXPECT_EQ(read_test_file(path), "earlier\nhttp://h/a b 200 (1)\n");
    write_status_file(*status, "http://h/", 408, 300);
  }
  EXPECT_EQ(read_test_file(path), "earlier\nhttp://h/a b 200 (1)\nhttp://h/ 408 (300)\n");
  { const status_file_ptr made = open_status_file(path + "2"); }
  struct stat facts {};
  ASSERT_EQ(::stat((path + "2").c_str(), &facts), 0);
  EXPECT_EQ(facts.st_mode & 0777, 0600u);
  EXPECT_EQ(open_status_file(directory.path + "/none/status"), nullptr);
}

TEST(status_file, keeps_whole_lines_only_when_the_disk_is_full) {
  const temp_directory directory;
  const std::string path = directory.path + "/status";
  const std::string url(100, 'u');
  const std::string line = url + " 200 (1)\n";
  const status_file_ptr status = open_status_file(path);
  testing::internal::CaptureStderr();
  {
    const full_disk disk(6 * line.size() + 50);
    for (int round = 0; round < 2; ++round) {
      for (int i = 0; i < 10; ++i) write_status_file(*status, url, 200, 1);
      flush_status_file(*status);
    }
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "status file '" + path +
                "': File too large; records are lost until it can be written again\n");
  write_status_file(*status, "later", 200, 1);
  flush_status_file(*status);
  std::string expected;
  for (int i = 0; i < 6; ++i) expected += line;
  EXPECT_EQ(read_test_file(path), expected + "later 200 (1)\n");
}

TEST(status_file, keeps_lines_of_many_threads_whole) {
  const temp_directory directory;
  const std::string path = directory.path + "/status";
  const std::string line = "http://h/ 200 (1)\n";
  {
    const status_file_ptr status = open_status_file(path);
    std::vector<std::jthread> threads;
    threads.reserve(4);
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([&status] {
        for (int i = 0; i < 5'000; ++i) write_status_file(*status, "http://h/", 200, 1);
      });
    }
  }
  std::string expected;
  for (int i = 0; i < 20'000; ++i) expected += line;
  EXPECT_TRUE(read_test_file(path) == expected);
}

}  // namespace
}  // namespace wk
