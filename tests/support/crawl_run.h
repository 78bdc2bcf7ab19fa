// One crawl of the real program in a directory of its own: the profile, the run, what it left.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/child_process.h"
#include "tests/support/temp_directory.h"

namespace wk {

// The profile of a test crawl. Every path lies in the run's directory.
struct crawl_profile {
  std::vector<std::string> seeds;
  uint32_t nb_spiders = 4;
  uint32_t sleep_interval = 0;  // s
  uint32_t nb_queues = 100;
  uint32_t queue_buffer_size = 1'000;
  bool canonical_urls = true;
  uint32_t round_time_ms = 200;  // of the control loop
  std::string attributes;        // more attributes of the crawler element
  std::string elements;          // more child elements
};

struct crawl_setup {
  crawl_profile profile;
  std::vector<std::string> options;  // behind -conf and its path
  std::vector<std::pair<std::string, std::string>> environment;
  uint64_t max_open_files = 0;
  uint64_t max_file_bytes = 0;
};

// A directory prepared for crawls: profile "crawl.xml", directories "store" and "temp".
struct crawl_place {
  temp_directory directory{find_fast_root()};
};
void prepare_crawl(const crawl_place& place, const crawl_setup& setup);
[[nodiscard]] running_program start_crawl(const crawl_place& place, const crawl_setup& setup);

struct crawl_document {
  std::string url;
  std::string type;
  std::string content;
};

// What a finished crawl left.
struct crawl_result {
  program_result program;
  std::string log;
  std::string status;                     // the status file
  std::string links;                      // link file number 1
  std::vector<crawl_document> documents;  // of all store files, in order
  std::vector<std::string> temp_files;    // names in the temporary directory
};
[[nodiscard]] crawl_result read_crawl(const crawl_place& place, program_result program);
[[nodiscard]] crawl_result run_crawl(const crawl_place& place, const crawl_setup& setup);

[[nodiscard]] size_t count_text(std::string_view text, std::string_view part);
// The documents of one store file's bytes; a record that does not follow the format ends the test
// program with a message.
void read_flatsite_documents(std::string_view bytes, std::vector<crawl_document>& documents);
// The documents of all store files in directory, in order of their numbers.
void read_store_documents(const std::string& directory, std::vector<crawl_document>& documents);
[[nodiscard]] std::string get_zcrawler_path();

}  // namespace wk
