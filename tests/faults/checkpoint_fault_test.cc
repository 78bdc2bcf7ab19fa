// Every call of the system that writing a checkpoint or restoring one makes is interrupted, or
// fails, in turn: whatever happens, a whole checkpoint stands, the one before or the next one.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <set>
#include <sstream>
#include <string>

#include "crawler/core/build_crawler.h"
#include "crawler/core/checkpoint.h"
#include "crawler/horizon/horizon.h"
#include "tests/support/checkpoint_files.h"
#include "tests/support/fault_preload.h"
#include "tests/support/temp_directory.h"

namespace wk {
namespace {

using urls = std::multiset<std::string>;

constexpr uint32_t FILTER_BITS = 1'009;
constexpr uint32_t NB_QUEUES = 2;
constexpr uint32_t LIST_LIMIT = 15;

// Those that a full disk refuses.
constexpr const char* WRITING_CALLS = "create,write,fsync,close,mkdir,rename";

enum child_status : int { CHILD_OK = 0, CHILD_FAILED = 1, CHILD_MET_NO_FAULT = 2 };

// Runs work in a process of its own, whose failures count there: the answer is CHILD_FAILED then.
// Otherwise it is that of work, or 128 and the number of the signal that ended the process.
int run_in_child(const std::function<child_status()>& work) {
  std::fflush(nullptr);
  const pid_t pid = ::fork();
  if (pid == 0) {
    const child_status status = work();
    std::fflush(nullptr);
    ::_exit(testing::Test::HasFailure() ? CHILD_FAILED : status);
  }
  int status = 0;
  EXPECT_EQ(::waitpid(pid, &status, 0), pid);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// What happens from which call on.
struct fault {
  const char* action;
  unsigned long first = 1;
  bool for_ever = false;
  const char* calls = "";
};

// Faults are met below "state", which holds the directories "temp" and "check".
struct fault_place {
  temp_directory directory{find_fast_root()};
  std::string base = directory.path;
  std::string state = base + "/state";
  std::string check = state + "/check";
  std::string beside = check + ".new";
  std::string store = make_directory(directory, "store");
};

// Where a checkpoint is written.
enum write_way : uint32_t { WAY_BESIDE, WAY_IN_PLACE };

// Empties everything; the checkpoint directory holds these files then.
void prepare_place(const fault_place& place, const directory_bytes& checkpoint, write_way way) {
  std::filesystem::remove_all(place.state);
  std::filesystem::create_directories(place.state + "/temp");
  write_directory_bytes(place.check, checkpoint);
  if (way == WAY_IN_PLACE) write_test_file(place.beside, "a file in the way");
}

void arm(const fault_place& place, const fault& what) {
  ::setenv("WK_FAULT_PATH", place.state.c_str(), 1);
  ::setenv("WK_FAULT_CALLS", what.calls, 1);
  ::setenv("WK_FAULT_ACTION", what.action, 1);
  ::setenv("WK_FAULT_FIRST", std::to_string(what.first).c_str(), 1);
  ::setenv("WK_FAULT_LAST", what.for_ever ? "0" : std::to_string(what.first).c_str(), 1);
  ::setenv("WK_FAULT_NO_SYNC", "1", 1);
  arm_faults();
}

crawler_ptr build(const fault_place& place) {
  CrawlerConfig config;
  config.temp_data_path = place.state + "/temp";
  config.checkpoint_directory = place.check;
  config.checkpoint_interval_seconds = 1;
  config.store_name = place.store;
  config.log_name = place.base + "/log";
  config.log_filter = LOG_ERROR;
  config.nb_queues = NB_QUEUES;
  config.queue_buffer_size = 5;
  config.disk_cache_size = FILTER_BITS;
  config.sleep_interval_seconds = 0;
  crawler_ptr crawler = build_crawler(config);
  horizon& horizon = *crawler->horizon->self;
  // The clock stands, so that the queues are served in the same order every time.
  constexpr uint64_t NOW_US = 1'000'000'000'000;
  horizon.get_time_us = horizon.frontier.get_time_us = [] { return NOW_US; };
  horizon.frontier.latest_now_us = horizon.frontier.unused_time_us = NOW_US;
  url_cache& cache = horizon.cache;
  for (url_list* list : {&cache.known, &cache.unknown}) list->limit = list->empty_at = LIST_LIMIT;
  return crawler;
}

void add_urls(Crawler& crawler, int from, int to) {
  for (int i = from; i < to; ++i) {
    const std::string url = "http://h" + std::to_string(i % 5) + ".test/" + std::to_string(i);
    EXPECT_EQ(crawler.horizon->add_url(*crawler.horizon, url), 1u);
  }
}

std::string take(Crawler& crawler) {
  std::string url;
  uint32_t time = 0;
  return crawler.horizon->get_url(*crawler.horizon, url, time) == FRONTIER_URL ? url : "";
}

// Takes so many, and ends every second one.
void take_urls(Crawler& crawler, int count) {
  for (int i = 0; i < count; ++i) {
    const std::string url = take(crawler);
    EXPECT_NE(url, "");
    if (i % 2 == 0) crawler.horizon->end_url(*crawler.horizon, url);
  }
}

// Takes all that is queued. What is in hands then, what was there before with it.
urls drain(Crawler& crawler) {
  while (!take(crawler).empty()) continue;
  const auto& hands = crawler.horizon->self->hands.urls;
  return {hands.begin(), hands.end()};
}

// Two states of a crawl: lists, a disk cache, spill files, full and half-full buffers, pending
// ones.
void go_to_first_state(Crawler& crawler) {
  add_urls(crawler, 0, 24);
  take_urls(crawler, 5);
}
void go_on_to_second_state(Crawler& crawler) {
  add_urls(crawler, 15, 40);
  take_urls(crawler, 11);
}

checkpoint_status write(Crawler& crawler, const fault_place& place) {
  std::string reason;
  const checkpoint_status status = write_checkpoint(crawler, place.check, reason);
  EXPECT_EQ(reason.empty(), status == CHECKPOINT_OK) << reason;
  return status;
}

// The two checkpoints as they are without faults.
struct two_checkpoints {
  directory_bytes first;
  directory_bytes second;
};

two_checkpoints write_two_checkpoints(const fault_place& place) {
  two_checkpoints both;
  prepare_place(place, {}, WAY_BESIDE);
  const crawler_ptr crawler = build(place);
  go_to_first_state(*crawler);
  EXPECT_EQ(write(*crawler, place), CHECKPOINT_OK);
  both.first = read_directory_bytes(place.check);
  go_on_to_second_state(*crawler);
  EXPECT_EQ(write(*crawler, place), CHECKPOINT_OK);
  both.second = read_directory_bytes(place.check);
  for (const directory_bytes& files : {both.first, both.second}) {
    write_directory_bytes(place.check, files);
    const program_result checked = check_horizon_files(place.check, FILTER_BITS, NB_QUEUES);
    EXPECT_EQ(checked.exit_status, 0) << checked.output;
    for (const char* name : {"ndue_cache.txt", "ndue_disk_cache.txt", "ndue_pending.txt"}) {
      EXPECT_TRUE(files.contains(name)) << name;
    }
  }
  EXPECT_NE(both.first, both.second);
  return both;
}

// The URLs to be crawled that a checkpoint of these files holds.
urls list_queued(const directory_bytes& files) { return list_checkpoint_urls(files).queued; }

// The checkpoint that the directory holds, of whatever form: with a list the files that it names,
// from their parts first; else what is no part.
directory_bytes read_whole_checkpoint(const fault_place& place) {
  directory_bytes there = read_directory_bytes(place.check), whole;
  if (!there.contains("checkpoint.list")) {
    std::erase_if(there, [](const auto& file) { return file.first.ends_with(".part"); });
    return there;
  }
  std::istringstream names(there["checkpoint.list"]);
  for (std::string name; std::getline(names, name);) {
    const auto part = there.find(name + ".part");
    const auto file = part != there.end() ? part : there.find(name);
    if (file != there.end()) whole[name] = file->second;
  }
  return whole;
}

// One of the two checkpoints stands, a crawl is restored from it, and its next one is written.
child_status expect_restored(const fault_place& place, const two_checkpoints& both) {
  const directory_bytes files = read_whole_checkpoint(place);
  EXPECT_TRUE(files == both.first || files == both.second);
  disarm_faults();
  const crawler_ptr crawler = build(place);
  EXPECT_TRUE(restore_crawler(*crawler));
  const urls queued = drain(*crawler);
  EXPECT_EQ(queued, list_queued(files));
  EXPECT_EQ(write(*crawler, place), CHECKPOINT_OK);
  EXPECT_EQ(list_queued(read_directory_bytes(place.check)), queued);
  EXPECT_FALSE(std::filesystem::is_directory(place.beside));
  return CHILD_OK;
}

// Writes the second checkpoint over the first one with the fault.
child_status write_with_fault(const fault_place& place, const two_checkpoints& both,
                              const fault& what) {
  const crawler_ptr crawler = build(place);
  go_to_first_state(*crawler);
  go_on_to_second_state(*crawler);
  arm(place, what);
  const checkpoint_status status = write(*crawler, place);
  disarm_faults();
  if (count_done_faults() == 0) return CHILD_MET_NO_FAULT;

  const directory_bytes after = read_whole_checkpoint(place);
  if (status == CHECKPOINT_OK) {
    EXPECT_EQ(after, both.second);
  } else {
    // A disk that refuses everything may refuse the way back too.
    EXPECT_TRUE(after == both.first || (what.for_ever && after == both.second));
    flush_log(*crawler->log);
    const std::string log = read_test_file(place.base + "/log");
    EXPECT_NE(log.find("Couldn't checkpoint the crawler to " + place.check), std::string::npos);
  }
  EXPECT_EQ(write(*crawler, place), CHECKPOINT_OK) << "once the disk takes it";
  EXPECT_EQ(read_directory_bytes(place.check), both.second);
  EXPECT_FALSE(std::filesystem::is_directory(place.beside));

  EXPECT_EQ(drain(*crawler), list_queued(both.second)) << "the running crawl has lost nothing";
  return CHILD_OK;
}

// Lets the fault come at each call in turn.
void try_every_call(fault what, const std::function<int(const fault& what)>& attempt) {
  for (what.first = 1;; ++what.first) {
    SCOPED_TRACE(std::string(what.action) + (what.for_ever ? " from call " : " at call ") +
                 std::to_string(what.first));
    const int status = attempt(what);
    if (status == CHILD_MET_NO_FAULT) break;
    ASSERT_NE(status, CHILD_FAILED);
    if (testing::Test::HasFailure()) return;
  }
  EXPECT_GT(what.first, 20u);
}

const fault KILL = {.action = "kill"}, TEAR = {.action = "tear"}, REFUSE = {.action = "EIO"},
            FILL_DISK = {.action = "ENOSPC", .for_ever = true, .calls = WRITING_CALLS};

TEST(checkpoint_written, and_killed_or_refused_at_any_call_is_a_whole_one) {
  const fault_place place;
  const two_checkpoints both = write_two_checkpoints(place);
  for (const write_way way : {WAY_BESIDE, WAY_IN_PLACE}) {
    SCOPED_TRACE(way == WAY_BESIDE ? "beside" : "in place");
    for (const fault& each : {TEAR, REFUSE, FILL_DISK}) {
      try_every_call(each, [&](const fault& what) {
        prepare_place(place, both.first, way);
        const int status = run_in_child([&] { return write_with_fault(place, both, what); });
        if (what.action != TEAR.action || status == CHILD_MET_NO_FAULT) return status;
        EXPECT_EQ(status, 128 + SIGKILL);
        EXPECT_EQ(run_in_child([&] { return expect_restored(place, both); }), CHILD_OK);
        return status;
      });
    }
  }
}

// Restores the first checkpoint with the fault.
child_status restore_with_fault(const fault_place& place, const directory_bytes& checkpoint,
                                const fault& what) {
  const crawler_ptr crawler = build(place);
  arm(place, what);
  const bool whole = restore_crawler(*crawler);
  disarm_faults();
  if (count_done_faults() == 0) return CHILD_MET_NO_FAULT;
  EXPECT_EQ(crawler->checkpoint_interval_seconds, whole ? 1u : 0u)
      << "a checkpoint that was not read whole is not written over";
  const urls expected = list_queued(checkpoint);
  const urls queued = drain(*crawler);
  if (whole) {
    EXPECT_EQ(queued, expected);
  } else {
    EXPECT_TRUE(std::includes(expected.begin(), expected.end(), queued.begin(), queued.end()));
  }
  return CHILD_OK;
}

TEST(checkpoint_read, and_ended_or_refused_at_any_call_stays_as_it_is) {
  const fault_place place;
  const directory_bytes checkpoint = write_two_checkpoints(place).first;
  for (const fault& each : {KILL, REFUSE, FILL_DISK}) {
    try_every_call(each, [&](const fault& what) {
      prepare_place(place, checkpoint, WAY_BESIDE);
      const int status = run_in_child([&] { return restore_with_fault(place, checkpoint, what); });
      EXPECT_EQ(read_directory_bytes(place.check), checkpoint);
      return status;
    });
  }
}

}  // namespace
}  // namespace wk
