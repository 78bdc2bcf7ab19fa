#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <filesystem>
#include <sstream>
#include <string>
#include <tuple>

#include "crawler/horizon/bit_filter.h"
#include "tests/crawler/horizon/test_horizon.h"
#include "tests/support/checkpoint_files.h"

namespace wk {
namespace {

constexpr uint32_t NB_QUEUES = 3;
constexpr uint32_t FILTER_BITS = 20'001;

strings split_lines(const std::string& bytes) {
  std::istringstream stream(bytes);
  strings lines;
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

// The faults that the check finds, each with a line feed; only a horizon without any is good.
std::string list_faults(const std::string& directory, uint32_t filter_bits = FILTER_BITS) {
  const program_result result = check_horizon_files(directory, filter_bits, NB_QUEUES);
  EXPECT_EQ(result.errors, "");
  strings lines = split_lines(result.output);
  EXPECT_TRUE(!lines.empty() && lines.back().starts_with("queues ")) << result.output;
  std::string faults;
  for (const std::string& line : lines) {
    if (!line.starts_with("note: ") && &line != &lines.back()) faults += line + "\n";
  }
  EXPECT_EQ(result.exit_status, faults.empty() ? 0 : 1);
  return faults;
}

// A saved horizon with every kind of file: queue 0 without spill files, queue 1 with number 0 and a
// head that went to the pending file, queue 2 with numbers 0 to 3.
struct check_damaged_horizon : testing::Test {
  static inline directory_bytes sound;
  directory_bytes files = sound;

  static void SetUpTestSuite() {
    test_horizon h({.nb_queues = NB_QUEUES, .filter_bits = FILTER_BITS});
    add_urls(h, 10'600);
    for (uint32_t n = 0; n < 3; ++n) EXPECT_EQ(take(h).answer, FRONTIER_URL);
    EXPECT_EQ(save(h), HORIZON_OK);
    sound = read_directory_bytes(h.directory.path);
    sound.erase("ndue_cache.txt.sort");
  }

  // The faults of the files, which are the sound ones again afterwards.
  std::string check_files() {
    const temp_directory directory;
    write_directory_bytes(directory.path, files);
    files = sound;
    return list_faults(directory.path);
  }
};

TEST_F(check_damaged_horizon, is_sound_before_and_work_files_are_only_noted) {
  const temp_directory directory;
  std::string expected;
  for (const std::string name : {"ndue_cache.txt.sort", "ndue_disk_cache.txt.new",
                                 "ndue_unknown.txt.sort", "tmp.tsort0", "tmp.tsort12"}) {
    files[name] = "no\1URL";
    expected += "note: " + name + ": a work file of a sort or merge\n";
  }
  write_directory_bytes(directory.path, files);
  const program_result result = check_horizon_files(directory.path, FILTER_BITS, NB_QUEUES);
  EXPECT_EQ(result.exit_status, 0);
  EXPECT_EQ(result.output, expected +
                               "queues 3, queued URLs 9325, pending 1003, known 328, disk "
                               "cache 10000, unknown 272\n");
  files = sound;
  EXPECT_EQ(check_files(), "");
}

TEST_F(check_damaged_horizon, shows_a_line_that_is_wrong) {
  // What more is found is that the URL which stood in the disk cache is queued and not known.
  const std::string twice = "a URL that is in line 1 of ";
  const std::tuple<std::string, size_t, std::string, std::string, int> cases[] = {
      // file, line, what is put in its place (@n: the text of line n), fault, further faults
      {"ndue_cache.txt", 3, "", "an empty line", 1},
      {"ndue_unknown.txt", 1, "http://a/\tb", "a control byte", 0},
      {"ndue_unknown.txt", 9, std::string("\0", 1), "a control byte", 0},
      {"ndue_unknown.txt", 2, std::string(8'193, 'x'), "too long for a URL", 0},
      {"ndue_cache.txt", 2, "@1", "a URL that stands in it already", 1},
      {"ndue_unknown.txt", 272, "@271", "a URL that stands in it already", 0},
      {"ndue_unknown.txt", 4, "http://h4.example/page/10000", "a URL of the known list", 0},
      {"ndue_disk_cache.txt", 5, "@4", "the URL of the line before", 1},
      {"ndue_disk_cache.txt", 10'000, "a", "not in rising order", 2},  // its bits are not set
      {"nfrontier.0.head.txt", 7, "http://h6.example/new", "a URL that is not known", 0},
      {"ndue_pending.txt", 1, "http://h0.example/new", "a URL that is not known", 0},
      {"nfrontier.0.tail.txt", 2, "@1", twice + "nfrontier.0.tail.txt already", 0},
      {"ndue_pending.txt", 9, "http://h0.example/page/1750", twice + "nfrontier.2.0.txt already",
       0},
      {"nfrontier.1.tail.txt", 4, "https://h0.example/", "a URL of queue 2", 1},
      {"nfrontier.1.tail.txt", 4, "ftp://h1.example/", "a URL of queue 0", 1},
  };
  for (const auto& [name, number, text, what, nb_more] : cases) {
    const std::string expected = name + ": " + what + ", line " + std::to_string(number) + "\n";
    SCOPED_TRACE(expected);
    strings lines = split_lines(sound[name]);
    ASSERT_LE(number, lines.size());
    lines[number - 1] = text.starts_with('@') ? lines[std::stoul(text.substr(1)) - 1] : text;
    files[name].clear();
    for (const std::string& line : lines) files[name] += line + "\n";
    const std::string faults = check_files();
    EXPECT_TRUE(faults.starts_with(expected)) << faults;
    EXPECT_EQ(std::count(faults.begin(), faults.end(), '\n'), 1 + nb_more) << faults;
  }
}

TEST_F(check_damaged_horizon, shows_a_filter_that_is_wrong) {
  constexpr size_t HEAD = 4;
  constexpr size_t LAST_WORD = HEAD + size_t{4} * (FILTER_BITS >> 4);
  const std::string mhash = sound["ndue_mhash.txt"], name = "ndue_mhash.txt: ";
  ASSERT_EQ(mhash.size(), LAST_WORD + 4);
  const uint32_t bit = hash_url_bits("http://h0.example/page/0").h1 % FILTER_BITS;
  const size_t byte_of_bit = HEAD + size_t{4} * (bit >> 4) + (bit >> 3 & 1);
  const auto with = [&mhash](size_t at, int flipped) {
    std::string changed = mhash;
    changed[at] = static_cast<char>(changed[at] ^ flipped);
    return changed;
  };
  const std::string sizes = " bytes, a filter of 20001 bits has 5008\n";
  const std::pair<std::string, std::string> cases[] = {
      {mhash.substr(0, LAST_WORD), name + "has 5004" + sizes},
      {mhash + "x", name + "has 5009" + sizes},
      {"", name + "has 0" + sizes},
      {with(HEAD + 30, 1), name + "1 words have bits in their upper half, the first is word 7\n"},
      {with(LAST_WORD, 2), name + "bits are set behind the last one\n"},
      {with(0, 1), name + "counts 10001 URLs, the disk cache holds 10000\n"},
  };
  for (const auto& [bytes, faults] : cases) {
    files["ndue_mhash.txt"] = bytes;
    EXPECT_EQ(check_files(), faults);
  }
  files["ndue_mhash.txt"] = with(byte_of_bit, 1 << (bit & 7));
  EXPECT_EQ(check_files().find("ndue_disk_cache.txt: a URL whose bits are not all set, line 1\n"),
            0u);
  files["ndue_mhash.txt"].replace(0, HEAD, std::string("\1\0\0\0", HEAD));
  EXPECT_NE(check_files().find("which is too many for 1 URLs\n"), std::string::npos);
}

// Faults of whole files: what is missing, too much, or cut.
TEST_F(check_damaged_horizon, shows_files_that_do_not_belong_together) {
  const std::tuple<strings, directory_bytes, std::string> cases[] = {
      // files taken away, files written, faults
      {{"nfrontier.1.head.txt"}, {}, "nfrontier.1.0.txt: the head file of its queue is missing\n"},
      {{"nfrontier.0.tail.txt"},
       {},
       "nfrontier.0.head.txt: the tail file of its queue is missing\n"},
      {{"nfrontier.2.1.txt", "nfrontier.2.2.txt"},
       {},
       "nfrontier.2.3.txt: the spill files from number 1 on are missing before it\n"},
      {{}, {{"nfrontier.2.2.txt", ""}}, "nfrontier.2.2.txt: a spill file without a URL\n"},
      {{"ndue_mhash.txt"}, {}, "ndue_mhash.txt: missing beside other files of a checkpoint\n"},
      {{},
       {{"ndue_unknown.txt",
         sound["ndue_unknown.txt"].substr(0, sound["ndue_unknown.txt"].size() - 1)}},
       "ndue_unknown.txt: no line feed at the end, line 272\n"},
      {{},
       {{"ndue_cache.txt", sound["ndue_cache.txt"] + "http://h0.example/page/0\n"}},
       "ndue_disk_cache.txt: a URL of the known list, line 1\n"},
      {{},
       {{"nfrontier.3.0.txt", "http://h5.example/new\n"}},
       "nfrontier.3.0.txt: a horizon of 3 queues has no such queue\n"
       "nfrontier.3.0.txt: the head file of its queue is missing\n"
       "nfrontier.3.0.txt: the tail file of its queue is missing\n"
       "nfrontier.3.0.txt: a URL that is not known, line 1\n"},
  };
  for (const auto& [removed, written, faults] : cases) {
    for (const std::string& name : removed) files.erase(name);
    for (const auto& [name, bytes] : written) files[name] = bytes;
    EXPECT_EQ(check_files(), faults);
  }
  std::string faults;
  for (const std::string name :
       {"a\nb", "core", "ndue_cache", "ndue_cache.txt.old", "nfrontier.0.4294967295.txt",
        "nfrontier.01.0.txt", "tmp.tsort", "\xff"}) {
    files[name] = "x\n";
    faults += (name == "a\nb"   ? "a\\x0ab"
               : name == "\xff" ? "\\xff"
                                : name) +
              ": not a name of the horizon\n";
  }
  EXPECT_EQ(check_files(), faults);

  const temp_directory directory;
  write_directory_bytes(directory.path, sound);
  std::filesystem::create_directory(directory.path + "/nfrontier.0.0.txt");
  std::filesystem::create_symlink("/dev/zero", directory.path + "/nfrontier.0.1.txt");
  EXPECT_EQ(list_faults(directory.path),
            "nfrontier.0.0.txt: not a regular file\n"
            "nfrontier.0.1.txt: not a regular file\n");
}

// Much more than is read at once, so that lines begin in one piece and end in another.
TEST(check_horizon, takes_urls_up_to_the_longest_that_a_horizon_accepts) {
  const temp_directory directory;
  std::string list, too_long;
  for (size_t n = 1; n <= 300; ++n) {
    const std::string number = std::to_string(n);
    const size_t nb_bytes = n % 2 == 0 ? 8'192 : 8'193;
    list += "http://" + number + "/" + std::string(nb_bytes - 8 - number.size(), 'x') + "\n";
    if (nb_bytes > 8'192) too_long += "ndue_cache.txt: too long for a URL, line " + number + "\n";
  }
  write_test_file(directory.path + "/ndue_cache.txt", list);
  EXPECT_EQ(list_faults(directory.path), too_long);
}

TEST(check_horizon, refuses_wrong_usage) {
  const temp_directory empty;
  const std::string bits = "--filter-bits", queues = "--nb-queues";
  const std::pair<strings, int> cases[] = {
      {{empty.path}, 0},
      {{queues, "1", bits, "4294967295", empty.path}, 0},
      {{}, 2},
      {{empty.path, empty.path}, 2},
      {{bits, empty.path}, 2},
      {{bits, "0", empty.path}, 2},
      {{bits, "4294967296", empty.path}, 2},
      {{queues, "7x", empty.path}, 2},
      {{queues}, 2},
      {{"--unheard-of", "1", empty.path}, 2},
      {{empty.path + "/none"}, 2},
      {{"/dev/null"}, 2},
  };
  for (const auto& [arguments, exit_status] : cases) {
    SCOPED_TRACE(testing::PrintToString(arguments));
    strings all{WK_CHECK_HORIZON_PATH};
    all.insert(all.end(), arguments.begin(), arguments.end());
    const program_result result = run_program_to_end({.arguments = all});
    EXPECT_EQ(result.exit_status, exit_status);
    EXPECT_EQ(result.output.empty(), exit_status == 2);
    EXPECT_EQ(result.errors.empty(), exit_status == 0);
  }
}

}  // namespace
}  // namespace wk
