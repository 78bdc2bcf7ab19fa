#include "crawler/horizon/frontier.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/crawler/horizon/test_horizon.h"

namespace wk {
namespace {

constexpr uint32_t START_SECONDS = START / SECOND;

// What a take at a time gives: the URL, or "" for a wait, and the allowed time, both times counted
// from the start.
struct pacing_step {
  uint64_t at_us;
  const char* url;
  uint32_t allowed;
};

struct pacing_case {
  const char* name;
  uint32_t interval_seconds;
  std::vector<std::string> urls;
  std::vector<pacing_step> steps;
};

TEST(frontier, serves_a_queue_once_an_interval) {
  const pacing_case cases[] = {
      {"two URLs of one host",
       60,
       {"http://a/1", "http://a/2"},
       {{0, "http://a/1", 0},
        {0, "", 60},
        {60 * SECOND - 1, "", 60},
        {60 * SECOND, "http://a/2", 60}}},
      {"hosts of one queue in the order they came",
       5,
       {"http://a/1", "http://b/1", "http://a/2"},
       {{0, "http://a/1", 0},
        {5 * SECOND, "http://b/1", 5},
        {6 * SECOND, "", 10},
        {10 * SECOND, "http://a/2", 10}}},
      {"served late, then one interval from that",
       10,
       {"http://a/1", "http://a/2", "http://a/3"},
       {{3 * SECOND, "http://a/1", 0},
        {17 * SECOND, "http://a/2", 13},
        {26 * SECOND, "", 27},
        {27 * SECOND, "http://a/3", 27}}},
      {"inside a second: never earlier than a whole interval, and a wait is long enough",
       2,
       {"http://a/1", "http://a/2"},
       {{SECOND / 2, "http://a/1", 0},
        {SECOND * 2, "", 3},
        {SECOND * 5 / 2 - 1, "", 3},
        {SECOND * 5 / 2, "http://a/2", 2}}},
      {"no interval",
       0,
       {"http://a/1", "http://b/1"},
       {{0, "http://a/1", 0}, {0, "http://b/1", 0}}},
      {"no interval while the clock falls",
       0,
       {"http://a/1", "http://b/1"},
       {{9 * SECOND, "http://a/1", 0}, {2 * SECOND, "http://b/1", 2}}},
  };
  for (const pacing_case& c : cases) {
    SCOPED_TRACE(c.name);
    test_horizon h;
    h.settings.nb_queues = 1;
    h.settings.interval_seconds = c.interval_seconds;
    create_test_horizon(h);
    for (const std::string& url : c.urls) add(h, url);
    for (const pacing_step& step : c.steps) {
      test_time_us = START + step.at_us;
      const taken_url taken = take(h);
      EXPECT_EQ(taken.answer, *step.url == '\0' ? FRONTIER_WAIT : FRONTIER_URL) << step.at_us;
      EXPECT_EQ(taken.url, step.url);
      EXPECT_EQ(taken.time, START_SECONDS + step.allowed) << step.at_us;
    }
  }
}

TEST(frontier, takes_queues_of_one_time_as_the_heap_has_them) {
  test_horizon h;
  h.settings.nb_queues = 1'000'003;  // so that each of the hosts has a queue of its own
  h.settings.interval_seconds = 10;
  create_test_horizon(h);
  for (const char* host : {"a", "b", "c", "d"}) {
    add(h, std::string("http://") + host + "/1");
    add(h, std::string("http://") + host + "/2");
  }
  EXPECT_EQ(drain(h),
            (std::vector<std::string>{"http://a/1", "http://d/1", "http://b/1", "http://c/1"}));
  test_time_us = START + 10 * SECOND;
  EXPECT_EQ(drain(h).size(), 4u);
  EXPECT_EQ(take(h).answer, FRONTIER_EMPTY);
}

TEST(frontier, does_not_wait_for_a_clock_that_was_set_back) {
  test_horizon h;
  h.settings.nb_queues = 1'000'003;
  h.settings.interval_seconds = 10;
  create_test_horizon(h);
  add(h, "http://a/1");
  add(h, "http://a/2");
  add(h, "http://b/1");
  EXPECT_EQ(drain(h).size(), 2u);
  constexpr uint64_t BACK = START - 1'000 * SECOND;
  test_time_us = BACK;
  add(h, "http://c/1");
  add(h, "http://b/2");
  const taken_url taken = take(h);
  EXPECT_EQ(taken.answer, FRONTIER_WAIT);
  EXPECT_EQ(taken.time, BACK / SECOND + 10);
  test_time_us = BACK + 10 * SECOND;
  EXPECT_EQ(drain(h).size(), 3u);

  // Two intervals ahead is as it should be after a small step.
  add(h, "http://a/3");
  test_time_us = BACK;
  EXPECT_EQ(take(h).time, BACK / SECOND + 20);
  test_time_us = BACK - 1 * SECOND;
  EXPECT_EQ(take(h).time, BACK / SECOND + 9);
}

TEST(frontier, drops_urls_of_exhausted_hosts_but_the_last_one_of_a_queue) {
  test_horizon h;
  h.settings.nb_queues = 1;
  create_test_horizon(h);
  for (const char* url :
       {"http://x/1", "http://y/1", "http://x/2", "http://x:80/1", "http://x/3", "https://x/4"}) {
    add(h, url);
  }
  h.ops->exhaust_host(*h.ops, "x");
  EXPECT_EQ(take(h).url, "http://y/1");
  EXPECT_EQ(h.ops->count_urls(*h.ops), 4u);
  EXPECT_EQ(take(h).url, "http://x:80/1");
  EXPECT_EQ(take(h).url, "https://x/4");
  EXPECT_EQ(take(h).answer, FRONTIER_EMPTY);
  EXPECT_EQ(h.ops->count_urls(*h.ops), 0u);
}

TEST(frontier, takes_only_urls_that_may_be_crawled_and_each_once) {
  const std::tuple<std::string, uint32_t, uint32_t> cases[] = {
      {"", 0, 0},
      {"http://a/\n", 0, 0},
      {std::string("http://a/\0", 10), 0, 0},
      {"http://a/" + std::string(8'200, 'x'), 0, 0},
      {"http://a/", 1, 1},
      {"http://a/", 1, 1},
      {"http://a/b c", 1, 2},
      {"ftp://a/", 1, 3},
      {"http://a/\xff", 1, 4},
  };
  test_horizon h;
  create_test_horizon(h);
  for (const auto& [url, answer, count] : cases) {
    EXPECT_EQ(add(h, url), answer) << url;
    EXPECT_EQ(h.ops->count_urls(*h.ops), count) << url;
  }
  const std::vector<std::string> batch = {"http://b/1", "", "http://a/", "http://b/2",
                                          "http://b/1"};
  h.ops->add_urls(*h.ops, batch);
  EXPECT_EQ(h.ops->count_urls(*h.ops), 6u);
}

TEST(frontier, is_exhausted_when_nothing_is_queued_or_in_hands) {
  test_horizon h;
  create_test_horizon(h);
  const auto is_exhausted = [&h] { return h.ops->is_exhausted(*h.ops); };
  EXPECT_TRUE(is_exhausted());
  add(h, "http://a/1");
  add(h, "http://a/2");
  EXPECT_FALSE(is_exhausted());
  take(h);
  take(h);
  EXPECT_EQ(h.ops->active_urls(*h.ops), 2u);
  EXPECT_FALSE(is_exhausted());
  h.ops->end_url(*h.ops, "http://a/1");
  EXPECT_FALSE(is_exhausted());
  h.ops->refuse_url(*h.ops, "http://a/2");
  EXPECT_TRUE(is_exhausted());
  EXPECT_EQ(h.ops->active_urls(*h.ops), 1u);
  h.ops->begin_url(*h.ops);
  EXPECT_FALSE(is_exhausted());
  h.ops->end_url(*h.ops, "http://a/3");
  EXPECT_TRUE(is_exhausted());
}

TEST(frontier, writes_its_state_as_four_integers_and_the_directory) {
  test_horizon h;
  create_test_horizon(h);
  add(h, "http://a/1");
  h.ops->self->directory = "dir";
  std::string state;
  h.ops->write_state(*h.ops, state);
  EXPECT_EQ(state, std::string("\1\0\0\0\xae\x08\0\0\3\0\0\0dir\1\0\0\0", 19));
}

TEST(frontier, says_so_when_an_unsupported_operation_finds_urls) {
  const std::string never = "this function should never be called, check the frontier mode";
  test_horizon h;
  create_test_horizon(h);
  testing::internal::CaptureStderr();
  EXPECT_EQ(h.ops->has_urls_unsupported(*h.ops), 0u);
  EXPECT_EQ(h.ops->wait_urls_unsupported(*h.ops, 1), 0u);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  add(h, "http://a/1");
  testing::internal::CaptureStderr();
  EXPECT_EQ(h.ops->has_urls_unsupported(*h.ops), 1u);
  EXPECT_EQ(h.ops->wait_urls_unsupported(*h.ops, UINT64_MAX), 1u);
  EXPECT_EQ(h.ops->get_url_blocking(*h.ops), 1u);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), never + never + never);
}

TEST(frontier, goes_on_when_a_queue_gives_nothing) {
  const std::string alarm =
      "the queue suppose to return url because the selector said this queue is not empty\n";
  test_horizon h;
  h.settings.nb_queues = 1'000'003;
  h.settings.queue_buffer_size = 1;
  create_test_horizon(h);
  for (const char* url : {"http://a/1", "http://a/2", "http://a/3"}) add(h, url);
  const std::string path = h.directory.path + "/nfrontier.97.0.txt";
  ASSERT_EQ(read_test_file(path), "http://a/2\n");
  std::filesystem::rename(path, path + ".away");
  std::filesystem::create_symlink(path, path);  // cannot be opened, and yet is there
  testing::internal::CaptureStderr();
  EXPECT_EQ(drain(h), (std::vector<std::string>{"http://a/1", "http://a/3"}));
  const taken_url taken = take(h);
  EXPECT_EQ(taken.answer, FRONTIER_WAIT);
  EXPECT_EQ(taken.time, START_SECONDS + 1);
  EXPECT_EQ(h.ops->count_urls(*h.ops), 1u);
  EXPECT_FALSE(h.ops->is_exhausted(*h.ops));
  add(h, "http://b/1");
  EXPECT_EQ(drain(h), std::vector<std::string>{"http://b/1"});

  test_time_us += SECOND;
  std::filesystem::rename(path + ".away", path);
  EXPECT_EQ(drain(h), std::vector<std::string>{"http://a/2"});

  for (const char* url : {"http://a/4", "http://a/5", "http://a/6"}) add(h, url);
  std::filesystem::remove(path);
  EXPECT_EQ(drain(h), (std::vector<std::string>{"http://a/4", "http://a/6"}));
  EXPECT_EQ(h.ops->count_urls(*h.ops), 0u);
  EXPECT_TRUE(h.ops->is_exhausted(*h.ops));
  const std::string said = testing::internal::GetCapturedStderr();
  const std::string waits = path + " can't be read, its URLs wait\n";
  EXPECT_EQ(said, waits + waits + alarm + path + " gave 0 URLs instead of 1\n");
}

TEST(frontier, bears_absurd_settings) {
  const std::tuple<uint32_t, uint32_t, uint32_t> cases[] = {
      {4'294'967'295, 4'294'967'295, 1}, {0, 0, 0}, {1, 1, 1}};
  for (const auto& [nb_queues, buffer_size, interval] : cases) {
    test_horizon h;
    h.settings.nb_queues = nb_queues;
    h.settings.queue_buffer_size = buffer_size;
    h.settings.interval_seconds = interval;
    h.settings.nb_hosts_expected = 4'294'967'295;
    h.settings.disk_cache_size = nb_queues == 1 ? 1 : 0;
    create_test_horizon(h);
    for (uint32_t n = 0; n < 50; ++n) add(h, "http://a/" + std::to_string(n));
    h.ops->exhaust_host(*h.ops, "b");
    for (uint32_t n = 0; n < 50; ++n) {
      EXPECT_EQ(take(h).url, "http://a/" + std::to_string(n));
      test_time_us += interval * SECOND;
    }
  }
}

}  // namespace
}  // namespace wk
