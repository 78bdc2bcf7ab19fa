// The command line, taken apart into a start-up request.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace wk {

enum start_mode : uint32_t {
  MODE_NONE = 0,
  MODE_CRAWL = 1,                    // load a profile, start fresh, crawl
  MODE_SAVE = 2,                     // load a profile, start fresh, write the crawler's image
  MODE_RESTORE = 3,                  // load a profile, restore from its checkpoint, crawl
  MODE_CREATE_PARSE_REPOSITORY = 4,  // write the parse repository
};

struct start_request {
  uint32_t mode = MODE_NONE;
  std::string config_path;
  std::string crawler_name;
  int32_t nb_spiders = -1;                  // -1: not given
  int32_t admin_port = -2;                  // -2: not given
  int32_t admin_thread_sleep_time_ms = -1;  // -1: not given
  bool stop_when_empty = false;
  bool use_libxml = true;
  uint8_t raw_mode = 0;  // certainty of the raw plug-in: 0, 8 or 255
  std::string parse_repository_path;
  std::string url_date_map_path;
  std::vector<std::vector<std::string>> content_plugins;  // argument vectors, in order
};

enum command_line_answer : uint32_t {
  COMMAND_LINE_OK = 0,
  COMMAND_LINE_HELP = 1,   // -h: the usage text goes to standard output, exit status 0
  COMMAND_LINE_FAULT = 2,  // said on standard error with the usage text, exit status 1
};

// Options are taken strictly from left to right; each mode option overwrites the mode.
[[nodiscard]] command_line_answer parse_command_line(const std::vector<std::string>& arguments,
                                                     start_request& request);

[[nodiscard]] const char* get_usage_text();  // one line with its line feed

}  // namespace wk
