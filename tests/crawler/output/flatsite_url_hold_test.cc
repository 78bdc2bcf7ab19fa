// The store of files of records, and beside it the one that keeps nothing.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "crawler/output/flatsite_tail.h"
#include "crawler/output/url_hold.h"
#include "tests/crawler/output/log_without_times.h"
#include "tests/support/full_disk.h"
#include "tests/support/temp_directory.h"
#include "wkstd/clock.h"

namespace wk {
namespace {

using store_files = std::map<std::string, std::string>;

stored_document build_document(std::string_view content) {
  return {.url = "http://h/",
          .type_name = "html",
          .title = {},
          .character_set = {},
          .content = content};
}

std::string build_record(const std::string& content) {
  return "FLATSITE_START\nDB_DOC_URL=http://h/\nDB_DOC_TYPE=html\nDB_DOC_LEN=" +
         std::to_string(content.size()) + "\n" + content + "\nFLATSITE_END\n";
}

// A flatsite store in a directory of its own, with the log that hears of its troubles.
struct flatsite_fixture {
  temp_directory directory;
  std::string store_path = make_directory(directory, "store");
  log_ptr log = open_file_log(directory.path + "/log", false);
  url_hold_ptr hold = create_flatsite_url_hold(store_path, log.get());
  quota crawl_quota;

  explicit flatsite_fixture(int32_t pages_a_file = 0) {
    set_page_quota_flatsite_url_hold(*hold, pages_a_file);
  }
  int store(std::string_view content) {
    return store_document_url_hold(*hold, build_document(content), crawl_quota);
  }
  // Number of a file, or its name when it is another's -> bytes.
  store_files read() const {
    store_files files;
    for (const auto& entry : std::filesystem::directory_iterator(store_path)) {
      const std::string name = entry.path().filename();
      files[name.substr(name.starts_with("flatsite-") ? 9 : 0)] = read_test_file(entry.path());
    }
    return files;
  }
  std::string read_log() const {  // what stands behind the log's head
    flush_log(*log);
    return read_log_without_times(directory.path + "/log").substr(45);
  }
};

std::string build_log_record(const std::string& text) {
  return "#Fields: date time s-status s-comment\nT " + text + "\n\n";
}

TEST(flatsite_url_hold, writes_records_byte_for_byte) {
  const std::string bytes("a\0\xff\nFLATSITE_END\n", 17);
  const stored_document documents[] = {
      {"http://h/", "raw", "A title", "utf-8", 951'782'400, bytes},
      {"", "", "", "", -5, "y"},
      {"not stored", "", "", "", 0, ""},
  };
  flatsite_fixture fixture;
  const uint32_t before = get_wall_time_seconds();
  for (const stored_document& document : documents) {
    const int stored = store_document_url_hold(*fixture.hold, document, fixture.crawl_quota);
    EXPECT_EQ(stored, document.content.empty() ? 0 : 1);
  }
  std::string written = fixture.read()["1"];
  const size_t date_at = written.find("WK_CRAWLER_DATE=") + 16;
  const size_t date_length = written.find('\n', date_at) - date_at;
  const uint64_t date = std::stoull(written.substr(date_at, date_length));
  EXPECT_TRUE(before <= date && date <= get_wall_time_seconds());
  EXPECT_EQ(written.replace(date_at, date_length, "N"),
            "FLATSITE_START\nDB_DOC_URL=http://h/\nDB_DOC_DATE=20000229\nWK_CRAWLER_DATE=N\n"
            "DB_DOC_TITLE=A title\nDB_DOC_TYPE=raw\nDB_DOC_LEN=17\n" +
                bytes +
                "\nFLATSITE_END\nFLATSITE_START\nDB_DOC_URL=\nDB_DOC_LEN=1\ny\nFLATSITE_END\n");
}

TEST(flatsite_url_hold, ends_a_file_at_its_limits_and_starts_each_anew) {
  const std::string mega(1'048'576, 'm'), refresh = "http-equiv=\"refresh\"";
  const std::string one = build_record("1"), two = one + one;
  const std::tuple<const char*, int32_t, int32_t, std::vector<std::string>, store_files> cases[] = {
      // name, pages and megabytes of a file, documents, files
      {"no limits above zero", 0, -1, {"1", "1", "1"}, {{"1", one + one + one}}},
      {"pages", 2, 0, {"1", "1", "1", "1", "1"}, {{"1", two}, {"2", two}, {"3", one}}},
      {"megabytes", 9, 1, {"1", mega, "1"}, {{"1", one + build_record(mega)}, {"2", one}}},
      {"a file each, bare", 1, 0, {"a", refresh, "b"}, {{"1", "a"}, {"2", refresh}, {"3", "b"}}},
  };
  for (const auto& [name, pages, megabytes, documents, files] : cases) {
    SCOPED_TRACE(name);
    flatsite_fixture fixture(pages);
    set_mb_quota_flatsite_url_hold(*fixture.hold, megabytes);
    write_test_file(fixture.store_path + "/flatsite-1", "what an earlier crawl left");
    for (const std::string& content : documents) EXPECT_EQ(fixture.store(content), 1);
    EXPECT_TRUE(fixture.read() == files);
  }
}

TEST(flatsite_url_hold, counts_no_refresh_page_towards_a_file) {
  const std::pair<const char*, size_t> cases[] = {
      // what is stored twice before another page, in files of two pages; files
      {R"(HTTP-EQUIV="refresh")", 1},
      {R"(HTTP-EQUIV="Refresh")", 1},
      {R"(http-equiv="Refresh")", 1},
      {R"(efresh"http-equiv="refresh")", 1},
      {R"(Http-Equiv="refresh")", 2},
      {R"(http-equiv="REFRESH")", 2},
      {R"(http-equiv='refresh')", 2},
      {R"(http-equiv="refresh)", 2},
      {R"(efresh")", 2},
  };
  for (const auto& [content, nb_files] : cases) {
    flatsite_fixture fixture(2);
    for (const char* text : {content, content, "x"}) EXPECT_EQ(fixture.store(text), 1);
    EXPECT_EQ(fixture.read().size(), nb_files) << content;
  }
}

TEST(flatsite_url_hold, says_which_file_does_not_open_and_tries_the_next) {
  flatsite_fixture fixture;
  set_page_limit_quota(fixture.crawl_quota, 2);
  std::filesystem::create_directory(fixture.store_path + "/flatsite-1");
  for (const int stored : {0, 1, 1, 0}) EXPECT_EQ(fixture.store("x"), stored);  // 2 for the crawl
  EXPECT_EQ(fixture.read()["2"], build_record("x") + build_record("x"));
  const std::string said = "Error opening document store file: '" + fixture.store_path;
  EXPECT_EQ(fixture.read_log(), build_log_record("500 " + said + "/flatsite-1'"));

  testing::internal::CaptureStderr();
  const url_hold_ptr unlogged = create_flatsite_url_hold(fixture.store_path + "/none", nullptr);
  quota unlimited;
  EXPECT_EQ(store_document_url_hold(*unlogged, build_document("x"), unlimited), 0);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), said + "/none/flatsite-1'\n");
}

