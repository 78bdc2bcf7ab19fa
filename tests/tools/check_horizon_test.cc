#include <gtest/gtest.h>

#include <bit>
#include <filesystem>
#include <functional>
#include <random>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "crawler/horizon/bit_filter.h"
#include "tests/crawler/horizon/test_horizon.h"
#include "tests/support/child_process.h"

namespace wk {
namespace {

using strings = std::vector<std::string>;

constexpr uint32_t NB_QUEUES = 3;
constexpr uint32_t FILTER_BITS = 20'001;

struct check_answer {
  int exit_status = -1;
  strings faults;
  strings notes;
  std::string counts;
};

check_answer run_check(const std::string& directory, uint32_t filter_bits = FILTER_BITS,
                       uint32_t nb_queues = NB_QUEUES) {
  const program_result result = run_program_to_end(
      {.arguments = {WK_CHECK_HORIZON_PATH, "--filter-bits", std::to_string(filter_bits),
                     "--nb-queues", std::to_string(nb_queues), directory}});
  EXPECT_EQ(result.errors, "");
  check_answer answer{.exit_status = result.exit_status, .faults = {}, .notes = {}, .counts = {}};
  std::istringstream lines(result.output);
  for (std::string line; std::getline(lines, line);) {
    strings& to = line.starts_with("note: ") ? answer.notes : answer.faults;
    to.push_back(line);
  }
  if (answer.faults.empty()) return answer;
  answer.counts = answer.faults.back();
  answer.faults.pop_back();
  return answer;
}

void expect_sound(const check_answer& answer) {
  EXPECT_EQ(answer.faults, strings());
  EXPECT_EQ(answer.exit_status, 0);
  EXPECT_TRUE(answer.counts.starts_with("queues ")) << answer.counts;
}

TEST(check_horizon, counts_what_a_horizon_holds) {
  test_horizon h;
  h.settings.nb_queues = NB_QUEUES;
  create_test_horizon(h);
  add(h, "http://a/1");
  add(h, "http://a/2");
  add(h, "ftp://b/");
  EXPECT_EQ(take(h).url, "http://a/1");
  ASSERT_EQ(save(h), HORIZON_OK);
  const check_answer answer = run_check(h.directory.path, h.settings.disk_cache_size);
  expect_sound(answer);
  EXPECT_EQ(answer.counts, "queues 2, queued URLs 2, pending 1, known 3, disk cache 0, unknown 0");
}

// Adds, takes, ends, flushes, merges, spills, checkpoints and restores in every order.
TEST(check_horizon, finds_a_crawling_horizon_sound_at_each_checkpoint) {
  constexpr uint32_t SMALL_FILTER_BITS = 500;
  for (uint32_t seed = 0; seed < 6; ++seed) {
    std::minstd_rand random(seed + 1);
    test_horizon h;
    h.settings.nb_queues = NB_QUEUES;
    h.settings.queue_buffer_size = 1 + seed * 3;
    h.settings.disk_cache_size = SMALL_FILTER_BITS;
    create_test_horizon(h);
    for (url_list* list : {&h.ops->self->cache.known, &h.ops->self->cache.unknown}) {
      list->limit = list->empty_at = 20;
    }
    strings hands;
    for (uint32_t round = 0; round < 8; ++round) {
      SCOPED_TRACE(std::to_string(seed) + ", round " + std::to_string(round));
      for (size_t n = random() % 60; n > 0; --n) {
        add(h, build_url(static_cast<uint32_t>(random() % 500)));
      }
      for (size_t n = random() % 60; n > 0; --n) {
        const taken_url taken = take(h);
        if (taken.answer != FRONTIER_URL) break;
        hands.push_back(taken.url);
      }
      for (size_t n = hands.empty() ? 0 : random() % hands.size(); n > 0; --n) {
        h.ops->end_url(*h.ops, hands.back());
        hands.pop_back();
      }
      ASSERT_EQ(save(h), HORIZON_OK);
      expect_sound(run_check(h.directory.path, SMALL_FILTER_BITS));
      if (round % 3 != 2) continue;
      ASSERT_EQ(restore(h), HORIZON_OK);
      expect_sound(run_check(h.directory.path, SMALL_FILTER_BITS));
      hands.clear();
    }
  }
}

strings read_lines(const std::string& path) {
  std::istringstream bytes(read_test_file(path));
  strings lines;
  for (std::string line; std::getline(bytes, line);) lines.push_back(line);
  return lines;
}

// A saved horizon with every kind of file: queue 0 without spill files, queue 1 with number 0 and a
// head that went to the pending file, queue 2 with numbers 0 to 3.
struct check_damaged_horizon : testing::Test {
  static inline test_horizon* sound = nullptr;

