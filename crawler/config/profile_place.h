// Whether the machine has what a profile asks for: directories, places for files, a port.
#pragma once

#include <cstdint>
#include <string>

namespace wk {

// Each answers what is wrong, to stand behind the value or port; empty: nothing. Relative paths
// begin at the working directory. An empty path is none and fine.
[[nodiscard]] std::string find_directory_fault(const std::string& path);
[[nodiscard]] std::string find_file_fault(const std::string& path);
// True when emptying the directory takes the file at path along.
[[nodiscard]] bool is_emptied_file(const std::string& path, const std::string& directory);
// True when path is one of the link files base.1, base.2 and so on. An empty base names none.
[[nodiscard]] bool is_link_file(const std::string& base, const std::string& path);
// Listens for a moment. An empty address is loopback; -1 stands for no server.
[[nodiscard]] std::string find_admin_port_fault(const std::string& address, int32_t port);

}  // namespace wk
