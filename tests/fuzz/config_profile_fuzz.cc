// A profile that libxml2 takes is the same record through both readers. The other one may refuse
// the encoding that it names.
#include <string>

#include "crawler/config/config_reader.h"
#include "crawler/config/config_text.h"
#include "tests/fuzz/fuzz_law.h"
#include "tests/support/temp_directory.h"

namespace wk {
namespace {

struct reading {
  std::string path;
  crawler_config_ptr first, second;
};

}  // namespace

void test_one_input(std::string_view bytes) {
  static const temp_directory directory;
  static reading read;  // outlives a fatal report
  read = {.path = directory.path + "/profile", .first = nullptr, .second = nullptr};
  write_test_file(read.path, bytes);
  const bool first_ended =
      runs_to_its_end([](void*) { read.first = read_config_with_libxml(read.path, ""); }, nullptr);
  const bool second_ended = runs_to_its_end(
      [](void*) { read.second = read_config_without_libxml(read.path, ""); }, nullptr);
  const bool names_encoding = bytes.find("encoding") != std::string_view::npos;
  if (read.first == nullptr && first_ended) return;
  if (read.second == nullptr && second_ended && names_encoding) return;
  require_law(first_ended == second_ended, "both readers end the process for the same profiles");
  if (read.first == nullptr) return;
  require_law(read.second != nullptr, "what libxml2 takes the other reader takes");
  const config_values& config = *read.first;
  require_law(config == *read.second && read.first->name == read.second->name,
              "both readers give the same record");
  std::string text;
  config_values copy;
  write_config_text(config, text);
  require_law(read_config_text(text, copy) && copy == config, "a record's text loses nothing");
}

}  // namespace wk
