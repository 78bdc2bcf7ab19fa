// References are decoded as by replacing them one by one in plain, slow steps.
#include <algorithm>
#include <cctype>
#include <string>
#include <utility>

#include "crawler/url/url_entities.h"
#include "tests/fuzz/fuzz_law.h"

namespace wk {
namespace {

using byte_test = int (*)(int);

// The length of the reference that text begins with: head, some bytes of one kind and ";". 0: none.
size_t measure_reference(std::string_view text, std::string_view head, size_t least, size_t most,
                         byte_test is_part) {
  if (!text.starts_with(head)) return 0;
  size_t at = head.size();
  const size_t end = std::min(text.size(), at + most + 1);
  while (at < end && is_part(static_cast<unsigned char>(text[at])) != 0) ++at;
  const size_t nb_parts = at - head.size();
  const bool ends = at < text.size() && text[at] == ';';
  return ends && nb_parts >= least && nb_parts <= most ? at + 1 : 0;
}

std::string decode_slowly(std::string text) {
  const std::pair<const char*, const char*> named[] = {
      {"&quot;", "\""}, {"&apos;", "'"}, {"&amp;", "&"}, {"&lt;", "<"}, {"&gt;", ">"}};
  for (const auto& [reference, byte] : named) {
    for (size_t at = text.find(reference); at != std::string::npos;
         at = text.find(reference, at + 1)) {
      text.replace(at, std::string_view(reference).size(), byte);
    }
  }
  for (size_t at = 0; at < text.size(); ++at) {
    const size_t length =
        measure_reference(std::string_view(text).substr(at), "&#", 2, 4, std::isdigit);
    if (length == 0) continue;
    const auto byte = static_cast<unsigned char>(std::stoi(text.substr(at + 2)) % 256);
    if (byte == 0) {
      text.resize(at);
      break;
    }
    text.replace(at, length, 1, static_cast<char>(byte));
    // The leftmost one is next, and the byte may have completed one that begins up to 6 before it.
    at -= std::min<size_t>(at, 6) + 1;
  }
  std::string kept;
  for (size_t at = 0; at < text.size();) {
    const size_t length =
        measure_reference(std::string_view(text).substr(at), "&", 2, 8, std::isalnum);
    if (length == 0) kept += text[at];
    at += length == 0 ? 1 : length;
  }
  return kept;
}

}  // namespace

void test_one_input(std::string_view bytes) {
  std::string text(bytes);
  decode_url_entities(text);
  require_law(text == decode_slowly(std::string(bytes)), "both ways of decoding agree");
}

}  // namespace wk
