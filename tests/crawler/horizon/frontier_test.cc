#include "crawler/horizon/frontier.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>
#include <tuple>

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
//   share N       of one host   answer URL  its host answered   rest HOST   for an hour
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
    } else if (verb == "share") {
      h.ops->set_host_share(*h.ops, static_cast<uint32_t>(std::stoul(word)));
    } else if (verb == "answer") {
      h.ops->tell_answer(*h.ops, complete_url(word));
    } else if (verb == "rest") {
      h.ops->rest_host(*h.ops, word, 3'600 * SECOND);
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

TEST(frontier, keeps_the_place_of_urls_whose_host_is_not_to_be_asked) {
  const std::tuple<const char*, uint32_t, const char*> cases[] = {
      {"a silent host gets its share, and the others all else", 1,
       "share 2, + a/1 a/2 a/3 b/1 a/4 c/1, a/1 0, a/2 0, b/1 0, c/1 0, wait 1, at 1000, "
       "busy 2 queued 4 active, end a/1, a/3 0, wait 2, at 2000, end a/2, a/4 1, empty"},
      {"the same over many queues", A_QUEUE_A_HOST,
       "share 1, + a/1 a/2 b/1 b/2, a/1 0, b/1 0, wait 1, at 1000, end b/1, b/2 0, wait 2"},
      {"a host that answers gets more where there is nothing else", 1,
       "share 2, + a/1 a/2 a/3 a/4 a/5 b/1, a/1 0, a/2 0, answer a/1, b/1 0, a/3 0, a/4 0, "
       "wait 1, at 1000, answer a/2, a/5 0, empty"},
      {"a host that rests waits for the others to be done", 1,
       "+ x/1 x/2 a/1 x/3 a/2, rest x, a/1 0, a/2 0, wait 1, at 1000, end a/1, wait 2, + a/3, "
       "at 2000, a/3 1, end a/3, wait 3, at 3000, end a/2, x/1 2, x/2 3, x/3 3, end x/1, "
       "end x/2, busy 0 queued 1 active, end x/3, exhausted 0 queued 0 active"},
      {"it rests no longer once it has answered", 1,
       "share 1, + x/1 x/2 a/1 a/2, x/1 0, rest x, a/1 0, answer x/1, end x/1, x/2 0, wait 1"},
      {"what is set aside of an exhausted host is dropped", 1,
       "+ x/1 x/2 a/1, rest x, a/1 0, drop x, end a/1, x/2 0, empty"},
  };
  for (const auto& [name, nb_queues, script] : cases) {
    SCOPED_TRACE(name);
    test_horizon h({.nb_queues = nb_queues});
    run_script(h, script);
  }
}

TEST(frontier, hands_out_what_rests_when_there_is_too_much_of_it_and_saves_it) {
  test_horizon h({.nb_queues = 1});
  h.ops->rest_host(*h.ops, "x", 3'600 * SECOND);
  for (size_t i = 0; i <= MAX_URLS_ASIDE; ++i) add(h, "http://x/" + std::to_string(i));
  run_script(h, "x/0 0, + a/1");
  {
    const std::unique_lock<std::mutex> hold = lock_horizon(*h.ops->self);
    ASSERT_EQ(save_horizon(*h.ops->self), HORIZON_OK);
  }
  ASSERT_EQ(restore(h), HORIZON_OK);
  EXPECT_EQ(h.ops->count_urls(*h.ops), MAX_URLS_ASIDE + 2);  // the one in hands too
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

}  // namespace
}  // namespace wk
