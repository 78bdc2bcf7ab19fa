// Copying files between directories so that a power cut leaves the old files or the new ones,
// whole.
//
// Everything answers false when the system refuses; errno says why. Sizes are in bytes.
#pragma once

#include <string>
#include <vector>

namespace wk {

// Copies one file. A copy that the system refuses may leave a part of the target.
[[nodiscard]] bool copy_file(const std::string& source, const std::string& target);

// Copies the named files of source into target, under the same names with ending behind them, and
// makes each last.
[[nodiscard]] bool copy_files_synced(const std::string& source, const std::string& target,
                                     const std::vector<std::string>& names,
                                     const std::string& ending = "");

// Makes what was created, renamed or removed in a directory last.
[[nodiscard]] bool sync_directory(const std::string& directory);

// Exchanges two directories of one parent in one step and makes it last; with false both stand
// where they stood. EXDEV, EBUSY, EINVAL and ENOSYS say that these directories, or their file
// system, know no such step; EPERM and EACCES that this user may not take it.
[[nodiscard]] bool exchange_directories(const std::string& a, const std::string& b);

// The directory that path stands in: "." for a bare name.
[[nodiscard]] std::string get_parent_directory(const std::string& path);

}  // namespace wk
