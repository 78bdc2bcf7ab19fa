#include "crawler/config/profile_place.h"

#include <unistd.h>

#include <cerrno>

#include "wkskt/skt.h"
#include "wkstd/directory.h"
#include "wkstd/directory_copy.h"

namespace wk {

std::string find_directory_fault(const std::string& path) {
  if (path.empty()) return {};
  if (!is_directory(path)) return "is no directory";
  if (::access(path.c_str(), R_OK | W_OK | X_OK) != 0) {
    return "is a directory without leave to read and write";
  }
  if (is_precious_directory(path)) {
    return "is a directory that no crawl may empty";
  }
  return {};
}

std::string find_file_fault(const std::string& path) {
  if (path.empty()) return {};
  if (is_directory(path)) return "is a directory";
  const size_t slash = path.rfind('/');
  const std::string directory = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  if (!is_directory(directory)) {
    return "stands in no directory";
  }
  const bool is_there = ::access(path.c_str(), F_OK) == 0;
  const bool is_open =
      is_there ? ::access(path.c_str(), W_OK) == 0 : ::access(directory.c_str(), W_OK | X_OK) == 0;
  return is_open ? "" : "can't be written";
}

bool is_emptied_file(const std::string& path, const std::string& directory) {
  return is_same_file(get_parent_directory(resolve_path(path)), directory);
}

bool is_link_file(const std::string& base, const std::string& path) {
  if (base.empty()) return false;
  if (is_same_file(base + ".1", path)) return true;  // by another name
  const size_t dot = path.rfind('.');
  return dot != std::string::npos && dot + 1 < path.size() &&
         path.find_first_not_of("0123456789", dot + 1) == std::string::npos &&
         is_same_file(base + path.substr(dot), path);
}

std::string find_admin_port_fault(const std::string& address, int32_t port) {
  if (port == -1) return {};
  errno = 0;
  const int listener =
      skt_listen(address.empty() ? "127.0.0.1" : address.c_str(), static_cast<uint32_t>(port));
  if (listener >= 0) {
    skt_close(listener);
    return {};
  }
  return errno == EADDRINUSE ? "is in use" : "can't be listened at";
}

}  // namespace wk
