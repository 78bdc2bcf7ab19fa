// The order in which a horizon gives URLs, and what it is made of: queues and the names of their
// files, the merge of sorted lists, the filter of known URLs.
#include "crawler/horizon/frontier.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>

#include "crawler/horizon/bit_filter.h"
#include "crawler/horizon/fingerprint_set.h"
#include "crawler/horizon/queue_file_name.h"
#include "crawler/horizon/sorted_merge.h"
#include "crawler/horizon/url_queue.h"
#include "tests/crawler/horizon/test_horizon.h"

namespace wk {
namespace {

constexpr uint64_t START_SECONDS = START / SECOND;
constexpr uint32_t A_QUEUE_A_HOST = 1'000'003;  // the hosts used here share none of so many queues

std::string complete_url(const std::string& word) {
  return word.find("://") == std::string::npos ? "http://" + word : word;
}

// What a take gives: a URL or "wait", and the allowed time counted from the start, or "empty".
std::string describe_take(test_horizon& h) {
  const taken_url taken = take(h);
  if (taken.answer == FRONTIER_EMPTY) return "empty";
  const std::string time = std::to_string(int64_t{taken.time} - int64_t{START_SECONDS});
  if (taken.answer == FRONTIER_WAIT) return "wait " + time;
  return taken.url.substr(taken.url.starts_with("http://") ? 7 : 0) + " " + time;
}

std::string describe_state(test_horizon& h) {
  return (h.ops->is_exhausted(*h.ops) ? "exhausted " : "busy ") +
         std::to_string(h.ops->count_urls(*h.ops)) + " queued " +
         std::to_string(h.ops->active_urls(*h.ops)) + " active";
}

// Runs a script; commands are separated by ", ". URLs are http unless they say otherwise.
//   + URL...      adds          drop HOST   exhausts the host   at MS    sets the clock
//   end URL       ends          refuse URL  refuses             begin    one more is in work
//   busy.../exhausted...  the state is that         anything else: a take gives that
void run_script(test_horizon& h, const std::string& script) {
  for (size_t at = 0, end = 0; at < script.size(); at = end + 2) {
    end = std::min(script.find(", ", at), script.size());
    const std::string command = script.substr(at, end - at);
    SCOPED_TRACE(command + " in " + script);
    std::istringstream words(command);
    std::string verb, word;
    words >> verb;
    if (verb == "+") {
      while (words >> word) EXPECT_EQ(add(h, complete_url(word)), 1u);
      continue;
    }
    words >> word;
    if (verb == "at") {
      test_time_us = START + static_cast<uint64_t>(std::stoll(word)) * 1'000;
    } else if (verb == "drop") {
      h.ops->exhaust_host(*h.ops, word);
    } else if (verb == "end") {
      h.ops->end_url(*h.ops, complete_url(word));
    } else if (verb == "refuse") {
      h.ops->refuse_url(*h.ops, complete_url(word));
    } else if (verb == "begin") {
      h.ops->begin_url(*h.ops);
    } else if (verb == "busy" || verb == "exhausted") {
      EXPECT_EQ(describe_state(h), command);
    } else {
      EXPECT_EQ(describe_take(h), command);
    }
  }
}

TEST(frontier, serves_each_queue_once_an_interval_and_knows_what_is_in_hands) {
  constexpr uint32_t ONE = 1, MANY = A_QUEUE_A_HOST;  // URLs in a buffer as well
  const std::tuple<const char*, uint32_t, uint32_t, const char*> cases[] = {
      // name, number of queues, interval in seconds, script
      {"one host", ONE, 60,
       "+ a/1 a/2, a/1 0, wait 60, at 59999, wait 60, at 60000, a/2 60, empty"},
      {"served late, then one interval from that", ONE, 10,
       "+ a/1 b/1 a/2, at 3000, a/1 0, at 17000, b/1 13, at 26000, wait 27, at 27000, a/2 27"},
      {"inside a second: never earlier than a whole interval, and a wait is long enough", ONE, 2,
       "+ a/1 a/2, at 500, a/1 0, at 2000, wait 3, at 2499, wait 3, at 2500, a/2 2"},
      {"no interval while the clock falls", ONE, 0, "+ a/1 b/1, at 9000, a/1 0, at 2000, b/1 2"},
      {"a queue that ran dry", ONE, 9, "+ a/1, a/1 0, + a/2, wait 9, at 9000, a/2 9"},
      {"queues of one time as the heap has them", MANY, 10,
       "+ a/1 a/2 b/1 b/2 c/1 c/2 d/1 d/2, a/1 0, d/1 0, b/1 0, c/1 0, wait 10"},
      {"the earliest queue decides", MANY, 10,
       "+ a/1 a/2, a/1 0, at 4000, + b/1 b/2, b/1 0, wait 10, at 10000, a/2 10, wait 14"},
      // Two intervals ahead is as it should be after a small step of the clock.
      {"no wait for a clock that was set back", MANY, 10,
       "+ a/1 a/2 b/1, a/1 0, b/1 0, at -1000000, + c/1 b/2, wait -990, at -990000, a/2 -990, "
       "c/1 -990, b/2 -990, + a/3, at -1000000, wait -980, at -1001000, wait -991"},
      {"no queues, no buffers, no filter", 0, 0, "+ a/1 a/2, drop b, a/1 0, a/2 0"},
      {"all as large as can be", UINT32_MAX, UINT32_MAX, "+ a/1 a/2, a/1 0, wait 4293967295"},
      {"exhausted hosts, but the last URL of a queue comes", ONE, 0,
       "+ x/1 y/1 x/2 x:80/1 x/3 https://x/4, drop x, y/1 0, busy 4 queued 1 active, x:80/1 0, "
       "https://x/4 0, empty, busy 0 queued 3 active"},
      {"in hands until it is ended or refused", ONE, 0,
       "exhausted 0 queued 0 active, + a/1 a/2, busy 2 queued 0 active, a/1 0, a/2 0, "
       "busy 0 queued 2 active, end a/1, busy 0 queued 1 active, refuse a/2, "
       "exhausted 0 queued 1 active, begin, busy 0 queued 2 active, end a/3, "
       "exhausted 0 queued 1 active, end a/4, end a/5, exhausted 0 queued 0 active"},
  };
  for (const auto& [name, nb_queues, interval, script] : cases) {
    SCOPED_TRACE(name);
    test_horizon h({.nb_queues = nb_queues,
                    .buffer_size = nb_queues,
                    .filter_bits = std::min(nb_queues, 1'000'000u),
                    .interval_seconds = interval});
    run_script(h, script);
  }
}

TEST(frontier, takes_only_urls_that_may_be_crawled_and_each_once) {
  test_horizon h;
  for (const std::string& url :
       {std::string(), std::string("http://a/\n"), std::string("http://a/\0", 10),
        "http://a/" + std::string(8'200, 'x')}) {
    EXPECT_EQ(add(h, url), 0u) << url;
  }
  EXPECT_EQ(h.ops->count_urls(*h.ops), 0u);
  run_script(h, "+ a/ a/ a/%20 ftp://a/ a/\xff, busy 4 queued 0 active");
  h.ops->add_urls(*h.ops, strings{"http://b/1", "", "http://a/", "http://b/2", "http://b/1"});
  EXPECT_EQ(h.ops->count_urls(*h.ops), 6u);
  testing::internal::CaptureStderr();
  EXPECT_EQ(h.ops->has_urls_unsupported(*h.ops) + h.ops->wait_urls_unsupported(*h.ops, UINT64_MAX) +
                h.ops->get_url_blocking(*h.ops),
            3u);
  const std::string never = "this function should never be called, check the frontier mode";
  EXPECT_EQ(testing::internal::GetCapturedStderr(), never + never + never);
}

TEST(frontier, goes_on_when_a_queue_gives_nothing) {
  test_horizon h({.nb_queues = A_QUEUE_A_HOST, .buffer_size = 1});
  run_script(h, "+ a/1 a/2 a/3");
  const std::string path = h.directory.path + "/nfrontier.97.0.txt";
  ASSERT_EQ(read_test_file(path), "http://a/2\n");
  std::filesystem::rename(path, path + ".away");
  std::filesystem::create_symlink(path, path);  // cannot be opened, and yet is there
  testing::internal::CaptureStderr();
  run_script(h, "a/1 0, a/3 0, wait 1, busy 1 queued 2 active, + b/1, b/1 0, wait 1, at 1000");
  std::filesystem::rename(path + ".away", path);
  run_script(h, "a/2 1, + a/4 a/5 a/6");
  std::filesystem::remove(path);
  run_script(h, "a/4 1, a/6 1, empty");
  write_test_file(path, "");
  ASSERT_EQ(restore(h), HORIZON_OK);
  run_script(h, "empty, + a/7, a/7 1");  // a queue that has nothing left is not kept waiting
  const std::string waits = path + " can't be read, its URLs wait\n",
                    none = path + " gave 0 URLs instead of 1\n",
                    wrong =
                        "the queue suppose to return url because the selector said this queue "
                        "is not empty\n";
  EXPECT_EQ(
      testing::internal::GetCapturedStderr(),
      waits + waits + wrong + none + "The ndue_mhash.txt can't be open to read!\n" + none + wrong);
}

struct queue_in_directory {
  temp_directory directory;
  url_queue queue;
  std::string first_file = directory.path + "/nfrontier.0.0.txt";

  explicit queue_in_directory(uint32_t capacity) {
    init_url_queue(queue, directory.path, 0, capacity);
  }
};

void push(queue_in_directory& q, uint32_t first, uint32_t last) {
  for (uint32_t n = first; n <= last; ++n) {
    push_url_queue(q.queue, "http://a/" + std::to_string(n));
  }
}

// Pops up to nb_urls; the numbers, blank-separated.
std::string pop(queue_in_directory& q, uint32_t nb_urls) {
  std::string numbers, url;
  for (uint32_t i = 0; i < nb_urls && pop_url_queue(url, q.queue); ++i) {
    numbers += (i == 0 ? "" : " ") + url.substr(9);
  }
  return numbers;
}

std::string count_up(uint32_t first, uint32_t last) {
  std::string numbers;
  for (uint32_t n = first; n <= last; ++n) numbers += (n == first ? "" : " ") + std::to_string(n);
  return numbers;
}

size_t count_files(const queue_in_directory& q) {
  const std::filesystem::directory_iterator files(q.directory.path);
  return static_cast<size_t>(std::distance(begin(files), end(files)));
}

TEST(url_queue, keeps_the_order_for_every_capacity_and_rhythm) {
  for (uint32_t capacity = 1; capacity <= 5; ++capacity) {
    for (uint32_t nb_in = 2; nb_in <= 12; ++nb_in) {
      SCOPED_TRACE(testing::PrintToString(std::pair(capacity, nb_in)));
      queue_in_directory q(capacity);
      const uint32_t nb_out = nb_in - 1 - (nb_in - 1) / 3;
      for (uint32_t round = 0; round < 12; ++round) {
        push(q, round * nb_in + 1, round * nb_in + nb_in);
        ASSERT_EQ(pop(q, nb_out), count_up(round * nb_out + 1, round * nb_out + nb_out));
      }
      EXPECT_EQ(q.queue.count, 12 * (nb_in - nb_out));
      EXPECT_EQ(pop(q, 12 * nb_in), count_up(12 * nb_out + 1, 12 * nb_in));
      EXPECT_EQ(count_files(q), 0u);
    }
  }
}

TEST(url_queue, says_how_much_a_file_lacks_and_serves_what_there_is) {
  const std::tuple<const char*, const char*, const char*, const char*> cases[] = {
      {"gone", nullptr, "1 2 5", " gave 0 URLs instead of 2\n"},
      {"cut short", "http://a/3\n", "1 2 3 5", " gave 1 URLs instead of 2\n"},
      {"blank lines", "\nhttp://a/3\n\nhttp://a/4", "1 2 3 4 5", ""},
      {"longer", "http://a/3\nhttp://a/4\nhttp://a/6\nhttp://a/7\n", "1 2 3 4 5 6 7", ""},
      {"no URL", "http://a/\x01\nhttp://a/4\n", "1 2 4 5", " gave 1 URLs instead of 2\n"},
  };
  for (const auto& [name, contents, order, message] : cases) {
    SCOPED_TRACE(name);
    queue_in_directory q(2);
    push(q, 1, 5);
    EXPECT_EQ(read_test_file(q.first_file), "http://a/3\nhttp://a/4\n");
    std::filesystem::remove(q.first_file);
    if (contents != nullptr) write_test_file(q.first_file, contents);
    testing::internal::CaptureStderr();
    EXPECT_EQ(pop(q, 9), order);
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_EQ(said, *message == '\0' ? "" : q.first_file + message);
    EXPECT_EQ(q.queue.count, 0u);
    EXPECT_EQ(count_files(q), 0u);
  }
}

TEST(queue_file_name, is_taken_only_in_its_one_spelling) {
  const std::tuple<const char*, queue_file_kind, uint32_t, uint32_t> cases[] = {
      {"nfrontier.3.head.txt", QUEUE_FILE_HEAD, 3, 0},
      {"nfrontier.0.tail.txt", QUEUE_FILE_TAIL, 0, 0},
      {"nfrontier.12.2147483646.txt", QUEUE_FILE_SPILL, 12, 2'147'483'646},
      {"nfrontier", QUEUE_FILE_FOREIGN, 0, 0},
      {"ndue_cache.txt", QUEUE_FILE_NONE, 0, 0},
  };
  for (const auto& [name, kind, queue, number] : cases) {
    const queue_file_name parsed = parse_queue_file_name(name);
    EXPECT_EQ(std::tuple(parsed.kind, parsed.queue, parsed.number),
              std::tuple(kind, queue, number));
  }
  for (const std::string name :
       {"12.2147483647.txt", "99999999999999999999.1.txt", "1.07.txt", "-1.7.txt", "1.7.txt.bak",
        "1..txt", ".1.txt", "x.1.1.txt", "1", "1.1", "+1.1.txt"}) {
    EXPECT_EQ(parse_queue_file_name("nfrontier." + name).kind, QUEUE_FILE_FOREIGN) << name;
  }
}

TEST(merge_sorted_files, tells_entered_from_known_lines) {
  const std::tuple<const char*, const char*, const char*, const char*, const char*> cases[] = {
      // list, base (null: there is no such file), merged, entered, known
      {"a\nc\n", nullptr, "a\nc\n", "a\nc\n", ""},
      {"", "a\nb\n", "a\nb\n", "", ""},
      {"b\nd", "a\nb\nc", "a\nb\nc\nd\n", "d\n", "b\n"},
      {"ab\n", "a\nabc\n", "a\nab\nabc\n", "ab\n", ""},
      // Empty lines are nobody's; they may stay where they are.
      {"b\nd\n\n\nf\n", "\n\na\n\n\nb\n\nc\n\n", "\n\na\nb\n\nc\nd\nf\n", "d\nf\n", "b\n"},
      {"\x80\n", "z\n\xff\n", "z\n\x80\n\xff\n", "\x80\n", ""},
  };
  for (const auto& [list, base, merged, entered, known] : cases) {
    SCOPED_TRACE(list);
    const temp_directory directory;
    const std::string to = directory.path + "/";
    write_test_file(to + "list", list);
    if (base != nullptr) write_test_file(to + "base", base);
    merge_outcome outcome;
    EXPECT_EQ(merge_sorted_files(to + "list", to + "base", to + "merged", outcome), MERGE_OK);
    EXPECT_EQ(read_test_file(to + "merged"), merged);
    EXPECT_EQ(outcome.entered, entered);
    EXPECT_EQ(outcome.known, known);
  }
}

TEST(hash_url_bits, gives_the_values_of_the_whole_url) {
  const std::tuple<const char*, uint32_t, uint32_t, uint32_t> cases[] = {
      {"", 0x0, 0x0, 0x0},
      {"a", 0x3080, 0x308, 0x61c20},
      {"//a/b", 0xca72ad00, 0x28100b10, 0x1fdaa840},
      {"\xfb\xff\x81z\x80\xff", 0xb8e67f80, 0x270007f8, 0x38a10fe0},
      {"/1/2/3/", 0x4bcfa380, 0x62424978, 0x55641e0},
      {"\xff\xff\xff\xff\xff\xff\xff\xff", 0x5a63b80, 0x70650ff8, 0x24822be0},
      {"http://a/path/of/many/bytes?q=1", 0x51164c80, 0x2e4d4988, 0xf9aaea20},
  };
  for (const auto& [url, h1, h2, h3] : cases) {
    const url_bits bits = hash_url_bits(url);
    EXPECT_EQ(std::tuple(bits.h1, bits.h2, bits.h3), std::tuple(h1, h2, h3)) << url;
  }
}

TEST(bit_filter, keeps_sixteen_bits_a_word) {
  bit_filter filter;
  init_bit_filter(filter, 1'000'003);
  ASSERT_EQ(get_words_bit_filter(filter).size(), 62'501u);
  EXPECT_FALSE(may_hold_bit_filter(filter, "a"));
  add_bit_filter(filter, "a");
  EXPECT_TRUE(may_hold_bit_filter(filter, "a"));
  for (const char* other : {"b", ""}) EXPECT_FALSE(may_hold_bit_filter(filter, other));
  for (const uint32_t bit : {0x3080, 0x308, 0x61c20}) {
    EXPECT_EQ(get_words_bit_filter(filter)[bit / 16], 1U << (bit % 16)) << bit;
  }
}

TEST(fingerprint_set, remembers_what_was_asked_for_last_within_its_bound) {
  fingerprint_set set;
  set.max_slots = 2'048;
  const auto print = [](uint32_t n) { return build_url_fingerprint({1, 2}, std::to_string(n)); };
  for (uint32_t n = 0; n < 20'000; ++n) {
    EXPECT_FALSE(find_fingerprint_set(set, print(n)));
    add_fingerprint_set(set, print(n));
    ASSERT_TRUE(find_fingerprint_set(set, print(0)));  // asked for again and again
  }
  EXPECT_FALSE(find_fingerprint_set(set, print(1)));
  EXPECT_LE(set.young.slots.size() + set.old.slots.size(), 4'096u);
}

}  // namespace
}  // namespace wk
