#include "wkstd/directory_lock.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/support/temp_directory.h"
#include "wkstd/process.h"

namespace wk {
namespace {

TEST(directory_lock, keeps_one_directory_by_all_its_names_until_it_goes) {
  const temp_directory place;
  const std::string one = make_directory(place, "one"), two = make_directory(place, "two");
  const std::string link = place.path + "/link";
  std::filesystem::create_directory_symlink(one, link);
  directory_lock_ptr first, second;
  EXPECT_FALSE(holds_directory_lock(first, one));
  ASSERT_EQ(lock_directory(link, first), DIRECTORY_LOCKED);
  EXPECT_TRUE(holds_directory_lock(first, one));
  EXPECT_FALSE(holds_directory_lock(first, two));
  EXPECT_EQ(lock_directory(one + "/.", second), DIRECTORY_TAKEN);
  EXPECT_EQ(lock_directory(two, second), DIRECTORY_LOCKED);
  EXPECT_EQ(lock_directory(place.path + "/none", second), DIRECTORY_NO_LOCKS);
  EXPECT_TRUE(holds_directory_lock(second, two)) << "what fails changes nothing";

  const std::string cat[] = {"cat"};
  const process_ptr child = open_process(cat);
  ASSERT_NE(child, nullptr);
  first.reset();
  EXPECT_EQ(lock_directory(one, first), DIRECTORY_LOCKED) << "the child has no part in it";
  std::filesystem::rename(one, place.path + "/moved");
  EXPECT_TRUE(holds_directory_lock(first, place.path + "/moved"));
  EXPECT_FALSE(holds_directory_lock(first, one));
}

}  // namespace
}  // namespace wk
