#include "crawler/output/url_hold.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "tests/crawler/output/log_without_times.h"
#include "tests/support/full_disk.h"
#include "tests/support/temp_directory.h"
#include "wkstd/clock.h"
#include "wkstd/directory.h"

namespace wk {
namespace {

// A flatsite store in a directory of its own, with the log that hears of its troubles.
struct flatsite_fixture {
  temp_directory directory;
  std::string store_path = make_directory(directory, "store");
  std::string log_path = directory.path + "/log";
  log_ptr log = open_file_log(log_path, false);
  url_hold_ptr hold = create_flatsite_url_hold(store_path, log.get());
  quota crawl_quota;

  int store(std::string_view content) {
    const stored_document document{.url = "http://h/",
                                   .type_name = "html",
                                   .title = {},
                                   .character_set = {},
                                   .content = content};
    return store_document_url_hold(*hold, document, crawl_quota);
  }
  std::string read_file(int number) const {
    return read_test_file(store_path + "/flatsite-" + std::to_string(number));
  }
  std::vector<std::string> list_store() const {
    std::vector<std::string> names;
    EXPECT_TRUE(list_files(store_path, names));
    return names;
  }
  std::string read_log() const {  // what stands behind the log's head
    flush_log(*log);
    const std::string bytes = read_log_without_times(log_path);
    return bytes.substr(bytes.find("Webcrawler\n") + 11);
  }
};

std::string build_record(const std::string& content) {
  return "FLATSITE_START\nDB_DOC_URL=http://h/\nDB_DOC_TYPE=html\nDB_DOC_LEN=" +
         std::to_string(content.size()) + "\n" + content + "\nFLATSITE_END\n";
}

TEST(flatsite_url_hold, writes_records_byte_for_byte) {
  const std::string bytes("a\0\xff\nFLATSITE_END\n", 17);
  const std::tuple<stored_document, std::string> cases[] = {
      {{.url = "http://h/1",
        .type_name = "raw",
        .title = "A title",
        .character_set = "utf-8",
        .date = 951'782'400,
        .content = bytes},
       "FLATSITE_START\nDB_DOC_URL=http://h/1\nDB_DOC_DATE=20000229\nWK_CRAWLER_DATE=N\n"
       "DB_DOC_TITLE=A title\nDB_DOC_TYPE=raw\nDB_DOC_LEN=17\n" +
           bytes + "\nFLATSITE_END\n"},
      {{.url = "http://h/2",
        .type_name = {},
        .title = {},
        .character_set = {},
        .date = 0,
        .content = "x"},
       "FLATSITE_START\nDB_DOC_URL=http://h/2\nDB_DOC_LEN=1\nx\nFLATSITE_END\n"},
      {{.url = {}, .type_name = {}, .title = {}, .character_set = {}, .date = -5, .content = "y"},
       "FLATSITE_START\nDB_DOC_URL=\nDB_DOC_LEN=1\ny\nFLATSITE_END\n"},
  };
  flatsite_fixture fixture;
  std::string expected;
  const uint32_t before = get_wall_time_seconds();
  for (const auto& [document, record] : cases) {
    EXPECT_EQ(store_document_url_hold(*fixture.hold, document, fixture.crawl_quota), 1);
    expected += record;
  }
  EXPECT_EQ(fixture.store(""), 0);
  EXPECT_EQ(get_nb_stored_url_hold(*fixture.hold), std::size(cases));

  std::string written = fixture.read_file(1);
  const size_t date_at = written.find("WK_CRAWLER_DATE=") + 16;
  const size_t date_length = written.find('\n', date_at) - date_at;
  const uint64_t date = std::stoull(written.substr(date_at, date_length));
  EXPECT_TRUE(before <= date && date <= get_wall_time_seconds());
  EXPECT_EQ(written.replace(date_at, date_length, "N"), expected);
  struct stat facts {};
  ASSERT_EQ(::stat((fixture.store_path + "/flatsite-1").c_str(), &facts), 0);
  EXPECT_EQ(facts.st_mode & 0777, 0600u);
}

TEST(flatsite_url_hold, starts_the_next_file_behind_a_full_one) {
  flatsite_fixture fixture;
  set_page_quota_flatsite_url_hold(*fixture.hold, 2);
  set_mb_quota_flatsite_url_hold(*fixture.hold, 1);
  const std::string megabyte(1'048'576, 'm');
  for (const std::string& content : {std::string("1"), std::string("2"), megabyte, std::string("4"),
                                     std::string("5"), std::string("6")}) {
    EXPECT_EQ(fixture.store(content), 1);
  }
  EXPECT_EQ(fixture.read_file(1), build_record("1") + build_record("2"));
  EXPECT_TRUE(fixture.read_file(2) == build_record(megabyte));
  EXPECT_EQ(fixture.read_file(3), build_record("4") + build_record("5"));
  EXPECT_EQ(fixture.read_file(4), build_record("6"));
  EXPECT_EQ(fixture.list_store().size(), 4u);
}

TEST(flatsite_url_hold, counts_no_refresh_page_towards_a_file) {
  const std::pair<const char*, bool> cases[] = {
      {R"(<meta HTTP-EQUIV="refresh">)", true},  {R"(<meta HTTP-EQUIV="Refresh">)", true},
      {R"(<meta http-equiv="Refresh">)", true},  {R"(efresh" http-equiv="refresh" efresh")", true},
      {R"(http-equiv="refresh")", true},         {R"(<meta Http-Equiv="refresh">)", false},
      {R"(<meta http-equiv="REFRESH">)", false}, {R"(<meta http-equiv='refresh'>)", false},
      {R"(<meta http-equiv="refresh)", false},   {R"(efresh")", false},
  };
  for (const auto& [content, is_refresh] : cases) {
    SCOPED_TRACE(content);
    flatsite_fixture fixture;
    set_page_quota_flatsite_url_hold(*fixture.hold, 2);
    for (const char* text : {content, content, "x"}) EXPECT_EQ(fixture.store(text), 1);
    EXPECT_EQ(fixture.list_store().size(), is_refresh ? 1u : 2u);
  }
}

TEST(flatsite_url_hold, puts_each_document_bare_into_its_own_file) {
  flatsite_fixture fixture;
  write_test_file(fixture.store_path + "/flatsite-1", "what an earlier crawl left");
  set_page_quota_flatsite_url_hold(*fixture.hold, 1);
  const std::string contents[] = {"1", R"(http-equiv="refresh")", "3"};
  for (const std::string& content : contents) EXPECT_EQ(fixture.store(content), 1);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(fixture.read_file(i + 1), contents[i]);
  EXPECT_EQ(fixture.list_store().size(), 3u);
}

TEST(flatsite_url_hold, takes_limits_above_zero_only) {
  flatsite_fixture fixture;
  set_page_quota_flatsite_url_hold(*fixture.hold, 0);
  set_mb_quota_flatsite_url_hold(*fixture.hold, -1);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(fixture.store("x"), 1);
  EXPECT_EQ(fixture.read_file(1), build_record("x") + build_record("x") + build_record("x"));
}

TEST(url_hold, stores_nothing_beyond_the_quota_of_the_crawl) {
  flatsite_fixture fixture;
  set_page_limit_quota(fixture.crawl_quota, 2);
  for (const int stored : {1, 1, 0, 0}) EXPECT_EQ(fixture.store("x"), stored);
  EXPECT_EQ(get_nb_stored_url_hold(*fixture.hold), 2u);
  EXPECT_EQ(fixture.read_file(1), build_record("x") + build_record("x"));
}

TEST(flatsite_url_hold, says_which_file_does_not_open_and_tries_the_next) {
  flatsite_fixture fixture;
  std::filesystem::create_directory(fixture.store_path + "/flatsite-1");
  EXPECT_EQ(fixture.store("x"), 0);
  EXPECT_EQ(fixture.read_log(),
            "#Fields: date time s-status s-comment\nT 500 Error opening document store file: '" +
                fixture.store_path + "/flatsite-1'\n\n");
  EXPECT_EQ(fixture.store("x"), 1);
  EXPECT_EQ(fixture.read_file(2), build_record("x"));
  EXPECT_EQ(get_nb_stored_url_hold(*fixture.hold), 1u);

  testing::internal::CaptureStderr();
  const stored_document document{
      .url = "u", .type_name = {}, .title = {}, .character_set = {}, .content = "x"};
  const url_hold_ptr unlogged = create_flatsite_url_hold(fixture.store_path + "/none", nullptr);
  EXPECT_EQ(store_document_url_hold(*unlogged, document, fixture.crawl_quota), 0);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Error opening document store file: '" + fixture.store_path + "/none/flatsite-1'\n");
}

TEST(flatsite_url_hold, keeps_and_counts_only_what_a_full_disk_took) {
  for (const bool one_document_per_file : {false, true}) {
    SCOPED_TRACE(one_document_per_file);
    flatsite_fixture fixture;
    set_page_limit_quota(fixture.crawl_quota, 3);
    set_page_quota_flatsite_url_hold(*fixture.hold, one_document_per_file ? 1 : 2);
    EXPECT_EQ(fixture.store("first"), 1);
    {
      const full_disk disk(1'000);
      for (int i = 0; i < 4; ++i) EXPECT_EQ(fixture.store(std::string(2'000, 'x')), 0);
    }
    EXPECT_EQ(get_nb_stored_url_hold(*fixture.hold), 1u);
    EXPECT_EQ(fixture.store("second"), 1);
    EXPECT_EQ(fixture.store("third"), 1);
    EXPECT_EQ(fixture.store("beyond the quota of the crawl"), 0);
    const std::string failed =
        fixture.store_path + (one_document_per_file ? "/flatsite-2'" : "/flatsite-1'");
    std::string said =
        "#Fields: date time s-status s-comment\nT 500 Error writing document store file: '";
    said += failed;
    said += " (File too large); documents are not stored until it can be written again\n\n";
    said += "#Fields: date time s-status s-comment\nT 200 Document store file '";
    said += failed;
    said += " can be written again; documents that were not stored: 4\n\n";
    EXPECT_EQ(fixture.read_log(), said);
    const std::vector<std::string> expected =
        one_document_per_file
            ? std::vector<std::string>{"first", "second", "third"}
            : std::vector<std::string>{build_record("first") + build_record("second"),
                                       build_record("third")};
    ASSERT_EQ(fixture.list_store().size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) {
      EXPECT_EQ(fixture.read_file(static_cast<int>(i) + 1), expected[i]);
    }
  }
}

TEST(flatsite_url_hold, keeps_records_of_many_threads_whole) {
  constexpr size_t nb_threads = 4;
  constexpr size_t nb_documents = 100;
  flatsite_fixture fixture;
  set_page_quota_flatsite_url_hold(*fixture.hold, 50);
  {
    std::vector<std::jthread> threads;
    threads.reserve(nb_threads);
    for (size_t t = 0; t < nb_threads; ++t) {
      threads.emplace_back([&fixture, t] {
        const std::string content(1'000, static_cast<char>('a' + t));
        for (size_t i = 0; i < nb_documents; ++i) {
          fixture.store(content);
          (void)get_nb_stored_url_hold(*fixture.hold);
        }
      });
    }
  }
  EXPECT_EQ(get_nb_stored_url_hold(*fixture.hold), nb_threads * nb_documents);
  ASSERT_EQ(fixture.list_store().size(), nb_threads * nb_documents / 50);
  std::string all;
  for (int i = 1; i <= 8; ++i) all += fixture.read_file(i);
  for (size_t t = 0; t < nb_threads; ++t) {
    const std::string record = build_record(std::string(1'000, static_cast<char>('a' + t)));
    size_t found = 0;
    for (size_t at = 0; (at = all.find(record, at)) != std::string::npos; at += record.size()) {
      ++found;
    }
    EXPECT_EQ(found, nb_documents);
    EXPECT_EQ(all.size(), record.size() * nb_threads * nb_documents);
  }
}

TEST(url_hold, writes_the_image_of_each_kind) {
  flatsite_fixture fixture;
  set_page_quota_flatsite_url_hold(*fixture.hold, 7);
  EXPECT_EQ(fixture.store("x"), 1);
  EXPECT_EQ(get_directory_url_hold(*fixture.hold), fixture.store_path);
  std::string stream;
  save_url_hold(*fixture.hold, stream);
  const std::string zero(4, '\0');
  const std::string one("\1\0\0\0", 4);
  const std::string length(1, static_cast<char>(fixture.store_path.size()));
  EXPECT_EQ(stream, std::string("\x14\xb1\x1d\0", 4) + one + one + zero + zero + zero + zero + one +
                        one + std::string("\7\0\0\0", 4) + one + length + std::string(3, '\0') +
                        fixture.store_path);
  stream.clear();
  save_url_hold(*create_null_url_hold(), stream);
  EXPECT_EQ(stream, std::string("\x5e\xec\xbc\0", 4));
}

TEST(null_url_hold, accepts_nothing_and_no_limits) {
  const url_hold_ptr hold = create_null_url_hold();
  quota crawl_quota;
  set_page_limit_quota(crawl_quota, 1);
  const stored_document document{
      .url = "u", .type_name = {}, .title = {}, .character_set = {}, .content = "x"};
  EXPECT_EQ(store_document_url_hold(*hold, document, crawl_quota), 0);
  EXPECT_EQ(get_nb_stored_url_hold(*hold), 0u);
  EXPECT_FALSE(is_exceeded_quota(crawl_quota));
  EXPECT_EQ(get_directory_url_hold(*hold), "");
  testing::internal::CaptureStderr();
  set_mb_quota_flatsite_url_hold(*hold, 1);
  set_page_quota_flatsite_url_hold(*hold, 1);
  const std::string failed =
      "WARNING: Condition failed: hold->obj_type == T_FLATSITE_URL_HOLD_OBJ\n";
  EXPECT_EQ(testing::internal::GetCapturedStderr(), failed + failed);
}

}  // namespace
}  // namespace wk
