#include "crawler/core/checkpoint.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "tests/crawler/core/built_crawler.h"
#include "tests/support/full_disk.h"

namespace wk {
namespace {

namespace fs = std::filesystem;
using urls = std::vector<std::string>;

// Every entry below a directory whose path begins so: a file's bytes, a link's target, "/" for a
// directory.
using tree = std::map<std::string, std::string>;

tree read_tree(const std::string& directory, const std::string& prefix = "") {
  tree entries;
  for (const auto& entry : fs::recursive_directory_iterator(directory)) {
    const std::string path = entry.path().string();
    if (!path.starts_with(prefix)) continue;
    entries[path] = entry.is_symlink()     ? fs::read_symlink(path).string()
                    : entry.is_directory() ? "/"
                                           : read_test_file(path);
  }
  return entries;
}

// Makes what the text says: "path -> target" a link, "path/" a directory, else a file.
void make_entry(const std::string& text) {
  const size_t arrow = text.find(" -> ");
  if (arrow != std::string::npos) {
    fs::create_symlink(text.substr(arrow + 4), text.substr(0, arrow));
  } else if (text.ends_with('/')) {
    fs::create_directory(text);
  } else {
    write_test_file(text, "http://kept.test/\n");
  }
}

// A crawler without seeds, whose log takes level 4 alone.
struct test_crawl {
  crawler_place place;
  std::string checkpoint = place.checkpoint;
  crawler_ptr crawler;

