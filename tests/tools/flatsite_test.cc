#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>

#include "tests/support/child_process.h"
#include "tests/support/temp_directory.h"

namespace wk {
namespace {

using strings = std::vector<std::string>;

// Runs it inside directory.
void expect_run(const std::string& directory, strings arguments, int status,
                const std::string& output, const std::string& errors) {
  SCOPED_TRACE(arguments.front());
  arguments.insert(arguments.begin(), WK_FLATSITE_PATH);
  const program_result result =
      run_program_to_end({.arguments = std::move(arguments), .directory = directory});
  EXPECT_EQ(result.exit_status, status);
  EXPECT_EQ(result.output, output);
  EXPECT_EQ(result.errors.substr(0, result.errors.find('\n') + 1), errors);  // its first line
}

std::string build_record(const std::string& url, const std::string& content) {
  return "FLATSITE_START\nDB_DOC_URL=" + url +
         "\nDB_DOC_TYPE=html\nDB_DOC_LEN=" + std::to_string(content.size()) + "\n" + content +
         "\nFLATSITE_END\n";
}

const std::string HEADERS = "WKVER: 1.0\nWKURL: u\nWKDATE: 7\n\nA: b\n\n\nWKLEN: 2\n\n\n\n\n\n";
TEST(flatsite, names_the_place_of_a_damage) {
  const std::string content = "one\nFLATSITE_END\nFLATSITE_START\n", start = "FLATSITE_START\n";
  const std::string first = build_record("u", content), torn = "the file ends within the record";
  const std::string foreign = "no record begins here", number = "a length that is no number";
  const std::string order = "a header record whose lines are out of order";
  const std::pair<std::string, std::string> cases[] = {
      // what follows a record, and what is wrong there
      {start + "DB_DOC_URL=u\n", torn},
      {first.substr(0, first.size() - 1), torn},
      {HEADERS.substr(0, 40), torn},
      {start + "DB_DOC_LEN=2147483647\nx", torn},
      {std::string(9, '\0') + first, foreign},
      {"FLATSITE_START\r\n", foreign},
      {start + "DB_DOC_LEN=2147483648\n", number},
      {start + "DB_DOC_LEN=-1\n", number},
      {start + "DB_DOC_LEN=18446744073709551617\n", number},
      {"WKVER: 1.0\nWKDATE: 7\n", order},
      {"WKVER: 1.0\nWKURL: u\nWKDATE: 7\n\n\n\nWKLEN: 1\nx\n\n", order},
      {start + "DB_DOC_LEN=1\nab\nFLATSITE_END\n", "no end where the length of the record says"},
      {start + "Date: x\n", "a line that is none of a record's"},
      {start + "DB_DOC_URL=" + std::string(300'000, 'x') + "\n", "a head that does not end"},
  };
  const temp_directory directory;
  for (const auto& [bytes, fault] : cases) {
    write_test_file(directory.path + "/f", first + bytes);
    const std::string said = "f: offset " + std::to_string(first.size()) + ": " + fault + "\n";
    expect_run(directory.path, {"check", "f"}, 1, said, "");
    expect_run(directory.path, {"cat", "u", "f"}, 1, content, said);  // what stands before is read
  }
}

TEST(flatsite, exports_into_its_directory_whatever_the_urls_say) {
  const std::pair<std::string, std::string> cases[] = {
      // URL, the name of its file
      {"http://h/a/b.html", "h_a_b.html"},
      {"http://h/a_b.html", "h_a_b.html~2"},
      {"http://h/a/b.html", "h_a_b.html~3"},
      {"http://h/../../etc/passwd", "h_.._.._etc_passwd"},
      {"../../../x", "_._.._.._x"},
      {"/etc/passwd", "_etc_passwd"},
      {"..", "_."},
      {"", "_"},
      {"http://.", "_~2"},
      {std::string("a\0b\\c\x1b\xff~1", 9), "a_b_c___1"},
      {"http://" + std::string(400, 'x'), std::string(180, 'x')},
      {"http://link", "link~2"},
      {"http://dangling", "dangling~2"},
  };
  const temp_directory directory;
  const std::string out = make_directory(directory, "out"), base = directory.path + "/";
  std::filesystem::create_symlink(base + "outside", out + "/link");
  std::filesystem::create_symlink(base + "new", out + "/dangling");
  std::filesystem::create_symlink(out, base + "to-out");
  std::map<std::string, std::string> expected = {{"link", "as it was"}, {"dangling", ""}}, written;
  std::string records, printed;
  for (const auto& [url, name] : cases) {
    expected[name] = std::to_string(expected.size()) + url;
    printed += name + "\t" + std::to_string(expected[name].size()) + "\thtml\t";
    printed += (url[0] == 'a' ? R"(a\x00b\x5cc\x1b\xff~1)" : url) +
               "\tstore:" + std::to_string(records.size()) + "\n";
    records += build_record(url, expected[name]);
  }
  write_test_file(base + "outside", "as it was");
  write_test_file(base + "store", records);
  for (const char* target : {"to-out", "to-out/", "outside"}) {
    const std::string said = std::string(target) + ": can't be exported to: Not a directory\n";
    expect_run(directory.path, {"export", target, "store"}, 2, "", said);
  }
  expect_run(directory.path, {"export", "out", "store"}, 0, printed, "");
  for (const auto& entry : std::filesystem::directory_iterator(out))
    written[entry.path().filename()] = read_test_file(entry.path());
  EXPECT_EQ(written, expected);
  EXPECT_FALSE(std::filesystem::exists(base + "new"));
}

TEST(flatsite, says_what_it_found_for_people_and_programs) {
  const temp_directory directory;
  const std::string base = make_directory(directory, "s") + "/flatsite-";
  write_test_file(base + "10", build_record("u", "newest"));
  write_test_file(base + "9", HEADERS + build_record("\x1b\"\\\xc3\xa9\xff", "") + "rest");
  for (const char* name : {"", "02", "1.bak"}) write_test_file(base + name, "x");
  std::filesystem::create_symlink(base + "9", base + "1");
  const std::string fault = "s/flatsite-9: offset 129: no record begins here\n";
  const std::string listed =
      "2\theaders\tu\ts/flatsite-9:0\n0\thtml\t\\x1b\"\\x5c\\xc3\\xa9\\xff\ts/flatsite-9:52\n"
      "6\thtml\tu\ts/flatsite-10:0\n";
  const std::string json =
      R"({"file":"s/flatsite-9","offset":0,"url":"u","type":"headers","crawl_date":"7","length":2})"
      "\n"
      R"({"file":"s/flatsite-9","offset":52,"url":"\u001b\"\\éÿ","type":"html","length":0})"
      "\n";
  const std::string checked =
      R"({"file":"s/flatsite-9","offset":129,"fault":"no record begins here"})"
      "\n"
      R"({"file":"s/flatsite-10","records":1,"bytes":78})"
      "\n";
  expect_run(directory.path, {"list", "s"}, 1, listed, fault);
  expect_run(directory.path, {"--json", "list", "s/flatsite-9"}, 1, json, fault);
  expect_run(directory.path, {"--json", "check", "s"}, 1, checked, "");
  expect_run(directory.path, {"check", "s/flatsite-10"}, 0, "s/flatsite-10: 1 records, 78 bytes\n",
             "");
  expect_run(directory.path, {"cat", "none", "s/flatsite-10"}, 1, "", "no record has this URL\n");
  expect_run(directory.path, {"list", "."}, 2, "",
             ".: no store files: No such file or directory\n");
  for (const char* wrong : {"--json", "list", "what", "cat", "export"})
    expect_run(directory.path, {wrong}, 2, "", "usage: flatsite [--json] list PATH...\n");
}

}  // namespace
}  // namespace wk