  static void SetUpTestSuite() {
    sound = new test_horizon;
    sound->settings.nb_queues = NB_QUEUES;
    sound->settings.queue_buffer_size = 1'000;
    sound->settings.disk_cache_size = FILTER_BITS;
    create_test_horizon(*sound);
    for (uint32_t n = 0; n < 10'600; ++n) add(*sound, build_url(n));
    for (uint32_t n = 0; n < 3; ++n) EXPECT_EQ(take(*sound).answer, FRONTIER_URL);
    EXPECT_EQ(save(*sound), HORIZON_OK);
    std::filesystem::remove(sound->directory.path + "/ndue_cache.txt.sort");
  }
  static void TearDownTestSuite() { delete sound; }

  // What the check says of a copy of the sound directory after damage was done to it.
  static check_answer check_copy(const std::function<void(const std::string& directory)>& damage) {
    const temp_directory copy;
    std::filesystem::copy(sound->directory.path, copy.path);
    damage(copy.path);
    return run_check(copy.path);
  }
};

TEST_F(check_damaged_horizon, is_sound_before) {
  const check_answer answer = check_copy([](const std::string&) {});
  expect_sound(answer);
  EXPECT_EQ(answer.notes, strings());
  EXPECT_EQ(answer.counts,
            "queues 3, queued URLs 9325, pending 1003, known 328, disk cache 10000, unknown 272");
}

// Puts text in the place of a line; "@<n>" stands for the text of line n.
void replace_line(const std::string& path, size_t number, const std::string& text) {
  strings lines = read_lines(path);
  ASSERT_LE(number, lines.size());
  lines[number - 1] = text.starts_with('@') ? lines[std::stoul(text.substr(1)) - 1] : text;
  std::string bytes;
  for (const std::string& line : lines) bytes += line + "\n";
  write_test_file(path, bytes);
}

TEST_F(check_damaged_horizon, shows_a_line_that_is_wrong) {
  // What more is found is that the URL which stood in the disk cache is queued and not known.
  const std::tuple<std::string, size_t, std::string, std::string, size_t> cases[] = {
      // file, line, what is put in its place, fault, number of further faults
      {"ndue_cache.txt", 3, "", "an empty line", 1},
      {"ndue_unknown.txt", 1, "http://a/\tb", "a control byte", 0},
      {"ndue_unknown.txt", 9, "http://a/\x7f", "a control byte", 0},
      {"ndue_unknown.txt", 9, std::string("\0", 1), "a control byte", 0},
      {"ndue_unknown.txt", 2, std::string(8'193, 'x'), "too long for a URL", 0},
      {"ndue_unknown.txt", 2, std::string(1'000'000, 'x'), "too long for a URL", 0},
      {"ndue_cache.txt", 2, "@1", "a URL that stands in it already", 1},
      {"ndue_unknown.txt", 272, "@271", "a URL that stands in it already", 0},
      {"ndue_unknown.txt", 4, "http://h4.example/page/10000", "a URL of the known list", 0},
      {"ndue_disk_cache.txt", 5, "@4", "the URL of the line before", 1},
      {"ndue_disk_cache.txt", 10'000, "a", "not in rising order", 2},  // its bits are not set
      {"nfrontier.0.head.txt", 7, "http://h6.example/new", "a URL that is not known", 0},
      {"nfrontier.2.3.txt", 1'000, "http://h0.example/x", "a URL that is not known", 0},
      {"nfrontier.1.0.txt", 1, "http://h1.example", "a URL that is not known", 0},
      {"ndue_pending.txt", 1, "http://h0.example/new", "a URL that is not known", 0},
      {"nfrontier.0.tail.txt", 2, "@1", "a URL that is in line 1 of nfrontier.0.tail.txt already",
       0},
      {"ndue_pending.txt", 9, "http://h0.example/page/1750",
       "a URL that is in line 1 of nfrontier.2.0.txt already", 0},
      {"nfrontier.1.tail.txt", 4, "https://h0.example/", "a URL of queue 2", 1},
      {"nfrontier.1.tail.txt", 4, "ftp://h1.example/", "a URL of queue 0", 1},
  };
  for (const auto& [name, number, text, what, nb_more] : cases) {
    const std::string place = ", line " + std::to_string(number);
    SCOPED_TRACE(testing::Message() << name << place << ": " << text.substr(0, 40));
    const check_answer answer =
        check_copy([&, &name = name, &number = number, &text = text](const std::string& directory) {
          std::string path = directory;
          path.append("/").append(name);
          replace_line(path, number, text);
        });
    EXPECT_EQ(answer.exit_status, 1);
    ASSERT_FALSE(answer.faults.empty());
    std::string fault = name;
    fault.append(": ").append(what).append(place);
    EXPECT_EQ(answer.faults.front(), fault);
    EXPECT_EQ(answer.faults.size(), 1 + nb_more) << testing::PrintToString(answer.faults);
  }
}

// The lines of the disk cache whose URLs have the bit.
strings build_bit_faults(uint32_t bit) {
  strings faults;
  size_t number = 0;
  for (const std::string& url :
       read_lines(check_damaged_horizon::sound->directory.path + "/ndue_disk_cache.txt")) {
    ++number;
    const url_bits bits = hash_url_bits(url);
    const bool has_bit = bits.h1 % FILTER_BITS == bit || bits.h2 % FILTER_BITS == bit ||
                         bits.h3 % FILTER_BITS == bit;
    if (!has_bit) continue;
    faults.push_back("ndue_disk_cache.txt: a URL whose bits are not all set, line " +
                     std::to_string(number));
  }
  return faults;
}

TEST_F(check_damaged_horizon, shows_a_filter_that_is_wrong) {
  constexpr size_t HEAD = 4;
  constexpr size_t LAST_WORD = HEAD + size_t{4} * (FILTER_BITS >> 4);
  const std::string mhash = read_test_file(sound->directory.path + "/ndue_mhash.txt");
  ASSERT_EQ(mhash.size(), LAST_WORD + 4);
  const uint32_t bit = hash_url_bits("http://h0.example/page/0").h1 % FILTER_BITS;
  const size_t byte_of_bit = HEAD + size_t{4} * (bit >> 4) + (bit >> 3 & 1);
  const auto with = [&mhash](size_t at, int flipped) {
    std::string changed = mhash;
    changed[at] = static_cast<char>(changed[at] ^ flipped);
    return changed;
  };
  std::string few = mhash;
  few.replace(0, HEAD, std::string("\1\0\0\0", 4));
  size_t nb_set = 0;
  for (const char c : mhash.substr(HEAD)) {
    nb_set += static_cast<size_t>(std::popcount(static_cast<unsigned char>(c)));
  }

  const std::tuple<const char*, std::string, strings> cases[] = {
      {"a word less",
       mhash.substr(0, LAST_WORD),
       {"ndue_mhash.txt: has 5004 bytes, a filter of 20001 bits has 5008"}},
      {"a byte more",
       mhash + "x",
       {"ndue_mhash.txt: has 5009 bytes, a filter of 20001 bits has 5008"}},
      {"empty", "", {"ndue_mhash.txt: has 0 bytes, a filter of 20001 bits has 5008"}},
      {"upper halves",
       with(HEAD + 30, 1),
       {"ndue_mhash.txt: 1 words have bits in their upper half, the first is word 7"}},
      {"behind the last bit",
       with(LAST_WORD, 2),
       {"ndue_mhash.txt: bits are set behind the last one"}},
      {"one bit cleared", with(byte_of_bit, 1 << (bit & 7)), build_bit_faults(bit)},
      {"another count",
       with(0, 1),
       {"ndue_mhash.txt: counts 10001 URLs, the disk cache holds 10000"}},
      {"a count of 1",
       few,
       {"ndue_mhash.txt: " + std::to_string(nb_set) + " bits are set, which is too many for 1 URLs",
        "ndue_mhash.txt: counts 1 URLs, the disk cache holds 10000"}},
  };
  for (const auto& [name, bytes, faults] : cases) {
    SCOPED_TRACE(name);
    ASSERT_FALSE(faults.empty());
    const check_answer answer = check_copy([&bytes = bytes](const std::string& directory) {
      write_test_file(directory + "/ndue_mhash.txt", bytes);
    });
    EXPECT_EQ(answer.exit_status, 1);
    EXPECT_EQ(answer.faults, faults);
  }
}

// Faults of whole files: what is missing, too much, or cut.
TEST_F(check_damaged_horizon, shows_files_that_do_not_belong_together) {
  namespace fs = std::filesystem;
  using path = std::string;
  const std::tuple<const char*, std::function<void(const path&)>, strings> cases[] = {
      {"a head is missing",
       [](const path& d) { fs::remove(d + "/nfrontier.1.head.txt"); },
       {"nfrontier.1.0.txt: the head file of its queue is missing"}},
      {"a tail is missing",
       [](const path& d) { fs::remove(d + "/nfrontier.0.tail.txt"); },
       {"nfrontier.0.head.txt: the tail file of its queue is missing"}},
      {"spill files are missing",
       [](const path& d) {
         fs::remove(d + "/nfrontier.2.1.txt");
         fs::remove(d + "/nfrontier.2.2.txt");
       },
       {"nfrontier.2.3.txt: the spill files from number 1 on are missing before it"}},
      {"a spill file is cut to nothing",
       [](const path& d) { write_test_file(d + "/nfrontier.2.2.txt", ""); },
       {"nfrontier.2.2.txt: a spill file without a URL"}},
      {"the filter is missing",
       [](const path& d) { fs::remove(d + "/ndue_mhash.txt"); },
       {"ndue_mhash.txt: missing beside other files of a checkpoint"}},
      {"a last line without its end",
       [](const path& d) {
         fs::resize_file(d + "/ndue_unknown.txt", fs::file_size(d + "/ndue_unknown.txt") - 1);
       },
       {"ndue_unknown.txt: no line feed at the end, line 272"}},
      {"a known list that was flushed and not removed",
       [](const path& d) {
         write_test_file(d + "/ndue_cache.txt",
                         read_test_file(d + "/ndue_cache.txt") + "http://h0.example/page/0\n");
       },
       {"ndue_disk_cache.txt: a URL of the known list, line 1"}},
      {"a queue beyond the last",
       [](const path& d) { write_test_file(d + "/nfrontier.3.0.txt", "http://h5.example/new\n"); },
       {"nfrontier.3.0.txt: a horizon of 3 queues has no such queue",
        "nfrontier.3.0.txt: the head file of its queue is missing",
        "nfrontier.3.0.txt: the tail file of its queue is missing",
        "nfrontier.3.0.txt: a URL that is not known, line 1"}},
      {"foreign names",
       [](const path& d) {
         for (const char* name : {"core", "ndue_cache", "ndue_cache.txt.old", "tmp.tsort", "a\nb",
                                  "nfrontier.01.0.txt", "nfrontier.0.4294967295.txt", "\xff"}) {
           write_test_file(d + "/" + name, "x\n");
         }
       },
       {"a\\x0ab: not a name of the horizon", "core: not a name of the horizon",
        "ndue_cache: not a name of the horizon", "ndue_cache.txt.old: not a name of the horizon",
        "nfrontier.0.4294967295.txt: not a name of the horizon",
        "nfrontier.01.0.txt: not a name of the horizon", "tmp.tsort: not a name of the horizon",
        "\\xff: not a name of the horizon"}},
      {"no regular files",
       [](const path& d) {
         fs::create_directory(d + "/nfrontier.0.0.txt");
         fs::create_symlink("/dev/zero", d + "/nfrontier.0.1.txt");
       },
       {"nfrontier.0.0.txt: not a regular file", "nfrontier.0.1.txt: not a regular file"}},
  };
  for (const auto& [name, damage, faults] : cases) {
    SCOPED_TRACE(name);
    const check_answer answer = check_copy(damage);
    EXPECT_EQ(answer.exit_status, 1);
    EXPECT_EQ(answer.faults, faults);
  }
}

TEST_F(check_damaged_horizon, only_notes_work_files) {
  const char* names[] = {"ndue_cache.txt.sort", "ndue_disk_cache.txt.new", "ndue_unknown.txt.sort",
                         "tmp.tsort0", "tmp.tsort12"};
  const check_answer answer = check_copy([&names](const std::string& directory) {
    for (const char* name : names) write_test_file(directory + "/" + name, "no\1URL");
  });
  expect_sound(answer);
  strings notes;
  for (const std::string name : names) {
    notes.push_back("note: " + name + ": a work file of a sort or merge");
  }
  EXPECT_EQ(answer.notes, notes);
}

// Much more than is read at once, so that lines begin in one piece and end in another.
TEST(check_horizon, takes_urls_up_to_the_longest_that_a_horizon_accepts) {
  for (const size_t nb_bytes : {8'192u, 8'193u}) {
    SCOPED_TRACE(nb_bytes);
    const temp_directory directory;
    std::string list;
    strings too_long;
    for (size_t n = 1; n <= 150; ++n) {
      const std::string number = std::to_string(n);
      list += "http://" + number + "/" + std::string(nb_bytes - 8 - number.size(), 'x') + "\n";
      if (nb_bytes <= 8'192) continue;
      too_long.push_back("ndue_cache.txt: too long for a URL, line " + number);
    }
    write_test_file(directory.path + "/ndue_cache.txt", list);
    EXPECT_EQ(run_check(directory.path).faults, too_long);
  }
}

TEST(check_horizon, refuses_wrong_usage) {
  const temp_directory empty;
  const std::tuple<strings, int> cases[] = {
      {{empty.path}, 0},
      {{"--nb-queues", "1", "--filter-bits", "4294967295", empty.path}, 0},
      {strings(), 2},
      {{""}, 2},
      {{empty.path, empty.path}, 2},
      {{"--filter-bits", empty.path}, 2},
      {{"--filter-bits", "0", empty.path}, 2},
      {{"--filter-bits", "-1", empty.path}, 2},
      {{"--filter-bits", "4294967296", empty.path}, 2},
      {{"--nb-queues", "7x", empty.path}, 2},
      {{"--nb-queues"}, 2},
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
