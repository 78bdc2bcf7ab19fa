#include "crawler/output/log.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <ctime>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "tests/crawler/output/log_without_times.h"
#include "tests/support/full_disk.h"
#include "tests/support/temp_directory.h"

namespace wk {
namespace {

const std::string HEAD = "#Version: 1.0\n#Software: Wendrake Webcrawler\n";

std::string build_record(const std::string& fields, const std::string& text) {
  return "#Fields: date time " + fields + "\nT " + text + "\n";
}

TEST(file_log, writes_each_record_byte_for_byte) {
  const temp_directory directory;
  const std::string path = directory.path + "/log";
  const std::string bytes("<x>\n\0\xff\n</x>", 11);
  const std::string large(700'000, 'p');
  {
    const log_ptr log = open_file_log(path, false);
    ASSERT_NE(log, nullptr);
    EXPECT_EQ(read_test_file(path), HEAD);
    write_log(*log, LOG_STATUS, "s-comment", "Crawling process success!\n");
    write_log(*log, LOG_WARNING, {}, "");
    write_log(*log, LOG_WARNING, "s-comment", {});  // an absent text is no record
    write_log(*log, LOG_ERROR, "x-config-file", bytes);
    write_log(*log, LOG_STATUS, "x-config-file", large);
    for (const int length : {1, 1023, 1024, 5000}) {
      write_formatted_log(*log, LOG_STATUS, "cs-uri s-comment", "%s  (%d)",
                          std::string(static_cast<size_t>(length), 'u').c_str(), length);
    }
  }
  std::string expected = HEAD + build_record("s-comment", "Crawling process success!\n") +
                         build_record("x-comment", "") + build_record("x-config-file", bytes) +
                         build_record("x-config-file", large);
  for (const size_t length : {1u, 1023u, 1024u, 5000u}) {
    expected += build_record("cs-uri s-comment",
                             std::string(length, 'u') + "  (" + std::to_string(length) + ")");
  }
  EXPECT_TRUE(read_log_without_times(path) == expected);
  struct stat facts {};
  ASSERT_EQ(::stat(path.c_str(), &facts), 0);
  EXPECT_EQ(facts.st_mode & 0777, 0600u);
}

TEST(file_log, stamps_records_with_the_time_in_utc) {
  const temp_directory directory;
  const std::string path = directory.path + "/log";
  const std::time_t before = std::time(nullptr) - 1;  // time() may lag behind the clock by a tick
  { write_log(*open_file_log(path, false), LOG_STATUS, "s-comment", "text"); }
  const std::time_t after = std::time(nullptr) + 1;
  const std::string bytes = read_test_file(path);
  const std::string stamp = bytes.substr(bytes.find("s-comment\n") + 10, 20);
  std::tm parts{};
  ASSERT_NE(::strptime(stamp.c_str(), "%Y-%m-%d %H:%M:%S ", &parts), nullptr) << bytes;
  EXPECT_EQ(stamp.back(), ' ');
  const std::time_t stamped = ::timegm(&parts);
  EXPECT_TRUE(before <= stamped && stamped <= after) << stamp;
}

TEST(file_log, starts_anew_or_goes_on) {
  const temp_directory directory;
  const std::string path = directory.path + "/log";
  const std::string record = build_record("s-comment", "x");
  const std::pair<bool, std::string> openings[] = {
      {false, HEAD + record}, {true, HEAD + record + HEAD + record}, {false, HEAD + record}};
  for (const auto& [append, expected] : openings) {
    write_log(*open_file_log(path, append), LOG_STATUS, "s-comment", "x");
    EXPECT_EQ(read_log_without_times(path), expected);
  }
  EXPECT_EQ(open_file_log(directory.path + "/none/log", true), nullptr);
}

TEST(write_log, passes_only_the_levels_of_the_filter) {
  const temp_directory directory;
  const std::string path = directory.path + "/log";
  for (uint32_t filter = 0; filter <= 7; ++filter) {
    SCOPED_TRACE(filter);
    std::string expected = HEAD;
    const log_ptr log = open_file_log(path, false);
    set_filter_log(*log, filter);
    for (const log_level level : {LOG_STATUS, LOG_WARNING, LOG_ERROR}) {
      write_log(*log, level, "a", "plain");
      write_formatted_log(*log, level, "b", "%u", 7u);
      if ((filter & level) != 0) expected += build_record("a", "plain") + build_record("b", "7");
    }
    flush_log(*log);
    EXPECT_EQ(read_log_without_times(path), expected);
  }
}

TEST(save_log, writes_the_image_of_each_kind) {
  const temp_directory directory;
  const std::string path = directory.path + "/log";
  const std::string length(1, static_cast<char>(path.size()));
  std::string stream;
  save_log(*create_discarding_log(), stream);
  EXPECT_EQ(stream, "\xdb\x73\xb9\x36");
  stream.clear();
  save_log(*open_file_log(path, true), stream);
  EXPECT_EQ(stream, std::string("\xd7\xfd\x2c\0\1\0\0\0", 8) + length + std::string(3, '\0') +
                        path + std::string("\1\0\0\0", 4));
}

TEST(file_log, keeps_whole_records_only_when_the_disk_is_full) {
  const temp_directory directory;
  const std::string path = directory.path + "/log";
  const log_ptr log = open_file_log(path, false);
  const size_t record_size = build_record("s-comment", "0123456789").size() + 18;  // a real time
  testing::internal::CaptureStderr();
  {
    const full_disk disk(HEAD.size() + 2 * record_size + record_size / 2);
    for (int i = 0; i < 5; ++i) write_log(*log, LOG_STATUS, "s-comment", "0123456789");
    flush_log(*log);
    write_log(*log, LOG_STATUS, "s-comment", std::string(300'000, 'x'));  // goes past the buffer
    write_log(*log, LOG_STATUS, "s-comment", std::string(300, 'y'));
    flush_log(*log);
  }
  const std::string errors = testing::internal::GetCapturedStderr();
  write_log(*log, LOG_STATUS, "s-comment", "later");
  flush_log(*log);
  const std::string kept = build_record("s-comment", "0123456789");
  EXPECT_EQ(read_log_without_times(path), HEAD + kept + kept + build_record("s-comment", "later"));
  EXPECT_EQ(errors, "crawl log '" + path +
                        "': File too large; records are lost until it can be written again\n");
}

TEST(file_log, keeps_records_of_many_threads_whole) {
  constexpr int nb_threads = 4;
  constexpr int nb_records = 5'000;
  const temp_directory directory;
  const std::string path = directory.path + "/log";
  {
    const log_ptr log = open_file_log(path, false);
    std::vector<std::jthread> threads;
    threads.reserve(nb_threads);
    for (int t = 0; t < nb_threads; ++t) {
      threads.emplace_back([&log, t] {
        for (int i = 0; i < nb_records; ++i) {
          write_formatted_log(*log, LOG_STATUS, "cs-uri", "%d/%d", t, i);
          if (i % 1'000 == 0) flush_log(*log);
        }
      });
    }
  }
  const std::string bytes = read_log_without_times(path);
  std::string_view rest(bytes);
  rest.remove_prefix(HEAD.size());
  const std::string_view start = "#Fields: date time cs-uri\nT ";
  std::map<int, int> next;  // of each thread: its records stand in the order it wrote them
  while (!rest.empty()) {
    ASSERT_TRUE(rest.starts_with(start)) << rest.substr(0, 100);
    rest.remove_prefix(start.size());
    const int thread = rest.front() - '0';
    const std::string text = std::to_string(thread) + "/" + std::to_string(next[thread]++) + "\n";
    ASSERT_TRUE(rest.starts_with(text)) << rest.substr(0, 100);
    rest.remove_prefix(text.size());
  }
  for (int t = 0; t < nb_threads; ++t) EXPECT_EQ(next[t], nb_records);
}

}  // namespace
}  // namespace wk
