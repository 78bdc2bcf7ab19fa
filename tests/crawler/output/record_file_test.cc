// The files that gather a crawl's records: crawl log, status file and link files. What bounds a
// store, and what an earlier crawl's store tells.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "crawler/output/link_file.h"
#include "crawler/output/log.h"
#include "crawler/output/quota.h"
#include "crawler/output/status_file.h"
#include "crawler/output/url_dates.h"
#include "tests/crawler/output/log_without_times.h"
#include "tests/support/full_disk.h"
#include "tests/support/temp_directory.h"
#include "wkstd/state_stream.h"

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
  std::function<void()> flush;
};

record_writer open_log(const std::string& path) {
  const std::shared_ptr<Log> log = open_file_log(path, false);
  return {[log](const std::string& text) { write_log(*log, LOG_STATUS, "cs-uri", text); },
          [log] { flush_log(*log); }};
}

record_writer open_status(const std::string& path) {
  const std::shared_ptr<status_file> status = open_status_file(path);
  return {[status](const std::string& text) { write_status_file(*status, text, 408, 300); },
          [status] { flush_status_file(*status); }};
}

record_writer open_links(const std::string& path) {
  const std::shared_ptr<link_file> links = open_link_file(path);
  links->max_bytes = 4'096;
  return {[links](const std::string& text) {
            write_link_record(*links, text, strings{"a", "%s"});
          },
          [links] { EXPECT_TRUE(flush_link_file(*links)); }};
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
