#include "crawler/output/flatsite_tail.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <tuple>
#include <vector>

#include "crawler/output/url_hold.h"
#include "tests/support/temp_directory.h"

namespace wk {
namespace {

std::string build_record(const std::string& url, const std::string& content) {
  return "FLATSITE_START\nDB_DOC_URL=" + url +
         "\nDB_DOC_TYPE=html\nDB_DOC_LEN=" + std::to_string(content.size()) + "\n" + content +
         "\nFLATSITE_END\n";
}

// Contents that look like the frame around them.
const std::string FIRST = build_record("http://h/1", "a\nFLATSITE_END\nDB_DOC_LEN=3\n");
const std::string SECOND =
    build_record("http://h/2", FIRST + std::string("\0FLATSITE_START\n", 16));

TEST(flatsite_tail, cuts_a_file_back_to_whole_records_wherever_it_ends) {
  const temp_directory directory;
  const std::string path = directory.path + "/flatsite-1";
  const std::string file = FIRST + SECOND;
  for (size_t length = 0; length <= file.size(); ++length) {
    write_test_file(path, file.substr(0, length));
    const size_t whole =
        length < FIRST.size() ? 0 : (length < file.size() ? FIRST.size() : file.size());
    EXPECT_EQ(repair_flatsite_tail(path), length == whole ? FLATSITE_TAIL_WHOLE : FLATSITE_TAIL_CUT)
        << length;
    EXPECT_EQ(read_test_file(path), file.substr(0, whole)) << length;
  }
}

TEST(flatsite_tail, leaves_other_files_alone) {
  const std::tuple<const char*, std::string> cases[] = {
      {"another text", "<html>a page stored by itself</html>"},
      {"zeros that a power cut left", FIRST + std::string(5'000, '\0')},
      {"no end where the length says", FIRST + "FLATSITE_START\nDB_DOC_LEN=2\nabc\nFLATSITE_END\n"},
      {"a length that is no number", "FLATSITE_START\nDB_DOC_LEN=many\n" + FIRST},
      {"a head without an end", "FLATSITE_START\n" + std::string(300'000, 'x') + "\n"},
  };
  for (const auto& [name, bytes] : cases) {
    SCOPED_TRACE(name);
    const temp_directory directory;
    const std::string path = directory.path + "/f";
    write_test_file(path, bytes);
    EXPECT_EQ(repair_flatsite_tail(path), FLATSITE_TAIL_FOREIGN);
    EXPECT_EQ(read_test_file(path), bytes);
  }
}

TEST(flatsite_tail, takes_heads_of_every_length_and_follows_no_link) {
  const temp_directory directory;
  const std::string path = directory.path + "/f";
  const std::string file = build_record("http://h/" + std::string(100'000, 'x'), "page") + FIRST;
  write_test_file(path, file);
  EXPECT_EQ(repair_flatsite_tail(path), FLATSITE_TAIL_WHOLE);
  write_test_file(path, file + "FLATSITE_START\nDB_DOC_LEN=4294967295\nx");
  EXPECT_EQ(repair_flatsite_tail(path), FLATSITE_TAIL_CUT);
  EXPECT_EQ(read_test_file(path), file);

  EXPECT_EQ(repair_flatsite_tail(directory.path + "/none"), FLATSITE_TAIL_WHOLE);
  EXPECT_EQ(repair_flatsite_tail(directory.path), FLATSITE_TAIL_FOREIGN);
  write_test_file(path, "FLATSITE_ST");
  ASSERT_EQ(::symlink(path.c_str(), (directory.path + "/link").c_str()), 0);
  EXPECT_EQ(repair_flatsite_tail(directory.path + "/link"), FLATSITE_TAIL_FOREIGN);
  EXPECT_EQ(read_test_file(path), "FLATSITE_ST");
}

// A store that goes on in a directory with these files and takes two documents, "1" and "2".
struct resume_case {
  const char* name;
  std::vector<std::pair<std::string, std::string>> before;  // name, bytes
  std::vector<std::pair<std::string, std::string>> after;   // files that differ from before
  int32_t pages;                                            // limit of one file; 0: none
  bool says_cut;
};

std::string build_stored(const std::string& content) {
  return "FLATSITE_START\nDB_DOC_URL=http://h/\nDB_DOC_LEN=1\n" + content + "\nFLATSITE_END\n";
}

TEST(flatsite_url_hold, goes_on_behind_what_is_stored) {
  const std::string stored = build_stored("1") + build_stored("2");
  const resume_case cases[] = {
      {"nothing", {}, {{"flatsite-1", stored}}, 0, false},
      {"a whole file", {{"flatsite-1", FIRST}}, {{"flatsite-1", FIRST + stored}}, 0, false},
      {"the last of two",
       {{"flatsite-1", FIRST}, {"flatsite-2", SECOND}},
       {{"flatsite-2", SECOND + stored}},
       0,
       false},
      {"a file that ends within a record",
       {{"flatsite-1", FIRST + SECOND.substr(0, 40)}},
       {{"flatsite-1", FIRST + stored}},
       0,
       true},
      {"a file of something else", {{"flatsite-1", "foreign"}}, {{"flatsite-2", stored}}, 0, false},
      {"every entry with the beginning counts",
       {{"flatsite-1", FIRST}, {"flatsite.old", "x"}, {"other", "y"}},
       {{"flatsite-2", stored}},
       0,
       false},
      {"a lower file that was taken away",
       {{"flatsite-2", FIRST}, {"flatsite-3", SECOND}},
       {{"flatsite-3", SECOND + stored}},
       0,
       false},
      {"one document a file",
       {{"flatsite-1", "a"}, {"flatsite-2", "b"}},
       {{"flatsite-3", "1"}, {"flatsite-4", "2"}},
       1,
       false},
  };
  for (const resume_case& c : cases) {
    SCOPED_TRACE(c.name);
    const temp_directory directory;
    const std::string store = make_directory(directory, "store");
    for (const auto& [name, bytes] : c.before) write_test_file(store + "/" + name, bytes);
    const log_ptr log = open_file_log(directory.path + "/log", false);
    const url_hold_ptr hold = create_flatsite_url_hold(store, log.get());
    set_page_quota_flatsite_url_hold(*hold, c.pages);
    resume_url_hold(*hold);
    quota crawl_quota;
    for (const char* content : {"1", "2"}) {
      const stored_document document{.url = "http://h/",
                                     .type_name = {},
                                     .title = {},
                                     .character_set = {},
                                     .content = content};
      EXPECT_EQ(store_document_url_hold(*hold, document, crawl_quota), 1);
    }
    auto expected = c.before;
    for (const auto& [name, bytes] : c.after) {
      std::erase_if(expected, [&name = name](const auto& file) { return file.first == name; });
      expected.emplace_back(name, bytes);
    }
    for (const auto& [name, bytes] : expected) {
      EXPECT_EQ(read_test_file(store + "/" + name), bytes) << name;
    }
    flush_log(*log);
    EXPECT_EQ(read_test_file(directory.path + "/log").find("which is cut off") != std::string::npos,
              c.says_cut);
  }
}

TEST(url_hold_image, goes_into_a_store_of_its_kind_and_directory_only) {
  const url_hold_ptr saved = create_flatsite_url_hold("/store", nullptr);
  set_mb_quota_flatsite_url_hold(*saved, 3);
  set_page_quota_flatsite_url_hold(*saved, 5);
  std::string image;
  save_url_hold(*saved, image);
  const auto load = [&image](const url_hold_ptr& hold) {
    const std::string bytes = image + "next";
    std::string_view rest = bytes;
    const bool loaded = load_url_hold(rest, *hold);
    EXPECT_EQ(rest, loaded ? "next" : bytes);
    return loaded;
  };
  EXPECT_FALSE(load(create_null_url_hold()));
  EXPECT_FALSE(load(create_flatsite_url_hold("/other", nullptr)));
  const url_hold_ptr loaded = create_flatsite_url_hold("/store", nullptr);
  ASSERT_TRUE(load(loaded));
  std::string again;
  save_url_hold(*loaded, again);
  EXPECT_EQ(again, image);
  for (size_t length = 0; length < image.size(); ++length) {
    std::string_view cut = std::string_view(image).substr(0, length);
    EXPECT_FALSE(skip_url_hold_image(cut)) << length;
    EXPECT_FALSE(load_url_hold(cut, *loaded)) << length;
    EXPECT_EQ(cut.size(), length);
  }
  std::string_view whole = image;
  EXPECT_TRUE(skip_url_hold_image(whole));
  EXPECT_TRUE(whole.empty());
}

}  // namespace
}  // namespace wk
