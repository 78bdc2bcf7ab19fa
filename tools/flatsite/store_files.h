// The store files that a command line names.
#pragma once

#include <string>
#include <vector>

namespace wk {

// Appends path itself, or for a directory its files flatsite-1, flatsite-2, ... by rising number;
// whatever else stands in it, symbolic links included, is left out. False when a directory can't be
// read.
[[nodiscard]] bool list_store_files(const std::string& path, std::vector<std::string>& files);

}  // namespace wk
