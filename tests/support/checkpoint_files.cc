#include "tests/support/checkpoint_files.h"

#include <filesystem>
#include <sstream>

#include "tests/support/temp_directory.h"

namespace wk {

checkpoint_urls list_checkpoint_urls(const directory_bytes& files) {
  checkpoint_urls urls;
  for (const auto& [name, bytes] : files) {
    if (name == "ndue_mhash.txt") continue;
    std::istringstream lines(bytes);
    for (std::string line; std::getline(lines, line);) {
      if (line.empty()) continue;
      if (name == "ndue_cache.txt" || name == "ndue_disk_cache.txt") {
        urls.known.insert(line);
      } else if (name == "ndue_unknown.txt") {
        urls.doubtful.insert(line);
      } else {
        urls.queued.insert(line);
      }
    }
  }
  return urls;
}

directory_bytes read_directory_bytes(const std::string& directory) {
  directory_bytes files;
  std::error_code gone;
  for (const auto& entry : std::filesystem::directory_iterator(directory, gone)) {
    const std::string name = entry.path().filename().string();
    if (entry.is_directory()) {
      files[name + "/"] = "";
    } else {
      files[name] = read_test_file(entry.path().string());
    }
  }
  return files;
}

void write_directory_bytes(const std::string& directory, const directory_bytes& files) {
  std::filesystem::remove_all(directory);
  std::filesystem::create_directories(directory);
  for (const auto& [name, bytes] : files) write_test_file(directory + "/" + name, bytes);
}

program_result check_horizon_files(const std::string& directory, uint32_t filter_bits,
                                   uint32_t nb_queues) {
  return run_program_to_end(
      {.arguments = {WK_CHECK_HORIZON_PATH, "--filter-bits", std::to_string(filter_bits),
                     "--nb-queues", std::to_string(nb_queues), directory}});
}

}  // namespace wk
