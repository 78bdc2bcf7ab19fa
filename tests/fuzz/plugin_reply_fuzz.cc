// What a plug-in answers is read as its protocol says; whatever else it writes is worth nothing.
#include <string>
#include <vector>

#include "crawler/content/crawler_content_plugin.h"
#include "crawler/content/external_plugin.h"
#include "tests/fuzz/fuzz_law.h"
#include "tests/support/temp_directory.h"
#include "wkstd/state_stream.h"

namespace wk {
namespace {

constexpr uint32_t MAX_OUTPUT_BYTES = 64;

// What convert has to answer.
uint32_t read_conversion_slowly(std::string_view answer, conversion& result) {
  uint32_t status = 0, length = 0, type = 0;
  if (!take_u32(answer, status) || status == 0 || !take_u32(answer, length)) return 0;
  if (length > MAX_OUTPUT_BYTES || answer.size() < size_t{length} + 4) return 0;
  std::string_view rest = answer.substr(length);
  (void)take_u32(rest, type);
  result = {.text = std::string(answer.substr(0, length)), .type = type};
  return status;
}

}  // namespace

// The plug-in writes the first four bytes, takes one request, writes all others and ends.
void test_one_input(std::string_view bytes) {
  static const temp_directory directory;
  const unsigned char kind = take_byte(bytes) % 4;
  const std::string path = directory.path + "/answer";
  write_test_file(path, bytes);
  // One that has no integer to say does not wait for a request.
  const std::string request_size = bytes.size() < 4 ? "0" : kind == 3 ? "19" : "9";
  const std::vector<std::string> program = {
      "/bin/sh", "-c", "head -c 4 $0; head -c $1 >/dev/null; tail -c +5 $0", path, request_size};
  crawler_content_plugin set;
  const bool loaded =
      load_external_plugin(set, program, nullptr, {.output_bytes = MAX_OUTPUT_BYTES});
  require_law(loaded == (bytes.size() >= 4), "a plug-in is up after one integer");
  if (!loaded) return;
  const std::string_view answer = bytes.substr(4);
  if (kind == 3) {
    conversion expected{.text = "kept", .type = 7}, result = expected;
    const uint32_t status = read_conversion_slowly(answer, expected);
    require_law(
        convert_crawler_content_plugin(
            set, 0, {.content = "c", .first_text = "a", .second_text = "b"}, result) == status &&
            result.text == expected.text && result.type == expected.type,
        "a conversion is read as it was written");
    return;
  }
  const auto recognize = kind == 0   ? recognize_mime_crawler_content_plugin
                         : kind == 1 ? recognize_url_crawler_content_plugin
                                     : recognize_content_crawler_content_plugin;
  require_law(
      recognize(set, 0, "x") == (answer.empty() ? 0 : static_cast<unsigned char>(answer.front())),
      "a certainty is one byte");
}

}  // namespace wk