  test_crawl() {
    place.profile.seed_urls.clear();
    place.profile.max_guest_pages.clear();
    place.profile.portal_list_url.clear();
    place.profile.log_filter = LOG_ERROR;
    crawler = build(place);
  }
};

// 60 URLs of 7 hosts: buffers of every filling, and spill files. Sorted.
urls add_urls(const test_crawl& crawl) {
  urls added;
  for (int i = 0; i < 60; ++i) {
    added.push_back("http://h" + std::to_string(i % 7) + ".test/" + std::to_string(i));
  }
  crawl.crawler->horizon->add_urls(*crawl.crawler->horizon, added);
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
  EXPECT_EQ(reason, "");
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

// Locks the directory as another crawl does, for as long as it lives.
struct other_crawl {
  int handle;
  bool got_lock;
  explicit other_crawl(const std::string& directory)
      : handle(::open(directory.c_str(), O_RDONLY | O_CLOEXEC)),
        got_lock(::flock(handle, LOCK_EX | LOCK_NB) == 0) {}
  ~other_crawl() { ::close(handle); }
  other_crawl(const other_crawl&) = delete;
  other_crawl& operator=(const other_crawl&) = delete;
};
bool is_kept(const std::string& directory) { return !other_crawl(directory).got_lock; }

TEST(checkpoint, keeps_the_directory_that_bears_its_name_from_other_crawls) {
  const test_crawl crawl;
  const std::string& first = crawl.checkpoint;
  const std::string beside = first + ".new", second = make_directory(crawl.place.directory, "2");
  for (const std::string& kept : {crawl.place.store, crawl.place.temp, first}) {
    EXPECT_TRUE(is_kept(kept)) << kept;
  }
  (void)add_urls(crawl);
  ASSERT_EQ(write(crawl, first), CHECKPOINT_OK);
  EXPECT_TRUE(is_kept(first)) << "exchanged";
  fs::create_directory(beside);
  make_entry(beside + "/nfrontier.3.17.txt");
  {
    const other_crawl other(beside);
    ASSERT_EQ(write(crawl, first), CHECKPOINT_OK);
    EXPECT_TRUE(is_kept(first)) << "written in place";
    EXPECT_TRUE(fs::exists(beside + "/nfrontier.3.17.txt")) << "that crawl's checkpoint";
  }
  {
    const other_crawl other(second);
    std::string reason;
    EXPECT_EQ(write_checkpoint(*crawl.crawler, second, reason), CHECKPOINT_REFUSED);
    EXPECT_EQ(reason, "it is in use by another crawl");
    EXPECT_TRUE(fs::is_empty(second));
    EXPECT_TRUE(is_kept(first));
  }
  ASSERT_EQ(write(crawl, second), CHECKPOINT_OK);
  EXPECT_TRUE(is_kept(second));
  EXPECT_FALSE(is_kept(first)) << "left for others";
}

// That it holds all that is not ended, whatever happens, the tests of faults show.
TEST(checkpoint, takes_the_place_of_the_one_before_however_the_directory_is_spelt) {
  test_crawl crawl;
  const std::string link = crawl.place.base + "/link";
  ASSERT_EQ(::chmod(crawl.checkpoint.c_str(), 0750), 0);
  make_entry(link + " -> " + crawl.checkpoint);
  const urls added = add_urls(crawl);
  tree before;
  for (const std::string& path :
       {crawl.checkpoint, crawl.checkpoint + "/", link, crawl.checkpoint + "/../checkpoint"}) {
    SCOPED_TRACE(path);
    end(crawl, take(crawl));
    ASSERT_EQ(write(crawl, path), CHECKPOINT_OK);
    EXPECT_NE(std::exchange(before, read_tree(crawl.checkpoint)), read_tree(crawl.checkpoint));
    EXPECT_TRUE(fs::is_symlink(link));
    EXPECT_TRUE(read_tree(crawl.place.base, crawl.checkpoint + ".").empty());
    struct stat facts {};
    ASSERT_EQ(::stat(crawl.checkpoint.c_str(), &facts), 0);
    EXPECT_EQ(facts.st_mode & 07777, 0750u);
  }
  ASSERT_TRUE(restore(crawl));
  EXPECT_EQ(read_tree(crawl.checkpoint), before) << "restoring changes no checkpoint";
  EXPECT_EQ(add_urls(crawl), added);
  EXPECT_EQ(drain(crawl).size(), added.size() - 4) << "none comes twice";
  EXPECT_EQ(read_log(crawl).find("heckpoint"), std::string::npos);
}

TEST(checkpoint, clears_its_own_leavings_beside_and_nothing_else) {
  const urls leaving = {"/", "/nfrontier.3.17.txt", "/ndue_cache.txt.part"};
  const std::tuple<const char*, urls, bool> cases[] = {
      // What stands beside the directory under the name of the one being written, behind that name;
      // whether it is cleared: else the checkpoint is written in place.
      {"a part of a checkpoint", leaving, true},
      {"a file", {""}, false},
      {"a checkpoint and more", {"/", "/nfrontier.3.17.txt", "/notes"}, false},
      {"a link to a checkpoint", {".d/", ".d/nfrontier.3.17.txt", " -> checkpoint.new.d"}, false},
      {"the directory of this crawl's temporary data", {"/"}, false},
      {"the directory of this crawl's store", {"/"}, false},
  };
  for (const auto& [name, entries, is_cleared] : cases) {
    SCOPED_TRACE(name);
    test_crawl crawl;
    const std::string beside = crawl.checkpoint + ".new";
    for (const std::string& entry : entries) make_entry(beside + entry);
    const bool is_temp = std::string(name).find("temp") != std::string::npos;
    const bool is_store = std::string(name).find("store") != std::string::npos;
    if (is_temp) crawl.place.profile.temp_data_path = beside;
    if (is_store) crawl.place.profile.store_name = beside;
    if (is_temp || is_store) {
      crawl.crawler.reset();
      crawl.crawler = build(crawl.place);
    }
    const tree stood_beside = read_tree(crawl.place.base, beside);
    const urls added = add_urls(crawl);
    make_entry(crawl.checkpoint + "/nfrontier.4.99.txt");
    make_entry(crawl.checkpoint + "/ndue_cache.txt.part");
    ASSERT_EQ(write(crawl, crawl.checkpoint), CHECKPOINT_OK);
    if (!is_temp) {
      EXPECT_EQ(read_tree(crawl.place.base, beside), is_cleared ? tree() : stood_beside);
    }
    for (const auto& [path, bytes] : read_tree(crawl.checkpoint)) {
      EXPECT_FALSE(path.ends_with(".part")) << path;
      EXPECT_EQ(bytes.find("http://kept"), std::string::npos) << path;
    }
    EXPECT_EQ(drain(crawl), added) << "the running crawl has its files";
    ASSERT_TRUE(restore(crawl));
    EXPECT_EQ(drain(crawl), added);
  }
}

TEST(checkpoint, refuses_a_target_that_is_none_and_touches_nothing) {
  const char* not_directory = "it is not a directory";
  const char* precious = "it is the root, home or working directory";
  const char* temp = "it is the directory for temporary data";
  const char* other = "it holds other things than a checkpoint";
  const std::tuple<const char*, const char*, const char*> cases[] = {
      // target, what is made, both below the test's directory; reason
      {"none", "", not_directory},
      {"file", "file", not_directory},
      {"temp", "", temp},
      {"store/../temp/", "", temp},
      {"store", "", "it is the store directory"},
      {"/", "", precious},
      {".", "", precious},
      {"checkpoint", "checkpoint/notes", other},
      {"checkpoint", "checkpoint/ndue_cache.txt.sort", other},
      {"checkpoint", "checkpoint/nfrontier.4294967296.head.txt", other},
      {"checkpoint", "checkpoint/ndue_cache.txt/", other},
      {"checkpoint", "checkpoint/ndue_cache.txt -> ../log", other},
  };
  for (const auto& [name, entry, expected] : cases) {
    SCOPED_TRACE(std::string(name) + " with " + entry);
    const test_crawl crawl;
    const bool is_absolute = name == std::string("/") || name == std::string(".");
    const std::string target = is_absolute ? name : crawl.place.base + "/" + name;
    if (*entry != '\0') make_entry(crawl.place.base + "/" + entry);
    (void)add_urls(crawl);
    (void)read_log(crawl);
    const tree before = read_tree(crawl.place.base);
    std::string reason;
    EXPECT_EQ(write_checkpoint(*crawl.crawler, target, reason), CHECKPOINT_REFUSED);
    EXPECT_EQ(reason, expected);
    EXPECT_EQ(read_tree(crawl.place.base), before);
    const std::string log = read_log(crawl);
    EXPECT_NE(log.find("#Fields: date time s-comment\n"), std::string::npos);
    EXPECT_TRUE(
        log.ends_with("Couldn't checkpoint the crawler to " + target + ": " + reason + "\n\n"));
  }
}

TEST(checkpoint, is_written_on_request_only_when_the_interval_is_below_zero) {
  crawler_place place;
  place.profile.checkpoint_interval_seconds = -60;
  EXPECT_EQ(build(place)->checkpoint_interval_seconds, 0u);
}

TEST(restore_crawler, begins_with_what_can_be_had_and_says_whether_that_is_all) {
  const std::string long_url = "http://b.test/" + std::string(5'000, 'x');
  const std::tuple<const char*, const char*, uint64_t, bool, urls> cases[] = {
      // name, directory below the test's (empty: the profile names none), bytes that no file may
      // have, whether all was restored, what the horizon holds
      {"no directory in the profile", "", 0, true, {}},
      {"an empty directory", "temp/../store", 0, true, {}},
      {"a directory that has gone", "gone", 0, false, {}},
      {"a checkpoint and more", "checkpoint", 0, true, {"http://a.test/", long_url}},
      {"a file that cannot be copied", "checkpoint", 1'000, false, {"http://a.test/"}},
  };
  for (const auto& [name, directory, max_bytes, is_whole, expected] : cases) {
    SCOPED_TRACE(name);
    const test_crawl crawl;
    (void)add_urls(crawl);
    write_test_file(crawl.place.temp + "/left", "by whom ever");
    write_test_file(crawl.checkpoint + "/nfrontier.0.head.txt", long_url + "\n");
    write_test_file(crawl.checkpoint + "/nfrontier.1.head.txt", "http://a.test/\n");
    write_test_file(crawl.checkpoint + "/other", "http://c.test/\n");
    const tree before = read_tree(crawl.checkpoint);
    crawl.crawler->checkpoint_directory =
        *directory == '\0' ? "" : crawl.place.base + "/" + directory;
    {
      const full_disk disk(max_bytes == 0 ? RLIM_INFINITY : max_bytes);
      EXPECT_EQ(restore_crawler(*crawl.crawler), is_whole);
    }
    EXPECT_EQ(read_test_file(crawl.place.temp + "/left"), "");
    EXPECT_EQ(drain(crawl), expected);
    EXPECT_TRUE(crawl.crawler->horizon->is_exhausted(*crawl.crawler->horizon));
    EXPECT_EQ(read_tree(crawl.checkpoint), before);
    const urls added = add_urls(crawl);
    EXPECT_EQ(drain(crawl), added) << "and goes on as an empty one does";
  }
}

}  // namespace
}  // namespace wk
