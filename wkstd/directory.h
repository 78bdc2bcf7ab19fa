// Directories: what stands in one, and emptying one.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace wk {

[[nodiscard]] bool is_directory(const std::string& path);
[[nodiscard]] bool is_regular_file(const std::string& path);  // a symbolic link is none
[[nodiscard]] bool get_file_size(const std::string& path, uint64_t& size);
// True when both lead to one file, or one directory, by whatever names.
[[nodiscard]] bool is_same_file(const std::string& a, const std::string& b);
// The path without symbolic links; as it is where it leads nowhere.
[[nodiscard]] std::string resolve_path(const std::string& path);

// The names (not paths) of the regular files directly inside, sorted. False when it cannot be read.
[[nodiscard]] bool list_files(const std::string& directory, std::vector<std::string>& names);

// The names of everything inside but "." and "..", sorted. False when it cannot be read.
[[nodiscard]] bool list_entries(const std::string& directory, std::vector<std::string>& names);

// True for "/", the home directory and the working directory: never to be emptied, whatever a
// profile says.
[[nodiscard]] bool is_precious_directory(const std::string& path);

// Removes the regular files directly inside; no directory is entered and no link followed. False
// when the directory cannot be read or a file stays.
bool empty_directory(const std::string& directory);

}  // namespace wk
