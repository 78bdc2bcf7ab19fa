#include "tests/support/temp_directory.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

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
  std::ofstream file(path, std::ios::binary);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!file.good()) std::abort();
}

std::string read_test_file(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream bytes;
  bytes << file.rdbuf();
  return bytes.str();
}

}  // namespace wk