TEST(flatsite_url_hold, keeps_and_counts_only_what_a_full_disk_took) {
  const std::string records[] = {build_record("1"), build_record("2"), build_record("3")};
  const std::tuple<int32_t, const char*, store_files> cases[] = {
      {2, "/flatsite-1'", {{"1", records[0] + records[1]}, {"2", records[2]}}},
      {1, "/flatsite-2'", {{"1", "1"}, {"2", "2"}, {"3", "3"}}},
  };
  for (const auto& [pages, failed, files] : cases) {
    flatsite_fixture fixture(pages);
    set_page_limit_quota(fixture.crawl_quota, 3);
    EXPECT_EQ(fixture.store("1"), 1);
    {
      const full_disk disk(1'000);
      for (int i = 0; i < 4; ++i) EXPECT_EQ(fixture.store(std::string(2'000, 'x')), 0);
    }
    EXPECT_EQ(get_nb_stored_url_hold(*fixture.hold), 1u);
    for (const char* content : {"2", "3"}) EXPECT_EQ(fixture.store(content), 1);
    EXPECT_EQ(fixture.store("beyond the quota of the crawl"), 0);
    const std::string path = "'" + fixture.store_path + failed;
    EXPECT_EQ(fixture.read_log(),
              build_log_record("500 Error writing document store file: " + path +
                               " (File too large); documents are not stored until it can be "
                               "written again") +
                  build_log_record("200 Document store file " + path +
                                   " can be written again; documents that were not stored: 4"));
    EXPECT_EQ(fixture.read(), files);
  }
}

// Contents that look like the frame around them.
const std::string FIRST = build_record("a\nFLATSITE_END\nDB_DOC_LEN=3\n");
const std::string SECOND = build_record(FIRST + std::string("\0FLATSITE_START\n", 16));

TEST(flatsite_tail, leaves_other_files_alone_and_follows_no_link) {
  const std::pair<const char*, std::string> cases[] = {
      {"another text", "<html>a page stored by itself</html>"},
      {"zeros that a power cut left", FIRST + std::string(5'000, '\0')},
      {"no end where the length says", FIRST + "FLATSITE_START\nDB_DOC_LEN=2\nabc\nFLATSITE_END\n"},
      {"a length that is no number", "FLATSITE_START\nDB_DOC_LEN=many\n" + FIRST},
      {"a head without an end", "FLATSITE_START\n" + std::string(300'000, 'x') + "\n"},
      {"a link", "FLATSITE_ST"},
  };
  const temp_directory directory;
  const std::string path = directory.path + "/f", link = directory.path + "/link";
  ASSERT_EQ(::symlink(path.c_str(), link.c_str()), 0);
  for (const auto& [name, bytes] : cases) {
    SCOPED_TRACE(name);
    write_test_file(path, bytes);
    EXPECT_EQ(repair_flatsite_tail(name == std::string("a link") ? link : path),
              FLATSITE_TAIL_FOREIGN);
    EXPECT_EQ(read_test_file(path), bytes);
  }
  EXPECT_EQ(repair_flatsite_tail(directory.path + "/none"), FLATSITE_TAIL_WHOLE);
  EXPECT_EQ(repair_flatsite_tail(directory.path), FLATSITE_TAIL_FOREIGN);
}

TEST(flatsite_url_hold, goes_on_behind_what_is_stored) {
  const std::string two = build_record("1") + build_record("2"), torn = SECOND.substr(0, 40);
  const std::tuple<const char*, int32_t, store_files, store_files> cases[] = {
      // name, pages of a file, what was there, what two documents change
      {"nothing", 0, {}, {{"1", two}}},
      {"a whole file", 0, {{"1", FIRST}}, {{"1", FIRST + two}}},
      {"the last of two", 0, {{"1", FIRST}, {"2", SECOND}}, {{"2", SECOND + two}}},
      {"a file that ends within a record", 0, {{"1", FIRST + torn}}, {{"1", FIRST + two}}},
      {"a file of something else", 0, {{"1", "foreign"}}, {{"2", two}}},
      {"every entry counts", 0, {{"1", FIRST}, {"x", "x"}}, {{"2", two}}},
      {"a lower file was taken away", 0, {{"2", FIRST}, {"3", SECOND}}, {{"3", SECOND + two}}},
      {"one document a file", 1, {{"1", "a"}, {"2", "b"}}, {{"3", "1"}, {"4", "2"}}},
  };
  for (const auto& [name, pages, before, changed] : cases) {
    SCOPED_TRACE(name);
    flatsite_fixture fixture(pages);
    for (const auto& [number, bytes] : before) {
      write_test_file(fixture.store_path + "/flatsite-" + number, bytes);
    }
    resume_url_hold(*fixture.hold);
    for (const char* content : {"1", "2"}) EXPECT_EQ(fixture.store(content), 1);
    store_files expected = changed;
    expected.insert(before.begin(), before.end());
    EXPECT_EQ(fixture.read(), expected);
    const bool says_cut = fixture.read_log().find("which is cut off") != std::string::npos;
    EXPECT_EQ(says_cut, before.contains("1") && before.at("1").ends_with(torn));
  }
}

TEST(null_url_hold, accepts_nothing_and_no_limits) {
  const url_hold_ptr hold = create_null_url_hold();
  quota crawl_quota;
  EXPECT_EQ(store_document_url_hold(*hold, build_document("x"), crawl_quota), 0);
  EXPECT_EQ(get_directory_url_hold(*hold), "");
  testing::internal::CaptureStderr();
  set_page_quota_flatsite_url_hold(*hold, 1);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "WARNING: Condition failed: hold->obj_type == T_FLATSITE_URL_HOLD_OBJ\n");
}

}  // namespace
}  // namespace wk
