#include "tests/support/temp_directory.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace wk {

temp_directory::temp_directory() {
  const char* root = std::getenv("TMPDIR");
  path = std::string(root != nullptr ? root : "/tmp") + "/wk_test_XXXXXX";
  if (::mkdtemp(path.data()) == nullptr) {
    std::perror(path.c_str());
    std::abort();
  }
}

temp_directory::~temp_directory() {
  std::error_code ignored;
  std::filesystem::remove_all(path, ignored);
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
