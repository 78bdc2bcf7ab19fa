// Both readers take the same profiles and make the same record of them. The second one may refuse
// the encoding that a profile names, and entities of its own.
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

// In UTF-16 too, whose letters have a NUL beside them.
bool names(std::string_view bytes, std::string_view word) {
  std::string letters(bytes);
  std::erase(letters, '\0');
  return letters.find(word) != std::string::npos;
}

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
  if (read.second == nullptr && second_ended &&
      (names(bytes, "encoding") || names(bytes, "ENTITY"))) {
    return;
  }
  require_law(first_ended == second_ended, "both readers end the process for the same profiles");
  require_law((read.first == nullptr) == (read.second == nullptr), "both readers refuse the same");
  if (read.first == nullptr) return;
  const config_values& config = *read.first;
  require_law(config == *read.second && read.first->name == read.second->name,
              "both readers give the same record");
  std::string text;
  config_values copy;
  write_config_text(config, text);
  require_law(read_config_text(text, copy) && copy == config, "a record's text loses nothing");
}

}  // namespace wk
