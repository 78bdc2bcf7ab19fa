// The directory of a checkpoint: what it may hold, how another checkpoint takes its place, and
// which files one reads.
//
// A checkpoint is written beside its directory ("<directory>.new"), made to last, and exchanged
// with it in one step. Where the parent directory takes no new entry, or knows no such step, it is
// written in place:
//
//   1. Each new file is written under its name with ".part" behind it, and made to last.
//   2. The list of the names, one a line, is made to last as "checkpoint.list". From this step on
//      the directory holds the new checkpoint.
//   3. The parts take their names, what the list does not name goes, and then the list.
//
// So whatever ends the work leaves the earlier checkpoint or the new one, whole. Who finds a list
// reads the files that it names, each from its part as long as there is one; the next checkpoint
// that is written in place begins with the third step of the one before.
//
// What answers false leaves the reason in errno.
#pragma once

#include <string>
#include <vector>

#include "wkstd/directory_lock.h"

namespace wk {

// True when everything inside may be replaced: an empty directory, or a checkpoint in any state.
[[nodiscard]] bool holds_only_checkpoint(const std::string& directory);

struct checkpoint_file {
  std::string name;
  std::string stored_name;  // the same, or that of its part
};
// The files of the checkpoint that a directory holds, sorted. False when it can't be read.
[[nodiscard]] bool list_checkpoint_files(const std::string& directory,
                                         std::vector<checkpoint_file>& files);

// Makes copies of the named files of source the checkpoint in target. target leads to the directory
// by no symbolic link. beside, the path to write it at first, may be empty: in place then, as when
// another crawl holds what stands there. lock is the caller's of target, or null where there are no
// locks; the directory that takes the name is locked before it does, and lock then is its lock.
[[nodiscard]] bool replace_checkpoint(const std::string& source,
                                      const std::vector<std::string>& names,
                                      const std::string& target, const std::string& beside,
                                      directory_lock_ptr& lock);

}  // namespace wk
