// What a plug-in answers is read as its protocol says; whatever else it writes is worth nothing.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <string>

#include "crawler/content/crawler_content_plugin.h"
#include "crawler/content/external_plugin.h"
#include "tests/fuzz/fuzz_law.h"
#include "tests/fuzz/reply_peer.h"
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

void answer_request(int input, int output, size_t request_size, std::string_view bytes) {
  char block[64];
  ssize_t nb_read = 1;
  for (; nb_read > 0 && request_size > 0; request_size -= static_cast<size_t>(nb_read)) {
    nb_read = ::read(input, block, std::min(request_size, sizeof block));
    require_law(nb_read >= 0, "a request is read");
  }
  (void)!::write(output, bytes.data(), bytes.size());  // the pipe holds them all
  ::close(input);
  ::close(output);
}

}  // namespace

// The plug-in writes the first four bytes, takes one request, writes all others and ends.
void test_one_input(std::string_view bytes) {
  static peer_thread& peer = start_peer_thread();
  (void)std::signal(SIGPIPE, SIG_IGN);
  int to[2], from[2];
  require_law(::pipe2(to, O_CLOEXEC) == 0 && ::pipe2(from, O_NONBLOCK) == 0, "two pipes");
  (void)::fcntl(to[1], F_SETFL, O_NONBLOCK);
  const unsigned char kind = take_byte(bytes) % 4;
  // One that has no integer to say does not wait for a request.
  const size_t request_size = bytes.size() < 4 ? 0 : kind == 3 ? 19 : 9;
  const std::string_view word = bytes.substr(0, 4);
  (void)!::write(from[1], word.data(), word.size());
  const std::string_view answer = bytes.substr(word.size());
  const peer_work plugin(peer, [=] { answer_request(to[0], from[1], request_size, answer); });
  crawler_content_plugin set;
  const bool loaded = add_external_plugin(set, "plug-in", adopt_process(to[1], from[0]), nullptr,
                                          {.output_bytes = MAX_OUTPUT_BYTES});
  require_law(loaded == (bytes.size() >= 4), "a plug-in is up after one integer");
  if (!loaded) return;
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
