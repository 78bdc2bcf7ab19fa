#include "crawler/core/checkpoint.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tests/crawler/core/built_crawler.h"
#include "tests/support/full_disk.h"

namespace wk {
namespace {

using urls = std::vector<std::string>;

// Every entry below a directory: a file's bytes, a link's target, "/" for a directory.
using tree = std::map<std::string, std::string>;

tree read_tree(const std::string& directory) {
  tree entries;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(directory)) {
    const std::string path = entry.path().string();
    entries[path] = entry.is_symlink()     ? std::filesystem::read_symlink(path).string()
                    : entry.is_directory() ? "/"
                                           : read_test_file(path);
  }
  return entries;
}

// The entries whose paths begin with prefix.
tree read_tree_from(const std::string& directory, const std::string& prefix) {
  tree entries = read_tree(directory);
  std::erase_if(entries, [&prefix](const auto& entry) { return !entry.first.starts_with(prefix); });
  return entries;
}

// A crawler without seeds, whose log takes level 4 alone.
struct test_crawl {
  crawler_place place;
  crawler_ptr crawler;

  test_crawl() {
    place.profile.seed_urls.clear();
    place.profile.max_guest_pages.clear();
    place.profile.portal_list_url.clear();
    place.profile.log_filter = LOG_ERROR;
    crawler = build(place);
  }
};

// 60 URLs of 7 hosts: buffers of every filling, and spill files.
urls add_urls(const test_crawl& crawl) {
  urls added;
  for (int i = 0; i < 60; ++i) {
    added.push_back("http://h" + std::to_string(i % 7) + ".test/" + std::to_string(i));
    EXPECT_EQ(crawl.crawler->horizon->add_url(*crawl.crawler->horizon, added.back()), 1u);
  }
  std::sort(added.begin(), added.end());
  return added;
}

std::string take(const test_crawl& crawl) {
  std::string url;
  uint32_t time = 0;
  frontier_ops& horizon = *crawl.crawler->horizon;
  return horizon.get_url(horizon, url, time) == FRONTIER_URL ? url : "";
}

void end(const test_crawl& crawl, const std::string& url) {
  crawl.crawler->horizon->end_url(*crawl.crawler->horizon, url);
}

// Takes and ends all that there is; sorted.
urls drain(const test_crawl& crawl) {
  urls taken;
  for (std::string url = take(crawl); !url.empty(); url = take(crawl)) {
    end(crawl, url);
    taken.push_back(url);
  }
  std::sort(taken.begin(), taken.end());
  return taken;
}

checkpoint_status write(const test_crawl& crawl, const std::string& directory) {
  std::string reason = "what stood here before";
  const checkpoint_status status = write_checkpoint(*crawl.crawler, directory, reason);
  EXPECT_EQ(reason.empty(), status == CHECKPOINT_OK) << reason;
  return status;
}

// Builds the crawler anew, as a restart does, and restores it.
bool restore(test_crawl& crawl) {
  crawl.crawler.reset();
  crawl.crawler = build(crawl.place);
  return restore_crawler(*crawl.crawler);
}

std::string read_log(const test_crawl& crawl) {
  flush_log(*crawl.crawler->log);
  return read_test_file(crawl.place.base + "/log");
}

TEST(checkpoint, brings_every_url_back_that_is_not_ended) {
  test_crawl crawl;
  const urls added = add_urls(crawl);
  urls expected = added;
  for (int i = 0; i < 9; ++i) {  // the first three are done, six are in spiders' hands
    const std::string url = take(crawl);
    if (i >= 3) continue;
    end(crawl, url);
    std::erase(expected, url);
  }
  ASSERT_EQ(write(crawl, crawl.place.checkpoint), CHECKPOINT_OK);
  const tree written = read_tree(crawl.place.checkpoint);
  EXPECT_FALSE(written.empty());

  ASSERT_TRUE(restore(crawl));
  EXPECT_EQ(drain(crawl), expected);
  EXPECT_EQ(add_urls(crawl), added);
  EXPECT_EQ(drain(crawl), urls()) << "all of them are known";
  EXPECT_EQ(read_tree(crawl.place.checkpoint), written) << "restoring changes no checkpoint";
  EXPECT_EQ(read_log(crawl).find("heckpoint"), std::string::npos);
}

TEST(checkpoint, takes_the_place_of_the_one_before) {
  test_crawl crawl;
  const std::string& directory = crawl.place.checkpoint;
  const std::string link = crawl.place.base + "/link";
  ASSERT_EQ(::chmod(directory.c_str(), 0750), 0);
  ASSERT_EQ(::symlink(directory.c_str(), link.c_str()), 0);
  (void)add_urls(crawl);
  ASSERT_EQ(write(crawl, directory), CHECKPOINT_OK);
  const tree first = read_tree(directory);
  const urls rest = drain(crawl);
  EXPECT_EQ(rest.size(), 60u);
  for (const std::string& path : {directory, directory + "/", link, directory + "/../checkpoint"}) {
    SCOPED_TRACE(path);
    ASSERT_EQ(write(crawl, path), CHECKPOINT_OK);
    EXPECT_NE(read_tree(directory), first);
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    for (const auto& entry : std::filesystem::directory_iterator(crawl.place.base)) {
      EXPECT_NE(entry.path().extension(), ".new");
    }
    struct stat facts {};
    ASSERT_EQ(::stat(directory.c_str(), &facts), 0);
    EXPECT_EQ(facts.st_mode & 07777, 0750u);
  }
  ASSERT_TRUE(restore(crawl));
  EXPECT_EQ(drain(crawl), urls());
}

// What stands beside the directory under the name of the one being written.
TEST(checkpoint, clears_its_own_leavings_beside_and_nothing_else) {
  struct beside_case {
    const char* name;
    std::function<void(const std::string& beside)> make;
    bool is_cleared;  // else the checkpoint is written in place
  };
  const auto make_leaving = [](const std::string& beside) {
    std::filesystem::create_directory(beside);
    write_test_file(beside + "/nfrontier.3.17.txt", "http://left.test/\n");
    write_test_file(beside + "/ndue_cache.txt.part", "http://le");
  };
  const beside_case cases[] = {
      {"a part of a checkpoint", make_leaving, true},
      {"a file", [](const std::string& beside) { write_test_file(beside, "kept"); }, false},
      {"a checkpoint and more",
       [&](const std::string& beside) {
         make_leaving(beside);
         write_test_file(beside + "/notes", "kept");
       },
       false},
      {"a link to a checkpoint",
       [&](const std::string& beside) {
         make_leaving(beside + ".elsewhere");
         std::filesystem::create_symlink(beside + ".elsewhere", beside);
       },
       false},
  };
  for (const beside_case& c : cases) {
    SCOPED_TRACE(c.name);
    test_crawl crawl;
    const std::string& directory = crawl.place.checkpoint;
    const std::string beside = directory + ".new";
    c.make(beside);
    const tree stood_beside = read_tree_from(crawl.place.base, beside);
    const urls added = add_urls(crawl);
    write_test_file(directory + "/nfrontier.4.99.txt", "http://earlier.test/\n");
    write_test_file(directory + "/ndue_cache.txt.part", "http://ear");
    ASSERT_EQ(write(crawl, directory), CHECKPOINT_OK);

    EXPECT_EQ(read_tree_from(crawl.place.base, beside), c.is_cleared ? tree() : stood_beside);
    for (const auto& [path, bytes] : read_tree(directory)) {
      EXPECT_FALSE(path.ends_with(".part")) << path;
      EXPECT_EQ(bytes.find("http://ear"), std::string::npos) << path;
    }
    ASSERT_TRUE(restore(crawl));
    EXPECT_EQ(drain(crawl), added);
  }
}

TEST(checkpoint, never_clears_the_directories_of_its_own_crawl) {
  for (const bool is_temp : {true, false}) {
    test_crawl crawl;
    config_values& profile = crawl.place.profile;
    std::string& own = is_temp ? profile.temp_data_path : profile.store_name;
    own = crawl.place.checkpoint + ".new";
    std::filesystem::create_directory(own);
    crawl.crawler = build(crawl.place);
    const urls added = add_urls(crawl);
    ASSERT_EQ(write(crawl, crawl.place.checkpoint), CHECKPOINT_OK);
    EXPECT_TRUE(std::filesystem::is_directory(own));
    EXPECT_EQ(drain(crawl), added) << "the running crawl has its files";
    ASSERT_TRUE(restore(crawl));
    EXPECT_EQ(drain(crawl), added);
  }
}

TEST(checkpoint, refuses_a_target_that_is_none_and_touches_nothing) {
  struct target_case {
    const char* name;
    std::string target;  // below the test's directory, or absolute
    std::function<void(const std::string& path)> make;
    const char* reason;
  };
  const auto nothing = [](const std::string&) {};
  const auto hold = [](const char* name) {
    return [name](const std::string& path) { write_test_file(path + "/" + name, "kept"); };
  };
  const char* not_directory = "it is not a directory";
  const char* precious = "it is the root, home or working directory";
  const char* other = "it holds other things than a checkpoint";
  const target_case cases[] = {
      {"nothing", "none", nothing, not_directory},
      {"a file", "file", [](const std::string& path) { write_test_file(path, "kept"); },
       not_directory},
      {"the temporary directory", "temp", nothing, "it is the directory for temporary data"},
      {"the temporary directory by another path", "store/../temp/", nothing,
       "it is the directory for temporary data"},
      {"the store directory", "store", nothing, "it is the store directory"},
      {"the root", "/", nothing, precious},
      {"the working directory", ".", nothing, precious},
      {"a foreign file", "checkpoint", hold("notes"), other},
      {"a file of a sort", "checkpoint", hold("ndue_cache.txt.sort"), other},
      {"a queue number that does not fit", "checkpoint", hold("nfrontier.4294967296.head.txt"),
       other},
      {"a directory", "checkpoint",
       [](const std::string& path) { std::filesystem::create_directory(path + "/ndue_cache.txt"); },
       other},
      {"a link", "checkpoint",
       [](const std::string& path) {
         write_test_file(path + "/../outside", "kept");
         std::filesystem::create_symlink("../outside", path + "/ndue_cache.txt");
       },
       other},
  };
  for (const target_case& c : cases) {
    SCOPED_TRACE(c.name);
    const test_crawl crawl;
    const bool is_absolute = c.target == "/" || c.target == ".";
    const std::string target = is_absolute ? c.target : crawl.place.base + "/" + c.target;
    c.make(target);
    (void)add_urls(crawl);
    (void)read_log(crawl);
    const tree before = read_tree(crawl.place.base);
    std::string reason;
    EXPECT_EQ(write_checkpoint(*crawl.crawler, target, reason), CHECKPOINT_REFUSED);
    EXPECT_EQ(reason, c.reason);
    EXPECT_EQ(read_tree(crawl.place.base), before);
    const std::string said = "Couldn't checkpoint the crawler to " + target + ": " + reason + "\n";
    EXPECT_NE(read_log(crawl).find("#Fields: date time s-comment\n"), std::string::npos);
    EXPECT_NE(read_log(crawl).find(said), std::string::npos) << read_log(crawl);
  }
}

TEST(checkpoint, that_the_disk_refuses_leaves_the_one_before) {
  constexpr uint64_t FOR_NO_SAVE = 30;
  constexpr uint64_t FOR_A_SAVE_BUT_NO_COPY = 5'000;
  for (const uint64_t max_bytes : {FOR_NO_SAVE, FOR_A_SAVE_BUT_NO_COPY}) {
    for (const bool in_place : {false, true}) {
      SCOPED_TRACE(testing::PrintToString(std::pair(max_bytes, in_place)));
      test_crawl crawl;
      const std::string& directory = crawl.place.checkpoint;
      if (in_place) write_test_file(directory + ".new", "a file in the way");
      const urls added = add_urls(crawl);
      ASSERT_EQ(write(crawl, directory), CHECKPOINT_OK);
      const tree first = read_tree(directory);
      EXPECT_EQ(drain(crawl), added);
      write_test_file(crawl.place.temp + "/nfrontier.4.77.txt", std::string(6'000, 'x'));
      {
        const full_disk disk(max_bytes);
        EXPECT_EQ(write(crawl, directory), CHECKPOINT_FAILED);
      }
      EXPECT_EQ(read_tree(directory), first);
      EXPECT_FALSE(std::filesystem::is_directory(directory + ".new"));
      EXPECT_NE(read_log(crawl).find("Couldn't checkpoint the crawler to " + directory + ": "),
                std::string::npos);
      ASSERT_TRUE(restore(crawl));
      EXPECT_EQ(drain(crawl), added);
    }
  }
}

TEST(restore_crawler, without_a_checkpoint_begins_with_an_empty_horizon) {
  struct empty_case {
    const char* name;
    std::string directory;  // below the test's directory; empty: the profile names none
    bool is_whole;
  };
  const empty_case cases[] = {{"no directory in the profile", "", true},
                              {"an empty directory", "checkpoint", true},
                              {"a directory that has gone", "gone", false}};
  for (const empty_case& c : cases) {
    SCOPED_TRACE(c.name);
    const test_crawl crawl;
    (void)add_urls(crawl);
    write_test_file(crawl.place.temp + "/left", "by whom ever");
    crawl.crawler->checkpoint_directory =
        c.directory.empty() ? "" : crawl.place.base + "/" + c.directory;
    EXPECT_EQ(restore_crawler(*crawl.crawler), c.is_whole);
    EXPECT_TRUE(read_tree(crawl.place.temp).empty());
    EXPECT_EQ(drain(crawl), urls());
    EXPECT_TRUE(crawl.crawler->horizon->is_exhausted(*crawl.crawler->horizon));
    EXPECT_EQ(add_urls(crawl).size(), 60u) << "and goes on as an empty one does";
    EXPECT_EQ(drain(crawl).size(), 60u);
  }
}

TEST(restore_crawler, takes_what_can_be_copied_and_says_what_is_missing) {
  const test_crawl crawl;
  const std::string& directory = crawl.place.checkpoint;
  write_test_file(directory + "/nfrontier.0.head.txt", std::string(5'000, 'x') + "\n");
  write_test_file(directory + "/nfrontier.1.head.txt", "http://a.test/\n");
  write_test_file(directory + "/other", "http://b.test/\n");
  const tree before = read_tree(directory);
  {
    const full_disk disk(1'000);
    EXPECT_FALSE(restore_crawler(*crawl.crawler));
  }
  EXPECT_EQ(drain(crawl), urls{"http://a.test/"});
  EXPECT_EQ(read_tree(directory), before);
}

}  // namespace
}  // namespace wk
