#include "tests/support/temp_directory.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace wk {

namespace {

std::string find_root() {
  const char* root = std::getenv("TMPDIR");
  return root != nullptr ? root : "/tmp";
}

}  // namespace

temp_directory::temp_directory() : temp_directory(find_root()) {}

temp_directory::temp_directory(const std::string& root) : path(root + "/wk_test_XXXXXX") {
  if (::mkdtemp(path.data()) == nullptr) {
    std::perror(path.c_str());
    std::abort();
  }
}

temp_directory::~temp_directory() {
  std::error_code ignored;
  std::filesystem::remove_all(path, ignored);
}

std::string find_fast_root() {
  const char* memory = "/dev/shm";
  return ::access(memory, R_OK | W_OK | X_OK) == 0 ? memory : find_root();
}

std::string make_directory(const temp_directory& directory, const std::string& name) {
  std::string path = directory.path + "/" + name;
  std::filesystem::create_directories(path);
  return path;
}

void write_test_file(const std::string& path, std::string_view bytes) {
  const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (file < 0) std::abort();
  while (!bytes.empty()) {
    const ssize_t done = ::write(file, bytes.data(), bytes.size());
    if (done <= 0) std::abort();
    bytes.remove_prefix(static_cast<size_t>(done));
  }
  ::close(file);
}

std::string read_test_file(const std::string& path) {
  std::string bytes;
  const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  char block[4096];
  ssize_t done = 0;
  while ((done = ::read(file, block, sizeof block)) > 0) {
    bytes.append(block, static_cast<size_t>(done));
  }
  if (file >= 0) ::close(file);
  return bytes;
}

}  // namespace wk
