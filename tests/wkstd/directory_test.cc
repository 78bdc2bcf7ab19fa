#include "wkstd/directory.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "tests/support/full_disk.h"
#include "tests/support/temp_directory.h"
#include "wkstd/directory_copy.h"

namespace wk {
namespace {

TEST(empty_directory, removes_files_and_nothing_else) {
  const temp_directory directory;
  const std::string inside = make_directory(directory, "full");
  const std::string outside = directory.path + "/outside";
  write_test_file(outside, "kept");
  write_test_file(make_directory(directory, "full/below") + "/f", "kept");
  write_test_file(inside + "/f", "goes");
  ASSERT_EQ(::symlink(outside.c_str(), (inside + "/link").c_str()), 0);
  EXPECT_TRUE(empty_directory(inside));
  std::vector<std::string> names;
  ASSERT_TRUE(list_files(inside, names));
  EXPECT_TRUE(names.empty());
  EXPECT_EQ(read_test_file(inside + "/link"), "kept");
  EXPECT_EQ(read_test_file(inside + "/below/f"), "kept");
  EXPECT_FALSE(empty_directory(directory.path + "/none"));
}

TEST(directories, are_told_precious_and_have_parents) {
  const temp_directory directory;
  ASSERT_NE(std::getenv("HOME"), nullptr);
  for (const char* path : {"/", ".", "/tmp/..", static_cast<const char*>(std::getenv("HOME"))}) {
    EXPECT_TRUE(is_precious_directory(path)) << path;
  }
  EXPECT_FALSE(is_precious_directory(directory.path));
  const std::pair<const char*, const char*> cases[] = {{"/a//b//", "/a"}, {"//a", "/"}, {"/", "/"},
                                                       {"a/", "."},       {"a/b", "a"}, {"", "."}};
  for (const auto& [path, parent] : cases) EXPECT_EQ(get_parent_directory(path), parent) << path;
}

// Directories "a" and "b"; a holds files of several sizes.
struct two_directories {
  temp_directory directory;
  std::string a = make_directory(directory, "a");
  std::string b = make_directory(directory, "b");
  std::string large = std::string(600'000, 'x') + '\0' + "end";

  two_directories() {
    write_test_file(a + "/empty", "");
    write_test_file(a + "/small", "small\n");
    write_test_file(a + "/large", large);
  }
};

std::vector<std::string> list(const std::string& directory) {
  std::vector<std::string> names;
  EXPECT_TRUE(list_entries(directory, names));
  return names;
}

TEST(copy_files_synced, copies_the_named_files_byte_for_byte) {
  two_directories dirs;
  write_test_file(dirs.b + "/small.part", "longer than what takes its place");
  ASSERT_TRUE(copy_files_synced(dirs.a, dirs.b, {"empty", "large"}));
  ASSERT_TRUE(copy_files_synced(dirs.a, dirs.b, {"small"}, ".part"));
  EXPECT_EQ(list(dirs.b), (std::vector<std::string>{"empty", "large", "small.part"}));
  EXPECT_EQ(read_test_file(dirs.b + "/large"), dirs.large);
  EXPECT_EQ(read_test_file(dirs.b + "/small.part"), "small\n");
  EXPECT_EQ(std::filesystem::status(dirs.b + "/large").permissions(), std::filesystem::perms(0600));
}

TEST(copy_file, says_why_it_failed) {
  two_directories dirs;
  const std::tuple<const char*, std::string, std::string, int> cases[] = {
      {"no source", dirs.a + "/none", dirs.b + "/f", ENOENT},
      {"no directory to copy to", dirs.a + "/small", dirs.b + "/none/f", ENOENT},
      {"a directory as source", dirs.a, dirs.b + "/f", EISDIR},
      {"a directory as target", dirs.a + "/small", dirs.b, EISDIR},
  };
  for (const auto& [name, source, target, refusal] : cases) {
    errno = 0;
    EXPECT_FALSE(copy_file(source, target)) << name;
    EXPECT_EQ(errno, refusal) << name;
  }
  const full_disk disk(100'000);
  EXPECT_TRUE(copy_file(dirs.a + "/small", dirs.b + "/small"));
  errno = 0;
  EXPECT_FALSE(copy_file(dirs.a + "/large", dirs.b + "/large"));
  EXPECT_EQ(errno, EFBIG);
  EXPECT_FALSE(copy_files_synced(dirs.a, dirs.b, {"small", "large"}));
}

TEST(list_entries, names_what_list_files_leaves_out) {
  two_directories dirs;
  make_directory(dirs.directory, "a/below");
  ASSERT_EQ(::symlink("small", (dirs.a + "/link").c_str()), 0);
  EXPECT_EQ(list(dirs.a), (std::vector<std::string>{"below", "empty", "large", "link", "small"}));
  std::vector<std::string> names;
  EXPECT_TRUE(list_files(dirs.a, names));
  EXPECT_EQ(names, (std::vector<std::string>{"empty", "large", "small"}));
  EXPECT_FALSE(list_entries(dirs.a + "/none", names));
  EXPECT_FALSE(list_files(dirs.a + "/none", names));
}

}  // namespace
}  // namespace wk
