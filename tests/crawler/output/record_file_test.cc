// The files that gather a crawl's records: crawl log, status file and link files.
#include "crawler/output/record_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "crawler/output/link_file.h"
#include "crawler/output/log.h"
#include "crawler/output/status_file.h"
#include "tests/crawler/output/log_without_times.h"
#include "tests/support/full_disk.h"
#include "tests/support/temp_directory.h"

namespace wk {
namespace {

using strings = std::vector<std::string>;

const std::string LOG_HEAD = "#Version: 1.0\n#Software: Wendrake Webcrawler\n";

std::string build_log_record(const std::string& fields, const std::string& text) {
  return "#Fields: date time " + fields + "\nT " + text + "\n";
}

// An open file of some kind; it closes with its last copy.
struct record_writer {
  std::function<void(const std::string& text)> write;
  std::function<void()> flush, reopen;
};

record_writer open_log(const std::string& path) {
  const std::shared_ptr<Log> log = open_file_log(path, false);
  return {[log](const std::string& text) { write_log(*log, LOG_STATUS, "cs-uri", text); },
          [log] { flush_log(*log); }, [log] { reopen_log(*log); }};
}

record_writer open_status(const std::string& path) {
  const std::shared_ptr<status_file> status = open_status_file(path);
  return {[status](const std::string& text) { write_status_file(*status, text, 408, 300); },
          [status] { flush_status_file(*status); }, [status] { reopen_status_file(*status); }};
}

record_writer open_links(const std::string& path) {
  const std::shared_ptr<link_file> links = open_link_file(path);
  links->max_bytes = 4'096;
  return {[links](const std::string& text) {
            write_link_record(*links, text, strings{"a", "%s"});
          },
          [links] { EXPECT_TRUE(flush_link_file(*links)); }, [links] { reopen_link_file(*links); }};
}

struct record_kind {
  const char* what;
  record_writer (*open)(const std::string& path);
  const char* suffix;               // of the file's name
  std::string head, before, after;  // what stands before the records, and around a record's text
  size_t nb_hidden;                 // bytes of a record's time that read_records does not show
};
const record_kind KINDS[] = {
    {"crawl log", open_log, "", LOG_HEAD, "#Fields: date time cs-uri\nT ", "\n", 18},
    {"status file", open_status, "", "earlier\n", "", " 408 (300)\n", 0},
    {"link file", open_links, ".1", "earlier\n", "\n", "\n2\na\n%s\n", 0},
};

// The records of all files of that path, in order.
std::string read_records(const record_kind& kind, const std::string& path) {
  std::string all = read_log_without_times(path + kind.suffix);
  EXPECT_TRUE(all.starts_with(kind.head)) << all;
  all.erase(0, kind.head.size());
  for (int i = 2; std::filesystem::exists(path + "." + std::to_string(i)); ++i) {
    const std::string next = read_test_file(path + "." + std::to_string(i));
    EXPECT_LT(next.size(), 4'096u + 20) << "a full one is not continued";
    all += next;
  }
  return all;
}

TEST(record_file, keeps_whole_records_only_when_the_disk_is_full) {
  for (const record_kind& kind : KINDS) {
    SCOPED_TRACE(kind.what);
    const temp_directory directory;
    const std::string path = directory.path + "/f", text(100, 'x');
    const std::string record = kind.before + text + kind.after;
    const size_t size = record.size() + kind.nb_hidden;
    write_test_file(path + kind.suffix, "earlier\n");
    const record_writer file = kind.open(path);
    testing::internal::CaptureStderr();
    {
      const full_disk disk(kind.head.size() + 2 * size + size / 2);
      for (int i = 0; i < 5; ++i) file.write(text);
      file.flush();
      for (const size_t length : {300'000, 300}) file.write(std::string(length, 'y'));
      file.flush();
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              std::string(kind.what) + " '" + path + kind.suffix +
                  "': File too large; records are lost until it can be written again\n");
    file.write("later");
    file.flush();
    EXPECT_EQ(read_records(kind, path), record + record + kind.before + "later" + kind.after);
  }
}

TEST(record_file, goes_on_in_the_file_of_its_name_or_else_in_the_one_it_has) {
  for (const record_kind& kind : KINDS) {
    SCOPED_TRACE(kind.what);
    const temp_directory directory;
    const std::string place = make_directory(directory, "d"), moved = directory.path + "/moved";
    const std::string path = place + "/f", old = place + "/old";
    const std::string head = kind.head == LOG_HEAD ? LOG_HEAD : "";
    const auto build = [&kind](const char* text) { return kind.before + text + kind.after; };
    const record_writer file = kind.open(path);
    file.write("1");
    std::filesystem::rename(path + kind.suffix, old);
    file.write("2");
    file.reopen();
    file.write("3");
    EXPECT_EQ(read_log_without_times(old), head + build("1") + build("2"));
    file.reopen();
    EXPECT_EQ(read_log_without_times(path + kind.suffix), head + build("3") + head);

    std::filesystem::rename(place, moved);
    testing::internal::CaptureStderr();
    file.reopen();
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              std::string(kind.what) + " '" + path + kind.suffix +
                  "' can't be opened again: No such file or directory; records go on to the file "
                  "that was open\n");
    file.write("4");
    file.flush();
    EXPECT_EQ(read_log_without_times(moved + "/f" + kind.suffix),
              head + build("3") + head + build("4"));
  }
  const temp_directory directory;
  const std::string pipe = directory.path + "/pipe";
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  const int reader = ::open(pipe.c_str(), O_RDONLY | O_NONBLOCK);
  const record_writer file = open_log(pipe);
  ASSERT_EQ(::unlink(pipe.c_str()), 0);
  file.reopen();
  EXPECT_FALSE(std::filesystem::exists(pipe)) << "what is no file of a disk stays open";
  ::close(reader);
}

TEST(file_log, writes_the_levels_of_its_filter_byte_for_byte_and_starts_anew_or_goes_on) {
  const temp_directory directory;
  const std::string path = directory.path + "/log";
  const std::string bytes("<x>\n\0\xff\n</x>", 11), large(300'000, 'p');
  std::string expected;
  for (uint32_t filter = 0; filter <= 7; ++filter) {
    SCOPED_TRACE(filter);
    const bool append = filter % 3 != 0;
    expected = (append ? expected : "") + LOG_HEAD;
    const log_ptr log = open_file_log(path, append);
    set_filter_log(*log, filter);
    write_log(*log, LOG_STATUS, "s-comment", {});  // an absent text is no record
    for (const log_level level : {LOG_STATUS, LOG_WARNING, LOG_ERROR}) {
      const bool is_wanted = (filter & level) != 0;
      for (const std::string& text : {bytes, large, std::string()}) {
        write_log(*log, level, text.empty() ? "" : "s-comment", text);
        if (is_wanted) expected += build_log_record(text.empty() ? "x-comment" : "s-comment", text);
      }
      for (const size_t length : {1u, 1023u, 1024u, 5000u}) {
        const std::string text(length, 'u');
        write_formatted_log(*log, level, "cs-uri", "%s", text.c_str());
        if (is_wanted) expected += build_log_record("cs-uri", text);
      }
    }
    flush_log(*log);
    EXPECT_TRUE(read_log_without_times(path) == expected);
  }
}

TEST(open_link_file, takes_the_first_file_that_may_be_continued) {
  const temp_directory directory;
  const std::string base = directory.path + "/links", none = directory.path + "/none/f";
  const off_t limit = 2'147'483'648;
  for (const auto& [number, size] : {std::pair<const char*, off_t>{"1", 0},
                                     {"3", limit},
                                     {"4", limit + 5'000},
                                     {"5", limit - 1},
                                     {"8", limit}}) {
    const std::string path = base + "." + number;
    write_test_file(path, "");
    ASSERT_EQ(::truncate(path.c_str(), size), 0);  // sparse: they take no room
  }
  for (const auto& [counter, expected] :
       {std::pair(0u, 1u), {1u, 2u}, {2u, 5u}, {5u, 6u}, {7u, 9u}}) {
    EXPECT_EQ(open_link_file(base, counter)->counter, expected) << "behind " << counter;
  }
  const link_file_ptr links = open_link_file(base);
  links->base_path = none;
  links->max_bytes = 0;
  testing::internal::CaptureStderr();
  for (int i = 0; i < 2; ++i) write_link_record(*links, "dropped", strings());
  EXPECT_FALSE(flush_link_file(*links));
  EXPECT_EQ(
      testing::internal::GetCapturedStderr(),
      "The link file " + none + ".2 cann't be opened to write. The links will not be stored.\n");
  EXPECT_EQ(open_file_log(none, true), nullptr);
  EXPECT_EQ(open_status_file(none), nullptr);
}

}  // namespace
}  // namespace wk
